#include "runner/signals/signal_tree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/runner/descriptions.hpp"

namespace {

using namespace vtio::runner;  // NOLINT(google-build-using-namespace): the subject here
using ::testing::ElementsAre;

// "bus{leaf,array[2]{leaf}}"
std::string show(const SignalNode& node) {
  std::string text = node.name;
  for (const std::uint64_t size : node.busDimensions) text += "[" + std::to_string(size) + "]";
  if (node.isLeaf()) return text;
  std::size_t elements = 1;
  for (const std::uint64_t size : node.busDimensions) elements *= size;
  text += "{";
  for (std::size_t i = 0; i < node.children.size() / elements; ++i) {
    text += (i == 0 ? "" : ",") + show(node.children[i]);
  }
  return text + "}";
}

std::vector<std::string> treesOf(const std::string& variables, const char* convention = "structured") {
  std::string xml = runner_test::fmi3(variables);
  xml.replace(xml.find("\"structured\"") + 1, 10, convention);
  const ModelDescription model = runner_test::read(xml);
  std::vector<std::size_t> all(model.variables.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  std::vector<std::string> shown;
  for (const SignalTree& tree : makeSignalTrees(model, all)) {
    shown.push_back(std::to_string(static_cast<int>(tree.role)) + " " + show(tree.root));
  }
  return shown;
}

std::string variables(const std::vector<std::string>& names, const std::string& more = "") {
  std::string text;
  unsigned reference = 0;
  for (const std::string& name : names) text += runner_test::float64(name, reference++, more);
  return text;
}

TEST(SignalTreeTest, MakesBusesOfStructuredNames) {
  EXPECT_THAT(treesOf(variables({"a.b.c", "x", "a.b.d", "a.e"})), ElementsAre("2 a{b{c,d},e}", "2 x"));
}

TEST(SignalTreeTest, LeavesFlatNamesAlone) {
  EXPECT_THAT(treesOf(variables({"a.b", "a[1].c"}), "flat"), ElementsAre("2 a.b", "2 a[1].c"));
}

TEST(SignalTreeTest, KeepsRolesApart) {
  const std::string mixed = runner_test::float64("a.u", 1, "causality='input' start='0'") +
                            runner_test::float64("a.y", 2, "causality='output'") + runner_test::float64("a.x", 3);
  EXPECT_THAT(treesOf(mixed), ElementsAre("0 a{u}", "1 a{y}", "2 a{x}"));
}

TEST(SignalTreeTest, MakesArraysOfLikeBuses) {
  EXPECT_THAT(treesOf(variables({"w[1].v", "w[1].s", "w[2].v", "w[2].s"})), ElementsAre("2 w[2]{v,s}"));
  EXPECT_THAT(treesOf(variables({"a.w[2].v", "a.w[1].v"})), ElementsAre("2 a{w[2]{v}}")) << "any order";
  EXPECT_THAT(treesOf(variables({"m[1,1].v", "m[1,2].v", "m[2,1].v", "m[2,2].v"})), ElementsAre("2 m[2][2]{v}"));
  EXPECT_THAT(treesOf(variables({"a[1].b[1].c", "a[1].b[2].c", "a[2].b[1].c", "a[2].b[2].c"})),
              ElementsAre("2 a[2]{b[2]{c}}"));
}

TEST(SignalTreeTest, ElementsOfAnArrayAreRowMajor) {
  const ModelDescription model = runner_test::read(runner_test::fmi3(variables({"m[2].v", "m[1].v", "m[3].v"})));
  const std::vector<SignalTree> trees = makeSignalTrees(model, {0, 1, 2});
  ASSERT_EQ(trees.size(), 1U);
  std::vector<std::size_t> order;
  for (const SignalNode& child : trees[0].root.children) order.push_back(child.variable);
  EXPECT_THAT(order, ElementsAre(1, 0, 2));
}

TEST(SignalTreeTest, LeavesUnlikeBusesAsTheyAre) {
  EXPECT_THAT(treesOf(variables({"w[1].v", "w[3].v"})), ElementsAre("2 w[1]{v}", "2 w[3]{v}")) << "a gap";
  EXPECT_THAT(treesOf(variables({"w[0].v", "w[1].v"})), ElementsAre("2 w[0]{v}", "2 w[1]{v}")) << "not from 1";
  EXPECT_THAT(treesOf(variables({"w[1].v", "w[2].s"})), ElementsAre("2 w[1]{v}", "2 w[2]{s}")) << "members";
  EXPECT_THAT(treesOf(variables({"w[1].v", "w[2].v.x"})), ElementsAre("2 w[1]{v}", "2 w[2]{v{x}}")) << "depth";
  EXPECT_THAT(treesOf(variables({"w[1].v"}) + "<Int32 name='w[2].v' valueReference='9'/>"),
              ElementsAre("2 w[1]{v}", "2 w[2]{v}"))
      << "types";
  EXPECT_THAT(treesOf("<String name='w[1].v' valueReference='8'/><String name='w[2].v' valueReference='9'/>"),
              ElementsAre("2 w[1]{v}", "2 w[2]{v}"))
      << "texts";
  EXPECT_THAT(treesOf(variables({"w[1].v"}) + runner_test::float64("w[2].v", 9, "causality='parameter' start='1'")),
              ElementsAre("2 w[1]{v}", "2 w[2]{v}"))
      << "parameters among others";
  EXPECT_THAT(treesOf(variables({"w[1].v", "w[2].v", "w"})), ElementsAre("2 w[1]{v}", "2 w[2]{v}", "2 w"));
  EXPECT_THAT(treesOf(variables({"w[1]", "w[2]"})), ElementsAre("2 w[1]", "2 w[2]")) << "no buses";
}

TEST(SignalTreeTest, GivesNamesThatContradictEachOtherSignalsOfTheirOwn) {
  EXPECT_THAT(treesOf(variables({"a", "a.b"})), ElementsAre("2 a", "2 a.b"));
  EXPECT_THAT(treesOf(variables({"a.b", "a"})), ElementsAre("2 a{b}", "2 a"));
  EXPECT_THAT(treesOf(variables({"a.b.c", "a.b", "a.d"})), ElementsAre("2 a{b{c},d}", "2 a.b"));
  EXPECT_THAT(treesOf(variables({"a.Kind", "a.b", "Kind"})), ElementsAre("2 a.Kind", "2 a{b}", "2 Kind"));
}

TEST(SignalTreeTest, LeavesNamesOfTooManyLevelsWhole) {
  std::string name = "a";
  for (int i = 0; i < 200000; ++i) name += ".a";
  EXPECT_THAT(treesOf(variables({name, "a.b"})), ElementsAre("2 " + name, "2 a{b}"));
}

TEST(SignalTreeTest, TakesArraysOfTextsApart) {
  EXPECT_THAT(treesOf("<String name='a.s' valueReference='1'><Dimension start='2'/><Dimension start='2'/></String>"),
              ElementsAre("2 a{s[0][0],s[0][1],s[1][0],s[1][1]}"));
}

}  // namespace
