// Damage that checksums detect, and contradicting values with right checksums: both are detected before HDF5 reads
// the file, and named.
#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <map>

#include "damaged_bytes.hpp"
#include "guarded.hpp"
#include "platform/qat/integrity/integrity.hpp"
#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr unsigned kDataspace = 1, kDatatype = 3, kLayout = 8;

class QatIntegrity : public QatTest {
 protected:
  static void put(QatFile* file, const std::string& name, const Array& array) {
    ASSERT_EQ(qatPutVariable(file, name.c_str(), array.get()), 0) << qatLastError();
  }

  /// A small file with an array of every kind.
  std::string everyKind() {
    OpenFile file = open("w");
    std::vector<Array> rows, mixed;
    for (int i = 0; i < 3; ++i) rows.push_back(structure({{"Name", text("a")}, {"Data", doubles({2, 1}, {1, 2})}}));
    mixed.push_back(text("two"));
    mixed.push_back(doubles({2, 1}, {1, 2}));
    mixed.emplace_back();
    const std::size_t dims[] = {2, 1};
    put(file.get(), "complex", Array(qxCreateNumericArray(2, dims, qxSINGLE, true)));
    put(file.get(), "logical", Array(qxCreateLogicalScalar(true)));
    put(file.get(), "text", text("plain"));
    put(file.get(), "units", units(u"a\xd83d"));
    put(file.get(), "mixed", cells({1, 3}, std::move(mixed)));
    put(file.get(), "structure", structure({{"Unit", text("m")}, {"Gain", Array(qxCreateDoubleScalar(2.5))}}));
    put(file.get(), "table", cells({3, 1}, std::move(rows)));
    put(file.get(), "matrix", doubles({3, 4}, std::vector<double>(12, 1.5)));
    EXPECT_EQ(qatClose(file.release()), 0);
    return bytes();
  }

  /// A file with more variables than its root group's header takes.
  std::string manyVariables() {
    OpenFile file = open("w");
    for (int i = 0; i < 40; ++i) {
      put(file.get(), "variable " + std::to_string(i), Array(qxCreateDoubleScalar(i)));
    }
    EXPECT_EQ(qatClose(file.release()), 0);
    return bytes();
  }

  void overwrite(const std::string& content) const { std::ofstream(path_, std::ios::binary) << content; }

  /// The error of opening these bytes.
  std::string openError(const std::string& content, const char* mode = "r") const {
    overwrite(content);
    const OpenFile file = open(mode);
    EXPECT_EQ(file, nullptr);
    return file == nullptr ? qatLastError() : "";
  }

  /// The error of reading a variable of these bytes.
  std::string readError(const std::string& content, const char* name) const {
    overwrite(content);
    const OpenFile file = open("r");
    EXPECT_NE(file, nullptr) << qatLastError();
    const Array array(qatGetVariable(file.get(), name));
    EXPECT_FALSE(array);
    return array ? "" : qatLastError();
  }

  /// The header of the dataset that holds the variable "matrix": the last object of everyKind().
  static std::size_t matrixHeader(const DamagedBytes& file) { return file.headerAround(file.bytes().size()); }
};

TEST_F(QatIntegrity, EveryByteDamagedOnce) {
  const std::string whole = everyKind();
  ASSERT_LT(whole.size(), 20000U);
  const auto matrixAt =
      DamagedBytes(whole).number(DamagedBytes(whole).message(matrixHeader(DamagedBytes(whole)), kLayout) + 2, 8);
  guarded([&] {
    int damaged = 0, matrixLost = 0;
    const int descriptor = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
    for (std::size_t at = 0; at < whole.size(); ++at) {
      const char wrong = static_cast<char>(whole[at] ^ (at % 2 == 0 ? 0x01 : 0xA5));
      ASSERT_EQ(pwrite(descriptor, &wrong, 1, static_cast<off_t>(at)), 1);
      int failures = 0;
      if (const OpenFile file = open("r")) {
        for (const char* name : {"complex", "logical", "text", "units", "mixed", "structure", "table"}) {
          failures += Array(qatGetVariable(file.get(), name)) ? 0 : 1;
        }
        const Array matrix(qatGetVariable(file.get(), "matrix"));
        if (matrix && (at < matrixAt || at >= matrixAt + 96)) {
          EXPECT_EQ(qxGetScalar(matrix.get()), 1.5) << at;
        }
        matrixLost += matrix ? 0 : 1;
      } else {
        failures = 8;
      }
      damaged += failures > 0 ? 1 : 0;
      ASSERT_EQ(pwrite(descriptor, &whole[at], 1, static_cast<off_t>(at)), 1);
    }
    ::close(descriptor);
    EXPECT_GT(damaged, 1500);
    EXPECT_LT(matrixLost, 400) << "damage elsewhere takes the variable \"matrix\" along";
  });
}

TEST_F(QatIntegrity, TruncationAtEveryLength) {
  const std::string whole = everyKind();
  guarded([&] {
    for (std::size_t size = whole.size(); size-- > 0;) {
      ASSERT_EQ(truncate(path_.c_str(), static_cast<off_t>(size)), 0);
      EXPECT_EQ(open("r"), nullptr) << size;
      if (size % 97 == 0) {
        EXPECT_EQ(open("u"), nullptr) << size;
      }
      EXPECT_THAT(qatLastError(), HasSubstr(size < 48 ? "is not a Qat file" : "is truncated"));
    }
  });
}

/// HDF5 fails in the middle of a list of links when one of its blocks is behind the End of File Address.
TEST_F(QatIntegrity, BlocksBehindTheEndOfFileAddress) {
  DamagedBytes file(manyVariables());
  for (const std::size_t missing : {1U, 512U, 4096U}) {
    file.setNumber(28, 8, file.bytes().size() - missing);
    file.sealSuperblock();
    guarded([&] {
      for (const char* mode : {"r", "u"}) {
        overwrite(file.bytes());
        const OpenFile damaged = open(mode);
        if (damaged == nullptr) {
          EXPECT_THAT(qatLastError(), HasSubstr("do not lie in the file"));
          continue;
        }
        int count = 0, unread = 0;
        char** names = qatGetVariableNames(damaged.get(), &count);
        EXPECT_EQ(count, 40);
        for (int i = 0; i < count; ++i) unread += Array(qatGetVariable(damaged.get(), names[i])) ? 0 : 1;
        EXPECT_GT(unread, 0) << missing;
        EXPECT_THAT(qatLastError(), HasSubstr("do not lie in the file"));
        qxFree(static_cast<void*>(names));
      }
    });
  }
}

TEST_F(QatIntegrity, OpenMarkOfAWriterThatLivesStands) {
  DamagedBytes file(everyKind());
  file.setNumber(11, 1, 1);
  file.sealSuperblock();
  overwrite(file.bytes());
  const int writer = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(writer, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(open("r"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("is being written by another program"));
  ::close(writer);
  EXPECT_NE(open("r"), nullptr) << qatLastError();
}

TEST_F(QatIntegrity, EveryByteOfTheIndexOfVariables) {
  const std::string whole = manyVariables();
  const DamagedBytes file(whole);
  const std::map<std::string, std::size_t> structures = {{"FRHP", 146}, {"FHDB", 512}, {"BTHD", 38}, {"BTLF", 200}};
  guarded([&] {
    for (const auto& [signature, size] : structures) {
      for (std::size_t i = 0; i < size; ++i) {
        std::string content = whole;
        const std::size_t at = file.find(signature) + i;
        content[at] = static_cast<char>(content[at] ^ 0x10);
        EXPECT_THAT(openError(content), HasSubstr(" at address ")) << signature << " byte " << i;
      }
    }
  });
}

TEST_F(QatIntegrity, CountsOfLinksThatContradictEachOther) {
  const std::string whole = manyVariables();
  for (std::size_t tree : {0U, 1U}) {
    for (const std::uint64_t records : {39U, 41U}) {
      DamagedBytes file(whole);
      const std::size_t header = file.find("BTHD", tree);
      ASSERT_EQ(file.number(header + 26, 8), 40U);
      file.setNumber(header + 26, 8, records);
      file.seal(header, 34);
      EXPECT_THAT(openError(file.bytes()),
                  HasSubstr("its Total Number of Records in Child Node cannot be " + std::to_string(records)));
      EXPECT_THAT(openError(file.bytes(), "u"), HasSubstr("Version 2 B-tree "));
    }
  }
}

TEST_F(QatIntegrity, ExtentsBeyondTheData) {
  DamagedBytes file(everyKind());
  const std::size_t header = matrixHeader(file);
  for (const std::size_t at : {4U, 20U}) file.setNumber(file.message(header, kDataspace) + at, 8, 3000);  // and limit
  file.sealHeader(header);
  EXPECT_THAT(readError(file.bytes(), "matrix"),
              AllOf(HasSubstr("variable \"matrix\": at /matrix: the Data Layout Message at address "),
                    HasSubstr("its Size cannot be 96")));
}

TEST_F(QatIntegrity, ExtentsWhoseProductOverflows) {
  DamagedBytes file(everyKind());
  const std::size_t header = matrixHeader(file);
  for (const std::size_t at : {4U, 12U, 20U, 28U}) {
    file.setNumber(file.message(header, kDataspace) + at, 8, std::uint64_t{1} << 62);
  }
  file.sealHeader(header);
  EXPECT_THAT(readError(file.bytes(), "matrix"), HasSubstr("the Dataspace Message at address"));
}

TEST_F(QatIntegrity, DataOutsideTheFile) {
  DamagedBytes file(everyKind());
  const std::size_t header = matrixHeader(file);
  const std::size_t layout = file.message(header, kLayout);
  ASSERT_EQ(file.number(layout + 10, 8), 96U);
  file.setNumber(layout + 2, 8, file.bytes().size() - 50);
  file.sealHeader(header);
  EXPECT_THAT(readError(file.bytes(), "matrix"), HasSubstr("its 96 bytes do not lie in the file"));
}

TEST_F(QatIntegrity, TypesWithBitsOutsideThem) {
  const std::string whole = everyKind();
  // Offset, precision, exponent and mantissa of a double, and the size of the type.
  const std::vector<std::pair<std::size_t, std::uint64_t>> changes = {{8, 200}, {10, 65}, {12, 60}, {15, 63}, {4, 0}};
  for (const auto& [at, value] : changes) {
    DamagedBytes file(whole);
    const std::size_t header = matrixHeader(file);
    file.setNumber(file.message(header, kDatatype) + at, at < 12 ? 2 : 1, value);
    file.sealHeader(header);
    EXPECT_THAT(readError(file.bytes(), "matrix"), HasSubstr("the Datatype Message at address")) << at;
  }
}

TEST_F(QatIntegrity, VariableThatIsNoObject) {
  DamagedBytes file(everyKind());
  const std::size_t name = file.find("complex");  // the link in the root group's header
  const std::uint64_t target = file.number(name + 7, 8);
  ASSERT_EQ(file.bytes().substr(target, 4), "OHDR");
  for (const std::uint64_t wrong : {target + 1, file.bytes().size() - 2, std::uint64_t{1} << 40}) {
    file.setNumber(name + 7, 8, wrong);
    file.sealHeaderBlock(name);
    EXPECT_THAT(readError(file.bytes(), "complex"), HasSubstr("no object begins at address " + std::to_string(wrong)));
  }
}

TEST_F(QatIntegrity, AttributeThatIsTooLong) {
  DamagedBytes file(everyKind());
  const std::size_t name = file.find("Gain", 1);
  std::size_t attribute = name;
  while (attribute > file.headerAround(name) && !(file.number(attribute, 1) == 3 && file.number(attribute + 2, 2) == 5))
    --attribute;
  ASSERT_EQ(file.number(attribute + 2, 2), 5U) << "the length of the name";
  file.setNumber(attribute + 4, 2, 4000);
  file.sealHeaderBlock(name);
  EXPECT_THAT(readError(file.bytes(), "structure"), HasSubstr("the Attribute Message at address"));
}

TEST_F(QatIntegrity, FieldNameThatIsAPath) {
  std::string content = everyKind();
  const std::size_t heap = content.find("GCOL");
  ASSERT_NE(heap, std::string::npos);
  const std::size_t name = content.find("Gain", heap);
  ASSERT_NE(name, std::string::npos);
  content.replace(name, 4, "../x");
  EXPECT_THAT(readError(content, "structure"), HasSubstr("a name that is a path"));
}

TEST_F(QatIntegrity, UpdateOfADamagedFileLeavesItAlone) {
  std::string content = manyVariables();
  content[content.find("FHDB") + 40] ^= 1;
  EXPECT_THAT(openError(content, "u"), HasSubstr("the Fractal Heap Direct Block at address"));
  EXPECT_EQ(bytes(), content);
}

TEST_F(QatIntegrity, DamagedVariableIsNeitherReplacedNorDeleted) {
  std::string content = everyKind();
  content[matrixHeader(DamagedBytes(content)) + 12] ^= 1;
  overwrite(content);
  const OpenFile opened = open("u");
  ASSERT_NE(opened, nullptr) << qatLastError();
  const Array value = text("new");
  EXPECT_NE(qatPutVariable(opened.get(), "matrix", value.get()), 0);
  EXPECT_THAT(qatLastError(), HasSubstr("the Object Header at address"));
  EXPECT_NE(qatDeleteVariable(opened.get(), "matrix"), 0);
  EXPECT_EQ(qatPutVariable(opened.get(), "text", value.get()), 0) << qatLastError();
  EXPECT_EQ(qatDeleteVariable(opened.get(), "structure"), 0) << qatLastError();
  EXPECT_TRUE(Array(qatGetVariable(opened.get(), "complex"))) << qatLastError();
}

/// A group that does nothing but link to an object.
std::string groupWithLink(std::uint64_t target) {
  constexpr unsigned char kStart[] = {'O', 'H', 'D', 'R', 2, 0, 38, 2, 18, 0, 0, 0, 0};  // up to the heap's address
  constexpr unsigned char kLink[] = {6, 12, 0, 0, 1, 0, 1, 'x'};
  constexpr std::size_t kSize = sizeof kStart + 16 + sizeof kLink + sizeof target;
  std::string group(kSize + 4, '\xFF');
  std::copy(std::begin(kStart), std::end(kStart), group.begin());
  std::copy(std::begin(kLink), std::end(kLink), group.begin() + sizeof kStart + 16);
  DamagedBytes sealed(std::move(group));
  sealed.setNumber(kSize - sizeof target, sizeof target, target);
  sealed.seal(0, kSize);
  return sealed.bytes();
}

/// What another session wrote is not read: it may be nested to any depth.
TEST_F(QatIntegrity, ChainOfGroupsIsDeletedWithoutFollowingIt) {
  std::string content = everyKind();
  const DamagedBytes whole(content);
  const std::size_t name = whole.find("complex");
  std::uint64_t target = whole.number(name + 7, 8);
  for (std::size_t i = 0; i < 20000; ++i) {
    const std::uint64_t place = content.size();
    content += groupWithLink(target);
    target = place;
  }
  DamagedBytes file(content);
  file.setNumber(name + 7, 8, target);
  file.sealHeaderBlock(name);
  file.setNumber(28, 8, content.size());
  file.sealSuperblock();
  overwrite(file.bytes());
  guarded([&] {
    OpenFile opened = open("u");
    ASSERT_NE(opened, nullptr) << qatLastError();
    EXPECT_EQ(qatDeleteVariable(opened.get(), "complex"), 0) << qatLastError();
    EXPECT_EQ(qatClose(opened.release()), 0) << qatLastError();
    EXPECT_TRUE(Array(qatGetVariable(open("r").get(), "matrix"))) << qatLastError();
  });
}

/// The damaged size would claim all bytes after it.
TEST_F(QatIntegrity, DamagedSizeLeavesOtherVariablesReadable) {
  {
    OpenFile file = open("w");
    put(file.get(), "structure",
        structure({{"Long", text(std::string(300, 'x').c_str())},
                   {"Gain", Array(qxCreateDoubleScalar(2.5))},
                   {"Offset", Array(qxCreateDoubleScalar(2.5))},
                   {"Unit", text("m")}}));
    put(file.get(), "data", doubles({4000, 1}, std::vector<double>(4000, 1.5)));
  }
  std::string content = bytes();
  const DamagedBytes file(content);
  const std::size_t header = file.headerAround(file.find("Offset"));
  ASSERT_EQ(file.number(header + 5, 1) & 3U, 1U) << "Size of Chunk #0 has two bytes";
  content[header + 7] ^= 0x40;
  overwrite(content);
  const OpenFile opened = open("r");
  ASSERT_NE(opened, nullptr) << qatLastError();
  EXPECT_EQ(qatGetVariable(opened.get(), "structure"), nullptr);
  EXPECT_THAT(qatLastError(), HasSubstr("the Object Header at address " + std::to_string(header)));
  EXPECT_TRUE(Array(qatGetVariable(opened.get(), "data"))) << qatLastError();
}

/// HDF5 compiled with its assertions ends the program over it.
TEST_F(QatIntegrity, MessageWithFlagsThatNobodyWrites) {
  DamagedBytes file(everyKind());
  const std::size_t header = matrixHeader(file);
  file.setNumber(file.message(header, kDatatype) - 1, 1, 0x40);
  file.sealHeader(header);
  EXPECT_THAT(readError(file.bytes(), "matrix"),
              AllOf(HasSubstr("the Datatype Message at address"), HasSubstr("its Header Message Flags cannot be 64")));
}

TEST_F(QatIntegrity, DataThatBelongToSomethingElse) {
  DamagedBytes file(everyKind());
  const std::size_t header = matrixHeader(file);
  file.setNumber(file.message(header, kLayout) + 2, 8, header - 50);
  file.sealHeader(header);
  EXPECT_THAT(readError(file.bytes(), "matrix"),
              HasSubstr("the contiguous data at address " + std::to_string(header - 50) +
                        ": its 96 bytes overlap something else"));
}

/// The bytes of a file for the checks alone, with memory that runs out at some point.
class ScarceSource final : public vtu::qat::ByteSource {
 public:
  explicit ScarceSource(std::string bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t size() const override { return bytes_.size(); }
  void read(std::uint64_t address, void* target, std::size_t size) const override {
    if (reads-- == 0) throw std::bad_alloc();
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(address), size, static_cast<char*>(target));
  }
  void wrongChecksum(vtu::qat::StructurePlace, std::uint64_t, std::uint32_t) override {
    throw vtu::qat::Failure(vtu::qat::kDamaged, "a checksum");
  }

  mutable int reads = 0;

 private:
  std::string bytes_;
};

TEST_F(QatIntegrity, CheckThatIsNotFinishedIsARefusal) {
  const std::string content = manyVariables();
  const std::uint64_t root = DamagedBytes(content).number(36, 8);
  ScarceSource source(content);
  vtu::qat::Integrity integrity(source);
  int unfinished = 0;
  for (bool finished = false; !finished; ++unfinished) {
    integrity.forget();
    source.reads = unfinished;
    try {
      integrity.requireObject(root);
      finished = true;
    } catch (const std::bad_alloc&) {
      source.reads = 1000;  // there is memory again, but the first check was not completed
      EXPECT_THROW(integrity.requireObject(root), vtu::qat::Failure) << unfinished;
    }
  }
  EXPECT_GT(unfinished, 10);
  EXPECT_NO_THROW(integrity.requireObject(root));
}

class QatForeign : public QatIntegrity {
 protected:
  static std::string seed(const char* name) {
    std::ifstream stream(std::string(VTIO_QAT_SEEDS) + "/" + name, std::ios::binary);
    EXPECT_TRUE(stream.good()) << name;
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  /// Elements of a variable in storage order of a line, or row by row.
  template <typename Value = double>
  static Value at(QatFile* file, const char* name, std::size_t index) {
    const Array array(qatGetVariable(file, name));
    EXPECT_TRUE(array) << qatLastError();
    return array ? static_cast<const Value*>(qxGetConstData(array.get()))[index] : Value{};
  }
};

TEST_F(QatForeign, ChunksOfEveryIndexAreRead) {
  for (const char* name : {"chunks.qat", "filtered_chunks.qat"}) {
    overwrite(seed(name));
    const OpenFile file = open("r");
    ASSERT_NE(file, nullptr) << qatLastError();
    EXPECT_EQ(at(file.get(), "single", 7), 7.0);
    EXPECT_EQ(at(file.get(), "fixed", 23), 23.0);
    EXPECT_EQ(at<float>(file.get(), "growing", 299), 299.0F);
    EXPECT_EQ(at(file.get(), "table", 6), 1.0);
    EXPECT_EQ(at(file.get(), "table", 47), 47.0);
  }
  overwrite(seed("paged_chunks.qat"));
  EXPECT_EQ(at<unsigned char>(open("r").get(), "paged", 1099), 1099 % 251);
}

TEST_F(QatForeign, TypesOfEveryKindAreRead) {
  overwrite(seed("types.qat"));
  const OpenFile file = open("r");
  ASSERT_NE(file, nullptr) << qatLastError();
  for (const char* name : {"complex", "texts", "truth", "many"}) {
    EXPECT_TRUE(Array(qatGetVariable(file.get(), name))) << qatLastError();
  }
}

TEST_F(QatForeign, WhatQatFilesDoNotHaveIsRefusedByName) {
  overwrite(seed("refused.qat"));
  const OpenFile file = open("r");
  ASSERT_NE(file, nullptr) << qatLastError();
  const std::map<std::string, const char*> reasons = {
      {"implicit",
       "the Data Layout Message at address 316: a chunk index of type 2, which Qat files do not have; repack the "
       "file with h5repack"},
      {"tree", "a chunk index of type 5, which"},
      {"large chunks", "chunks of more than 32 MiB, which"},
      {"checksum", "a filter of number 3, which"},
      {"virtual", "a layout of class 3, which"},
      {"named", "an object that is neither a group nor a dataset, which"},
      {"shared", "a shared message, which"},
      {"half", "a floating-point number that is neither a little-endian IEEE single nor double, which"},
      {"big", "an integer that is not 1, 2, 4 or 8 bytes, little-endian, which"},
      {"opaque", "a datatype of class 5 (Opaque) here, which"},
      {"bits", "a datatype of class 7 (Reference) here, which"},
      {"array", "a datatype of class 10 (Array) here, which"},
      {"lists", "a datatype of class 9 (Variable-Length) here, which"},
      {"nothing", "the Dataspace Message at address 12731: its Type cannot be 2"}};
  EXPECT_EQ(names(file.get()).size(), reasons.size());
  for (const auto& [name, reason] : reasons) {
    EXPECT_EQ(qatGetVariable(file.get(), name.c_str()), nullptr) << name;
    EXPECT_THAT(qatLastError(), AllOf(HasSubstr("variable \"" + name + "\""), HasSubstr(reason)));
  }
}

TEST_F(QatForeign, DamagedIndexOfChunksIsNamed) {
  const std::string whole = seed("chunks.qat");
  const DamagedBytes file(whole);
  const std::map<std::string, const char*> indexes = {{"FAHD", "fixed"},   {"FADB", "fixed"},   {"EAHD", "growing"},
                                                      {"EAIB", "growing"}, {"EADB", "growing"}, {"EASB", "growing"}};
  for (const auto& [signature, variable] : indexes) {
    std::string content = whole;
    content[file.find(signature) + 10] ^= 1;
    EXPECT_THAT(readError(content, variable), HasSubstr(" at address " + std::to_string(file.find(signature))))
        << signature;
    EXPECT_EQ(at(open("r").get(), "single", 7), 7.0) << "what is not damaged stays readable";
  }
}

/// HDF5 would allocate memory for each chunk of a dataset, stored or not.
TEST_F(QatForeign, MoreChunksThanTheFileHasRoomFor) {
  DamagedBytes file(seed("chunks.qat"));
  const std::size_t header = file.headerAround(file.find("EAHD"));
  std::size_t growing = header;
  while (file.number(file.message(growing, kDataspace) + 12, 8) != ~std::uint64_t{0}) {
    growing = file.headerAround(growing - 1);
  }
  file.setNumber(file.message(growing, kDataspace) + 4, 8, std::uint64_t{1} << 40);
  file.sealHeader(growing);
  EXPECT_THAT(readError(file.bytes(), "growing"), HasSubstr("its number of chunks cannot be 1099511627776"));
}

TEST_F(QatForeign, ChunkThatInflatesToTooLittle) {
  EXPECT_THAT(readError(seed("short_chunk.qat"), "short"), HasSubstr("it does not hold 16000 bytes"));
}

TEST_F(QatForeign, BytesOfChunksAndTypesDamagedOneByOne) {
  const std::map<const char*, std::size_t> files = {{"filtered_chunks.qat", 3}, {"types.qat", 7}};
  for (const auto& [name, step] : files) {
    const std::string whole = seed(name);
    overwrite(whole);
    guarded([&, step = step] {
      int failures = 0;
      const int descriptor = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
      for (std::size_t at = 0; at < whole.size(); at += step) {
        const char wrong = static_cast<char>(whole[at] ^ 0x5A);
        ASSERT_EQ(pwrite(descriptor, &wrong, 1, static_cast<off_t>(at)), 1);
        if (const OpenFile file = open("r")) {
          for (const std::string& variable : names(file.get())) {
            failures += Array(qatGetVariable(file.get(), variable.c_str())) ? 0 : 1;
          }
        } else {
          ++failures;
        }
        ASSERT_EQ(pwrite(descriptor, &whole[at], 1, static_cast<off_t>(at)), 1);
      }
      ::close(descriptor);
      EXPECT_GT(failures, 300);
    });
  }
}

/// What fuzzing found once: a table of links that HDF5 does not check and crashes on.
TEST_F(QatForeign, DamagedTableOfLinks) {
  guarded([&] {
    EXPECT_THAT(openError(seed("crash_dense_links.qat")),
                HasSubstr("the Fractal Heap Direct Block at address 13463: its Signature is wrong"));
  });
}

/// Another one: HDF5 goes through links, and frees what it never made when it cannot go on.
TEST_F(QatForeign, ObjectsBehindTheManagedSpaceOfAHeap) {
  guarded(
      [&] { EXPECT_THAT(openError(seed("crash_managed_space.qat")), HasSubstr("its Heap ID's Offset cannot be ")); });
}

}  // namespace
}  // namespace vtio::tests
