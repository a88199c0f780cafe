// The structure around the values: every field of an element and of its nodes.
#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

class DatasetElement : public Recording {};

TEST_F(DatasetElement, FieldsOfAnOrdinarySignal) {
  vtu::FullBlkPathToTopMdl path;
  path.append(vtu::InternedUstring(u"top/Controller"));
  path.append(vtu::InternedUstring(u"inner/Gain"));
  path.subPath(u"state");
  const SignalDescriptor& descriptor =
      catalogue_.createSignalDescriptor(leaf(u"x"), 1, 7, 2, u"speed", u"velocity", path, 3);
  const auto accessor = access(descriptor);
  const vtu::qxArrayWrapper element = session_.attach(descriptor, *accessor)->datasetElement();
  EXPECT_EQ(fieldNames(element.get()),
            (std::vector<std::string>{"Name", "PropagatedName", "BlockPath", "SubPath", "PortIndex", "PortKind",
                                      "InportOrder", "Decimation", "MaxPoints", "Values"}));
  EXPECT_EQ(text(field(element.get(), "Name")), "speed");
  EXPECT_EQ(text(field(element.get(), "PropagatedName")), "velocity");
  const qxArray* blocks = field(element.get(), "BlockPath");
  ASSERT_EQ(qxGetClassID(blocks), qxCELL);
  ASSERT_EQ(qxGetNumberOfElements(blocks), 2U);
  EXPECT_EQ(text(qxGetCell(blocks, 0)), "top/Controller");
  EXPECT_EQ(text(qxGetCell(blocks, 1)), "inner/Gain");
  EXPECT_EQ(text(field(element.get(), "SubPath")), "state");
  EXPECT_EQ(text(field(element.get(), "PortKind")), "");
  for (const auto& [name, value] :
       {std::pair{"PortIndex", 3U}, {"InportOrder", 0U}, {"Decimation", 2U}, {"MaxPoints", 7U}}) {
    EXPECT_EQ(qxGetClassID(field(element.get(), name)), qxUINT64) << name;
    EXPECT_EQ(numbers<std::uint64_t>(field(element.get(), name)), std::vector<std::uint64_t>{value}) << name;
  }
}

TEST_F(DatasetElement, RootPortsHaveAKind) {
  const SignalDescriptor& outport = catalogue_.createSignalDescriptor(
      leaf(u"y"), 1, InportOutportSignalDescriptor::outport, 0, 1, u"y", u"", pathOf(u"m/Out"), 0);
  const SignalDescriptor& inport =
      catalogue_.createSignalDescriptor(leaf(u"u"), 1, 0, 1, u"u", u"", pathOf(u"m/In"), 0, 4UL);
  MemoryRecorder out(outport);
  MemoryRecorder in(inport);
  EXPECT_EQ(text(field(out.datasetElement().get(), "PortKind")), "outport");
  EXPECT_EQ(text(field(in.datasetElement().get(), "PortKind")), "inport");
  EXPECT_EQ(qxGetScalar(field(in.datasetElement().get(), "InportOrder")), 4.0);
  EXPECT_EQ(out.type(), Client::OutportLogging);
  EXPECT_EQ(in.type(), Client::SignalLogging);
}

TEST_F(DatasetElement, FieldsOfALeaf) {
  auto root = leaf(u"x");
  root->addPolicy(std::make_unique<VisualizationMetadataPolicy>(u"0.1", 0.1, 10.0, ""));
  Recorded r = record(std::move(root));
  r.add(0.25, 1.5);
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(fieldNames(values(element)), (std::vector<std::string>{"Kind", "Time", "Data", "DataType", "Unit",
                                                                   "Interpolation", "StartDate", "SampleTime"}));
  EXPECT_EQ(text(values(element, "Kind")), "leaf");
  EXPECT_EQ(numbers<double>(values(element, "Time")), std::vector<double>{0.25});
  EXPECT_EQ(text(values(element, "DataType")), "double");
  EXPECT_EQ(text(values(element, "Unit")), "m");
  EXPECT_EQ(text(values(element, "Interpolation")), "linear");
  EXPECT_EQ(text(values(element, "StartDate")), "today");
  EXPECT_EQ(text(values(element, "SampleTime")), "0.1");
}

TEST_F(DatasetElement, LeavesOfANonVirtualBusHaveTheSampleTimeOfItsRoot) {
  auto root = with(topNvBus(u"b", {1}, {0}, 8), leaf(u"x"));
  root->addPolicy(std::make_unique<VisualizationMetadataPolicy>(u"0.2", 0.2, 10.0, ""));
  Recorded r = record(std::move(root));
  EXPECT_EQ(text(values(r.element(), "x", "SampleTime")), "0.2");
}

TEST_F(DatasetElement, WithoutSamplesTheArraysAreEmpty) {
  Recorded r = record(leaf(u"x", "int16", {2, 3}));
  const vtu::qxArrayWrapper element = r.element();
  EXPECT_EQ(dimensions(values(element, "Time")), (std::vector<std::size_t>{0, 1}));
  EXPECT_EQ(dimensions(values(element, "Data")), (std::vector<std::size_t>{0, 2, 3}));
  EXPECT_EQ(qxGetClassID(values(element, "Data")), qxINT16);
}

TEST_F(DatasetElement, ChildrenWithoutTheirOwnNameGetOne) {
  Recorded r = record(with(topBus(u"b"), leaf(u""), leaf(u"a"), leaf(u"a"), leaf(u"Kind"), leaf(u""), leaf(u"a"),
                           leaf(u"a_2"), leaf(u"Kind_2"), leaf(u"ä b/c")));
  EXPECT_EQ(fieldNames(values(r.element())), (std::vector<std::string>{"Kind", "child1", "a", "a_2", "Kind_2", "child5",
                                                                       "a_3", "a_2_2", "Kind_2_2", "ä b/c"}));
  EXPECT_EQ(text(values(r.element(), "Kind")), "bus");
}

TEST_F(DatasetElement, MemberValuesFollowTheLeaders) {
  std::vector<Recorded> iterations;
  for (int i = 0; i < 3; ++i) {
    Recorded r;
    r.descriptor =
        &catalogue_.createSignalDescriptor(leaf(u"x"), 1, 0, 1, u"each", u"", pathOf(u"m/ForEach"), 0, {2, 3}, {1, i});
    r.accessor = access(*r.descriptor);
    r.recorder = session_.attach(*r.descriptor, *r.accessor);
    r.add(0.0, 10.0 * i);
    iterations.push_back(std::move(r));
  }
  const vtu::qxArrayWrapper dataset = catalogue_.datasetArray(u"logsout");
  const qxArray* elements = field(field(dataset.get(), "Dataset"), "Elements");
  ASSERT_EQ(qxGetNumberOfElements(elements), 1U);
  const qxArray* element = qxGetCell(elements, 0);
  EXPECT_EQ(numbers<std::uint64_t>(field(field(element, "ForEach"), "Dimensions")), (std::vector<std::uint64_t>{2, 3}));
  EXPECT_EQ(numbers<std::uint64_t>(field(field(element, "ForEach"), "Iteration")),
            (std::vector<std::uint64_t>{3, 4, 5}));
  const qxArray* nodes = field(element, "Values");
  ASSERT_EQ(qxGetClassID(nodes), qxCELL);
  ASSERT_EQ(qxGetNumberOfElements(nodes), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(text(field(qxGetCell(nodes, i), "Kind")), "leaf");
    EXPECT_EQ(numbers<double>(field(qxGetCell(nodes, i), "Data")), std::vector<double>{10.0 * static_cast<double>(i)});
  }
  const vtu::qxArrayWrapper again = catalogue_.datasetArray(u"logsout");
  const qxArray* sameElement = qxGetCell(field(field(again.get(), "Dataset"), "Elements"), 0);
  EXPECT_EQ(qxGetNumberOfElements(field(sameElement, "Values")), 3U) << "members are listed anew each time";
}

// A client of another kind as a for-each member.
class Foreign : public Client {
 public:
  using Client::Client;
  void update(const double*, const void*) override {}
  void update(unsigned long, const double*, const void*) override {}
  vtu::qxArrayWrapper datasetElement() override {
    vtu::qxStructWrapper element({"Values"});
    element.set("Values", vtu::qxArrayWrapper(qxCreateDoubleScalar(42.0)));
    return element;
  }
};

TEST_F(DatasetElement, MembersOfAnotherClassGiveTheirOwnValues) {
  Recorded r = record(leaf(u"x"));
  Foreign member(Client::SignalLogging, *r.descriptor);
  r.recorder->addForeachMember(&member);
  EXPECT_EQ(qxGetScalar(qxGetCell(values(r.element()), 1)), 42.0);
}

TEST_F(DatasetElement, IterationIsThatOfTheRecorderWhereTheDescriptorHasNone) {
  const SignalDescriptor& descriptor =
      catalogue_.createSignalDescriptor(leaf(u"x"), 1, 0, 1, u"each", u"", pathOf(u"m/ForEach"), 0, {4}, {});
  MemoryRecorder recorder(descriptor);
  EXPECT_EQ(qxGetScalar(field(field(recorder.datasetElement().get(), "ForEach"), "Iteration")), 0.0);
  recorder.foreachIteration(3);
  EXPECT_EQ(qxGetScalar(field(field(recorder.datasetElement().get(), "ForEach"), "Iteration")), 3.0);
}

TEST_F(DatasetElement, SignalsWithTheSameTimesShareOneTimeArray) {
  Recorded a = record(leaf(u"a"));
  Recorded b = record(leaf(u"b", "int8"));
  Recorded late = record(leaf(u"c"));
  for (int i = 0; i < 500; ++i) {
    a.add(i, 1.0 * i);
    b.add(i, static_cast<std::int8_t>(i));
    if (i > 0) late.add(i, 1.0 * i);
  }
  const vtu::qxArrayWrapper first = a.element();
  const vtu::qxArrayWrapper second = b.element();
  const vtu::qxArrayWrapper third = late.element();
  EXPECT_EQ(qxGetConstData(values(first, "Time")), qxGetConstData(values(second, "Time")));
  EXPECT_NE(qxGetConstData(values(first, "Time")), qxGetConstData(values(third, "Time")));
  EXPECT_EQ(numbers<double>(values(third, "Time")).front(), 1.0);
}

}  // namespace
