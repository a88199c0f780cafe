// What the catalogue and the entry functions guarantee when memory runs out, tried at every single allocation.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/logging_interval.hpp"
#include "tests/allocation/allocation_counter.hpp"
#include "tests/runtime/generated_code.hpp"
#include "tests/runtime/recording_client.hpp"
#include "vtio/core/client/shared_resource.hpp"

namespace vtio::testing {
namespace {

using namespace mdlref_simtarget;
using core::client::Catalogue;
using core::utils::SignalDescriptor;
using test::FailingAllocation;
using test::liveAllocations;

const std::u16string kLongName(100, u'n');
const char* const kLongText = "a text of more than sixteen bytes that no small buffer holds, so that it is allocated";

// Fails the first allocation of `attempt`, then the second, and so on until it gets through. Returns how many failed.
template <typename Attempt>
int failEveryAllocation(Attempt attempt) {
  for (std::size_t allowed = 0; allowed < 10000; ++allowed) {
    if (!attempt(allowed)) {
      return static_cast<int>(allowed);
    }
  }
  ADD_FAILURE() << "does not end";
  return 0;
}

class TreeAllocationTest : public ::testing::Test {
 protected:
  using Add = std::function<void(void*)>;

  // An add that fails leaves the vector as it was, reports nothing and releases what it allocated.
  static void expectAllOrNothing(const std::string& what, const Add& add) {
    zetAddLeafNode(0, "", "", 0, nullptr, 0, kLongText, "", "", 0, 0, nullptr);  // the message has its memory now
    const int failures = failEveryAllocation([&](std::size_t allowed) {
      void* tree = zetGetTreeVector();
      NodeVector& entries = vectorBehind(tree);
      entries.push_back(makeLeaf(u"before"));
      entries.shrink_to_fit();
      const std::ptrdiff_t before = liveAllocations();
      bool failed = false;
      {
        const FailingAllocation failure(allowed);
        EXPECT_NO_THROW(add(tree)) << what;
        failed = failure.happened();
      }
      EXPECT_EQ(entries.size(), failed ? 1u : 2u) << what << ", allocation " << allowed;
      EXPECT_EQ(entries.at(0)->signalName(), u"before");
      if (failed) {
        EXPECT_EQ(liveAllocations(), before) << what << ", allocation " << allowed;
      }
      Catalogue catalogue;
      zetGetSignalDescriptor(tree, 1, 3, 0, 1, "", "", "%", "", 0, 0, &catalogue, nullptr, 0, nullptr, 0);
      return failed;
    });
    EXPECT_GE(failures, 2) << what << ": at least the node and the vector are allocated";
  }
};

TEST_F(TreeAllocationTest, everyAddFunctionIsAllOrNothing) {
  static const unsigned numbers[] = {1, 2, 3};
  static const char* labels[] = {"a", kLongText, "c"};
  expectAllOrNothing("top non-virtual bus", [](void* tree) {
    zetAddTopNVBusNode(1, kLongText, 3, numbers, 3, 8, numbers, kLongText, 1, 2, tree);
  });
  expectAllOrNothing("non-virtual bus",
                     [](void* tree) { zetAddNVBusNode(1, kLongText, 3, numbers, 3, 8, numbers, tree); });
  expectAllOrNothing("top bus", [](void* tree) { zetAddTopBusNode(kLongText, 3, tree); });
  expectAllOrNothing("bus", [](void* tree) { zetAddBusNode(kLongText, 3, tree); });
  expectAllOrNothing("leaf", [](void* tree) {
    zetAddLeafNode(1, kLongText, kLongText, 0, numbers, 3, "double", kLongText, kLongText, 1, 2, tree);
  });
  expectAllOrNothing("fixed-point leaf", [](void* tree) {
    zetAddFixedPointLeafNode(1, kLongText, kLongText, 0, numbers, 3, kLongText, kLongText, true, 16, 1, 0, 0, kLongText,
                             1, 2, tree);
  });
  expectAllOrNothing("enumerated leaf", [](void* tree) {
    zetAddEnumLeafNode(1, kLongText, kLongText, numbers, 3, kLongText, kLongText, "int32", kLongText, 1, 2, numbers,
                       labels, 3, tree);
  });
}

TEST_F(TreeAllocationTest, treeVectorAndMarkerLetTheFailurePass) {
  {
    const FailingAllocation failure(0);
    EXPECT_THROW(zetGetTreeVector(), std::bad_alloc);
  }
  void* tree = zetGetTreeVector();
  {
    const FailingAllocation failure(0);
    EXPECT_THROW(zetPopNVBusNode(tree), std::bad_alloc);
  }
  EXPECT_TRUE(vectorBehind(tree).empty());
  Catalogue catalogue;
  zetGetSignalDescriptor(tree, 1, 3, 0, 1, "", "", "", "", 0, 0, &catalogue, nullptr, 0, nullptr, 0);
}

// Whether `descriptor` is the catalogue's first.
bool isFirst(Catalogue& catalogue, const SignalDescriptor& descriptor) {
  catalogue.setModelLoggingInfo(makeSelection(2).get());
  const auto numbered = makeDescriptor(makeLeaf(), {.catalogueIndex = 0});
  catalogue.signalLoggingOverride(*numbered);
  return descriptor.decimation() == 1;
}

TEST(DescriptorAllocationTest, aFailureGivesNullFreesTheTreeAndTakesNoNumber) {
  const unsigned dims[] = {2, 3};
  for (const unsigned kind : {1u, 2u, 3u}) {
    const auto create = [&](void* tree, Catalogue& catalogue) {
      return static_cast<const SignalDescriptor*>(zetGetSignalDescriptor(
          tree, 1, kind, 0, 7, kLongText, kLongText, "top%7Cx|mid", kLongText, 0, 0, &catalogue, dims, 2, dims, 2));
    };
    const auto plantTree = [](int& destroyed) {
      void* tree = zetGetTreeVector();
      zetAddTopBusNode("T", 1, tree);
      vectorBehind(tree).push_back(std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; }));
      zetPopNVBusNode(tree);
      return tree;
    };
    const int failures = failEveryAllocation([&](std::size_t allowed) {
      int destroyed = 0;
      Catalogue catalogue;
      void* tree = plantTree(destroyed);
      bool failed = false;
      const SignalDescriptor* made = nullptr;
      {
        const FailingAllocation failure(allowed);
        EXPECT_NO_THROW(made = create(tree, catalogue));
        failed = failure.happened();
      }
      if (failed) {
        EXPECT_EQ(made, nullptr) << "allocation " << allowed;
        EXPECT_EQ(destroyed, 1) << "allocation " << allowed;
        made = create(plantTree(destroyed), catalogue);
      }
      if (made == nullptr) {
        ADD_FAILURE() << "no descriptor";
        return false;
      }
      EXPECT_TRUE(isFirst(catalogue, *made)) << "allocation " << allowed;
      return failed;
    });
    EXPECT_GE(failures, 5) << kind;
  }
}

TEST(DescriptorAllocationTest, aFailedDescriptorLeavesNothingBehind) {
  Catalogue catalogue;
  const auto attempt = [&catalogue](std::size_t allowed) {
    void* tree = zetGetTreeVector();
    zetAddLeafNode(0, "x", "zoh", 0, nullptr, 0, "double", "", "", 0, 0, tree);
    const FailingAllocation failure(allowed);
    const void* made = zetGetSignalDescriptor(tree, 1, 3, 0, 7, kLongText, kLongText, "top|mid", kLongText, 0, 0,
                                              &catalogue, nullptr, 0, nullptr, 0);
    return made == nullptr;
  };
  ASSERT_FALSE(attempt(10000)) << "the path's texts are interned from here on";
  ASSERT_TRUE(attempt(0)) << "the text of this thread's last error has its memory from here on";
  failEveryAllocation([&](std::size_t allowed) {
    const std::ptrdiff_t before = liveAllocations();
    const bool failed = attempt(allowed);
    if (failed) {
      EXPECT_EQ(liveAllocations(), before) << "allocation " << allowed;
    }
    return failed;
  });
}

// Memory of accessors and of their cells is kept for the next ones: allocations are compared once there is some.
TEST(AccessorAllocationTest, aFailureGivesNullAndLeavesNothingBehind) {
  const smartlog::LoggingInterval interval;
  const auto scalar = makeDescriptor(makeLeaf());
  const auto bus = makeDescriptor(makeTopBus(3), {.inputs = 3});
  {
    const FailingAllocation failure(0);
    ASSERT_EQ(zetGetAccessor(scalar.get(), &interval), nullptr)
        << "the text of this thread's last error has its memory from here on";
  }
  for (const SignalDescriptor* descriptor : {scalar.get(), bus.get()}) {
    zetDestructAccessorPointer(zetGetAccessor(descriptor, &interval));
    const int failures = failEveryAllocation([&](std::size_t allowed) {
      const std::ptrdiff_t before = liveAllocations();
      void** handle = nullptr;
      bool failed = false;
      {
        const FailingAllocation failure(allowed);
        EXPECT_NO_THROW(handle = zetGetAccessor(descriptor, &interval));
        failed = failure.happened();
      }
      EXPECT_EQ(handle == nullptr, failed) << "allocation " << allowed;
      zetDestructAccessorPointer(handle);
      EXPECT_EQ(liveAllocations(), before) << "allocation " << allowed;
      return failed;
    });
    EXPECT_GE(failures, descriptor == bus.get() ? 2 : 0) << "the counters and the leaves of a bus";
  }
}

TEST(AccessorAllocationTest, aFailureAmongManyGivesNullAndAllAreReleased) {
  const smartlog::LoggingInterval interval;
  const auto scalar = makeDescriptor(makeLeaf());
  const std::size_t many = 3000;  // more than there are places
  std::vector<void**> handles;
  handles.reserve(many);
  const int failures = failEveryAllocation([&](std::size_t allowed) {
    bool failed = false;
    {
      const FailingAllocation failure(allowed);
      do {
        handles.push_back(zetGetAccessor(scalar.get(), &interval));
      } while (handles.back() != nullptr && handles.size() < many);
      failed = failure.happened();
    }
    EXPECT_EQ(handles.back() == nullptr, failed) << "allocation " << allowed;
    for (void** handle : handles) zetDestructAccessorPointer(handle);
    handles.clear();
    return failed;
  });
  EXPECT_GE(failures, 2) << "the cells and the accessors";
}

// A service may succeed although an allocation failed: then the catalogue must be complete.
TEST(CatalogueAllocationTest, theEntryFunctionGivesNullOrAWholeCatalogueWhereverMemoryEnds) {
  TemporaryFolder folder;
  const std::string name = folder.file("configuration.qat");
  Configuration().set("loggingSelection", makeSelection(0).release()).write(name);
  int nulls = 0;
  failEveryAllocation([&](std::size_t allowed) {
    void* handle = nullptr;
    bool failed = false;
    {
      const FailingAllocation failure(allowed);
      EXPECT_NO_THROW(handle = zetGetNewVtioCatalogue(name.c_str()));
      failed = failure.happened();
    }
    nulls += handle == nullptr ? 1 : 0;
    if (handle != nullptr) {
      auto& catalogue = *static_cast<Catalogue*>(zetGetPointerFromUniquePtr(handle));
      EXPECT_EQ(catalogue.settings(Catalogue::SignalLogging), u"on") << "allocation " << allowed;
      EXPECT_EQ(catalogue.settings(Catalogue::DSMLogging), u"off") << "allocation " << allowed;
      EXPECT_EQ(catalogue.settings(Catalogue::SignalLoggingToPersistentStorage), u"off") << "allocation " << allowed;
      EXPECT_EQ(catalogue.settings(Catalogue::SignalStorageParameters), u"storage") << "allocation " << allowed;
      EXPECT_EQ(catalogue.settings(Catalogue::OutputLogging), u"on") << "allocation " << allowed;
      EXPECT_EQ(catalogue.settings(Catalogue::DisableSignalLoggingToR2forXIL), u"off") << "allocation " << allowed;
      const auto unlisted = makeDescriptor(makeLeaf());
      EXPECT_FALSE(catalogue.signalLoggingOverride(*unlisted)) << "no selection, allocation " << allowed;
      zetTerminateVtioCatalogue(&handle);
    }
    return failed;
  });
  EXPECT_GE(nulls, 5);
}

TEST(CatalogueAllocationTest, aFailedDescriptorIsNotAppendedAndItsRootIsDestroyed) {
  const vtu::FullBlkPathToTopMdl path = makePath({u"m/b"});
  const std::vector<unsigned long> dimensions{2};
  const std::vector<int> indices{1};
  const int failures = failEveryAllocation([&](std::size_t allowed) {
    int destroyed = 0;  // written by what the catalogue destroys
    Catalogue catalogue;
    auto root = std::make_unique<ProbeLeaf>([&destroyed] { ++destroyed; });
    const FailingAllocation failure(allowed);
    try {
      catalogue.createSignalDescriptor(std::move(root), 1ul, 0ul, 7ul, kLongName, kLongName, path, 0ul, dimensions,
                                       indices);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(destroyed, 1) << "allocation " << allowed;
      const SignalDescriptor& next = catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 7ul, kLongName, kLongName,
                                                                      path, 0ul, dimensions, indices);
      EXPECT_TRUE(isFirst(catalogue, next)) << "allocation " << allowed;
    }
    return failure.happened();
  });
  EXPECT_GE(failures, 3);
}

TEST(CatalogueAllocationTest, aFailedAddClientLeavesNoClientAndNoSnapshotInterface) {
  const int failures = failEveryAllocation([](std::size_t allowed) {
    Events events;
    events.reserve(10);
    int destroyed = 0;
    Catalogue catalogue;
    const SignalDescriptor& descriptor =
        catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 0ul);
    auto client = std::make_unique<RecordingClient>(descriptor);
    client->onDestruction = [&destroyed] { ++destroyed; };
    client->makeSnapshotInterface = [&events] { return std::make_unique<RecordingSnapshotInterface>("s", events); };
    const FailingAllocation failure(allowed);
    try {
      catalogue.addClient(std::move(client), kLongName);
      EXPECT_FALSE(failure.happened());
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(destroyed, 1) << "allocation " << allowed;
      EXPECT_TRUE(catalogue.snapshotInterfaces().empty()) << "allocation " << allowed;
      if (catalogue.hasDataset(kLongName)) {
        EXPECT_TRUE(catalogue.clientCollection(kLongName).empty()) << "allocation " << allowed;
      }
    }
    const bool failed = failure.happened();
    catalogue.snapshotInterfaces().clear();
    return failed;
  });
  EXPECT_GE(failures, 4);
}

TEST(CatalogueAllocationTest, aFailedSettingKeepsTheOldText) {
  const int failures = failEveryAllocation([](std::size_t allowed) {
    Catalogue catalogue;
    const FailingAllocation failure(allowed);
    try {
      catalogue.settings(Catalogue::SignalLogging, kLongName);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(catalogue.settings(Catalogue::SignalLogging), u"") << "allocation " << allowed;
    }
    return failure.happened();
  });
  EXPECT_GE(failures, 1);
}

TEST(CatalogueAllocationTest, aResourceThatCannotBeKeptIsDestroyed) {
  class Resource : public core::client::SharedResource {
   public:
    explicit Resource(int& destroyed) : SharedResource("r"), destroyed_(&destroyed) {}
    Resource(const Resource&) = delete;
    Resource& operator=(const Resource&) = delete;
    ~Resource() override { ++*destroyed_; }
    void open() override {}
    void close() override {}
    void reopen() override {}

   private:
    int* destroyed_;
  };
  int destroyed = 0;
  Catalogue catalogue;
  auto resource = std::make_unique<Resource>(destroyed);
  {
    const FailingAllocation failure(0);
    EXPECT_THROW(catalogue.addSharedResource(std::move(resource)), std::bad_alloc);
  }
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(catalogue.getSharedResource("r"), nullptr);
}

// An override with a long custom name needs memory: the entry function does not catch the failure.
TEST(LoggingOverrideAllocationTest, theFailurePasses) {
  Catalogue catalogue;
  const SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 0ul);
  catalogue.setModelLoggingInfo(makeSelection(0, {{.path = {u"m/b"}, .selector = 2, .customName = kLongName}}).get());
  const FailingAllocation failure(0);
  EXPECT_THROW(zetLoggingOverride(&descriptor, &catalogue), std::bad_alloc);
}

TEST(SaveAllocationTest, theEntryFunctionDropsEveryFailure) {
  TemporaryFolder folder;
  Catalogue catalogue;
  const SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(makeLeaf(), 1ul, 0ul, 1ul, u"s", u"", makePath({u"m/b"}), 0ul);
  auto client = std::make_unique<RecordingClient>(descriptor);
  client->yields(1.0);
  catalogue.addClient(std::move(client), u"d");
  int run = 0;
  const int failures = failEveryAllocation([&](std::size_t allowed) {
    const std::string name = folder.file("r" + std::to_string(run++) + ".qat");
    const FailingAllocation failure(allowed);
    EXPECT_NO_THROW(zetSaveDatasetsToQatFile(&catalogue, name.c_str())) << "allocation " << allowed;
    return failure.happened();
  });
  EXPECT_GE(failures, 3);
}

}  // namespace
}  // namespace vtio::testing
