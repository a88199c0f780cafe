// The page with its data inside: plots as HTML, exported views.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "memory_source.hpp"
#include "results/file/results_error.hpp"
#include "results/viewer/static_page.hpp"
#include "temporary_folder.hpp"

namespace {

using namespace vtio::results;
using nlohmann::json;
using vtio::tests::ResultsBuilder;

constexpr std::string_view kPage = "<html><!--qat-data--><script>run()</script></html>";

std::unique_ptr<ResultsFile> fileOf(std::size_t signals, std::size_t samples) {
  ResultsBuilder builder;
  std::vector<double> times(samples);
  for (std::size_t i = 0; i < samples; ++i) times[i] = static_cast<double>(i);
  builder.table(0, times);
  for (std::size_t i = 0; i < signals; ++i) builder.addDoubles(0, "</script>" + std::to_string(i), times);
  builder.addTexts(0, "text", std::vector<std::string>(samples, "a"));
  return std::make_unique<ResultsFile>(builder.build("run.qat"));
}

Viewer viewerOf(std::size_t signals, std::size_t samples) {
  return Viewer([=] { return fileOf(signals, samples); });
}

json dataIn(const std::string& page) {
  const std::string begin = "<script>window.qatData=";
  const std::size_t from = page.find(begin) + begin.size();
  return json::parse(page.substr(from, page.find(";</script>") - from));
}

TEST(Base64, encodesEveryLength) {
  EXPECT_EQ(base64(""), "");
  EXPECT_EQ(base64("f"), "Zg==");
  EXPECT_EQ(base64("fo"), "Zm8=");
  EXPECT_EQ(base64("foo"), "Zm9v");
  EXPECT_EQ(base64("\xff\xfe\xfd"), "//79");
}

TEST(PlotPage, holdsTheTracesThatItShowsAndNoOthers) {
  Viewer viewer = viewerOf(3, 10);
  const std::string page = plotPage(viewer, kPage, {{{TraceFile::first, 1, 0}}, {2, 5}, false});
  const json data = dataIn(page);
  EXPECT_EQ(data["signals"].size(), 1U);
  EXPECT_EQ(data["signals"]["a.1"]["traces"], (json{"a.1.0"}));
  EXPECT_EQ(data["show"]["traces"], (json{"a.1.0"}));
  EXPECT_EQ(data["show"]["from"], 2);
  EXPECT_EQ(data["files"]["files"][0]["signals"][1]["name"], "</script>1");
  // Names end no script.
  EXPECT_EQ(page.find("</script>1"), std::string::npos);
  EXPECT_THROW(static_cast<void>(plotPage(viewer, "<html>", {})), ResultsError);
}

TEST(ExportPage, putsFewSamplesIntoOneFile) {
  const vtio::tests::TemporaryFolder folder;
  Viewer viewer = viewerOf(2, 100);
  const std::string target = folder.path("report/today");
  exportPage(viewer, kPage, target);
  const json data = dataIn(folder.read("report/today/index.html"));
  EXPECT_EQ(data["signals"].size(), 3U);
  EXPECT_EQ(data["signals"]["a.2"]["texts"]["a.2.0"], (json{"a"}));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(target) / "data"));
}

TEST(ExportPage, putsWhatIsMoreIntoFilesBesideIt) {
  const vtio::tests::TemporaryFolder folder;
  Viewer viewer = viewerOf(100, 20'000);
  const std::string target = folder.path("report");
  exportPage(viewer, kPage, target);
  const json data = dataIn(folder.read("report/index.html"));
  const std::size_t inPage = data["signals"].size();
  EXPECT_GT(inPage, 10U);
  EXPECT_LT(inPage, 100U);
  std::size_t beside = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(target) / "data")) {
    const std::string name = entry.path().filename().string();
    EXPECT_THAT(folder.read("report/data/" + name),
                testing::StartsWith("qatSignal(\"" + name.substr(0, name.size() - 3)));
    ++beside;
  }
  EXPECT_EQ(inPage + beside, 101U);
}

TEST(ExportPage, saysWhichFolderItCannotMake) {
  const vtio::tests::TemporaryFolder folder;
  folder.write("taken", "x");
  Viewer viewer = viewerOf(1, 1);
  EXPECT_THROW(exportPage(viewer, kPage, folder.path("taken")), ResultsError);
}

}  // namespace
