#include "runner/build/source_set.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

constexpr const char* kDescription = "modelDescription.xml";
constexpr const char* kBuildDescription = "sources/buildDescription.xml";

std::string placeOf(const char* file, const XmlElement& element) {
  return std::string(file) + " line " + std::to_string(element.line()) + ", " + element.node().name();
}

bool isWord(std::string_view text, std::string_view more) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [more](unsigned char c) {
    return std::isalnum(c) != 0 || more.find(static_cast<char>(c)) != std::string_view::npos;
  });
}

std::string sourceName(const FmuFile& fmu, const XmlElement& element, const char* file) {
  std::string name = element.text("name");
  if (fmu.archive().find("sources/" + name) != nullptr) return name;
  throw RunnerError("the archive has no source 'sources/" + printable(name) + "'", placeOf(file, element));
}

// A folder below sources/.
std::string folderName(const XmlElement& element) {
  std::string name = element.text("name");
  bool isInside = !name.empty() && name.front() != '/' && name.find('\\') == std::string::npos;
  for (std::size_t begin = 0; begin <= name.size();) {
    const std::size_t end = std::min(name.find('/', begin), name.size());
    if (name.substr(begin, end - begin) == "..") isInside = false;
    begin = end + 1;
  }
  if (isInside) return name;
  throw RunnerError("'" + printable(name) + "' is no folder below sources/", placeOf(kBuildDescription, element));
}

std::string definitionOf(const XmlElement& element) {
  const std::string name = element.text("name");
  if (!isWord(name, "_") || std::isdigit(static_cast<unsigned char>(name.front())) != 0) {
    throw RunnerError("'" + printable(name) + "' is no name of a definition", placeOf(kBuildDescription, element));
  }
  return element.has("value") ? name + "=" + element.text("value") : name;
}

std::string libraryName(const XmlElement& element) {
  std::string name = element.text("name");
  if (!isWord(name, "_.+-") || name.front() == '-') {
    throw RunnerError("'" + printable(name) + "' is no name of a library", placeOf(kBuildDescription, element));
  }
  if (element.flag("external", false)) return name;
  throw RunnerError("the library '" + name + "' inside the archive cannot be used",
                    placeOf(kBuildDescription, element));
}

std::string standardOf(const XmlElement& element) {
  constexpr std::array kKnown = {"",    "C",     "C++",   "C89",   "C90",   "C99",   "C11",  "C17",
                                 "C18", "C++98", "C++03", "C++11", "C++14", "C++17", "C++20"};
  const std::string language = element.text("language");
  if (std::find(kKnown.begin(), kKnown.end(), language) == kKnown.end()) {
    throw RunnerError("the language '" + printable(language) + "' is not known", placeOf(kBuildDescription, element));
  }
  if (language.size() < 3 || language == "C++") return "";
  return "gnu" + language.substr(1);
}

SourceSet readSet(const FmuFile& fmu, const XmlElement& element, XmlDocument& document) {
  SourceSet set;
  set.standard = standardOf(element);
  for (const pugi::xml_node& node : element.node().children()) {
    const XmlElement child(node, document);
    const std::string_view kind = node.name();
    if (kind == "SourceFile") set.files.push_back(sourceName(fmu, child, kBuildDescription));
    if (kind == "IncludeDirectory") set.folders.push_back(folderName(child));
    if (kind == "PreprocessorDefinition" && !child.flag("optional", false)) {
      set.definitions.push_back(definitionOf(child));
    }
  }
  return set;
}

BuildPlan readConfiguration(const FmuFile& fmu, const XmlElement& element, XmlDocument& document) {
  BuildPlan plan;
  for (const pugi::xml_node& node : element.node().children()) {
    const XmlElement child(node, document);
    const std::string_view kind = node.name();
    if (kind == "SourceFileSet") plan.sets.push_back(readSet(fmu, child, document));
    if (kind == "Library") plan.libraries.push_back(libraryName(child));
  }
  return plan;
}

bool isForThisMachine(const std::string& platform) {
  const std::vector<std::string> own = ownPlatforms();
  return platform.empty() || std::find(own.begin(), own.end(), platform) != own.end();
}

BuildPlan planFmi3(const FmuFile& fmu, const Interface& way) {
  Mistakes mistakes;
  XmlDocument document(fmu.archive().read(kBuildDescription), mistakes);
  for (const pugi::xml_node& node : document.root().children("BuildConfiguration")) {
    const XmlElement element(node, document);
    if (element.text("modelIdentifier") == way.modelIdentifier && isForThisMachine(element.text("platform"))) {
      return readConfiguration(fmu, element, document);
    }
  }
  throw RunnerError("no configuration builds '" + printable(way.modelIdentifier) + "' on this machine",
                    kBuildDescription);
}

BuildPlan planFmi2(const FmuFile& fmu, const Interface& way) {
  Mistakes mistakes;
  XmlDocument document(fmu.archive().read(kDescription), mistakes);
  const char* kind = way.kind == Kind::coSimulation ? "CoSimulation" : "ModelExchange";
  SourceSet set;
  for (const pugi::xml_node& node : document.root().child(kind).child("SourceFiles").children("File")) {
    set.files.push_back(sourceName(fmu, XmlElement(node, document), kDescription));
  }
  return {{set}, {}};
}

}  // namespace

BuildPlan planBuild(const FmuFile& fmu, const Interface& way) {
  const bool isFmi3 = fmu.model().version == FmiVersion::fmi3;
  if (isFmi3 && fmu.archive().find(kBuildDescription) == nullptr) {
    throw RunnerError("--build: the archive has no " + std::string(kBuildDescription));
  }
  BuildPlan plan = isFmi3 ? planFmi3(fmu, way) : planFmi2(fmu, way);
  const bool hasFiles =
      std::any_of(plan.sets.begin(), plan.sets.end(), [](const SourceSet& set) { return !set.files.empty(); });
  if (hasFiles) return plan;
  throw RunnerError("--build: no source files are listed for '" + printable(way.modelIdentifier) + "'",
                    isFmi3 ? kBuildDescription : kDescription);
}

}  // namespace vtio::runner
