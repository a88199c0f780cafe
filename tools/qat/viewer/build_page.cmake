# Makes the source file OUT that holds the page, from SOURCE, with NODE and NPM in the folder BUILD. Never fails:
# without a page the function in OUT returns an empty text.

set(html "${BUILD}/dist/page.html")
file(REMOVE "${html}")
set(problem "")
if(NOT NODE OR NOT NPM)
  set(problem "Node or npm is not installed")
else()
  file(MAKE_DIRECTORY "${BUILD}")
  file(COPY "${SOURCE}/" DESTINATION "${BUILD}" PATTERN node_modules EXCLUDE PATTERN dist EXCLUDE)
  foreach(arguments IN ITEMS "ci;--omit=dev;--ignore-scripts;--no-audit;--no-fund" "run;build")
    if(problem STREQUAL "")
      execute_process(COMMAND "${NPM}" ${arguments} WORKING_DIRECTORY "${BUILD}" RESULT_VARIABLE status
        OUTPUT_VARIABLE output ERROR_VARIABLE output TIMEOUT 300)
      if(NOT status EQUAL 0)
        string(REPLACE ";" " " command "npm ${arguments}")
        set(problem "'${command}' failed (${status}):\n${output}")
      endif()
    endif()
  endforeach()
endif()

set(bytes "0")
set(size 0)
if(problem STREQUAL "")
  file(READ "${html}" hex HEX)
  string(LENGTH "${hex}" size)
  math(EXPR size "${size} / 2")
  string(REGEX REPLACE "(................................)" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
else()
  message(WARNING "qat is built without the page of 'qat view': ${problem}\nDelete ${OUT} to try again.")
endif()
file(WRITE "${OUT}" "#include \"tools/qat/view.hpp\"

namespace vtio::tools {
namespace {

constexpr unsigned char kPage[] = {
${bytes}};

}  // namespace

std::string_view viewerPage() { return {reinterpret_cast<const char*>(kPage), ${size}}; }

}  // namespace vtio::tools
")
