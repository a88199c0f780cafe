// Sound HDF5 that says something else than a Qat file: clear errors, in bounded time and memory. And links to other
// files.
#ifndef H5_USE_110_API
#define H5_USE_110_API
#endif
#include <fcntl.h>
#include <hdf5.h>

#include <functional>
#include <map>
#include <numeric>

#include "guarded.hpp"
#include "platform/diagnostics.hpp"
#include "platform/qat_parts.hpp"
#include "qat_fixture.hpp"
#include "sample_tables.hpp"

namespace vtio::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// HDF5 from the outside. Everything must work: a file that was made wrong would prove nothing.
class Edit final {
 public:
  explicit Edit(const std::string& path) {
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(access, H5F_LIBVER_V110, H5F_LIBVER_V110);
    file_ = good(H5Fopen(path.c_str(), H5F_ACC_RDWR, access));
    H5Pclose(access);
  }
  Edit(const Edit&) = delete;
  Edit& operator=(const Edit&) = delete;
  ~Edit() { good(H5Fclose(file_)); }

  [[nodiscard]] hid_t file() const { return file_; }

  template <typename Result>
  static Result good(Result result) {
    EXPECT_GE(result, 0);
    return result;
  }

  void remove(const char* path) const { good(H5Ldelete(file_, path, H5P_DEFAULT)); }

  void setDims(const char* path, std::vector<std::uint64_t> dims) const {
    const hid_t object = good(H5Oopen(file_, path, H5P_DEFAULT));
    const hsize_t count = dims.size();
    const hid_t space = good(H5Screate_simple(1, &count, nullptr));
    H5Adelete(object, "qat.dims");
    const hid_t made = good(H5Acreate2(object, "qat.dims", H5T_STD_U64LE, space, H5P_DEFAULT, H5P_DEFAULT));
    good(H5Awrite(made, H5T_STD_U64LE, dims.data()));
    H5Aclose(made), H5Sclose(space), H5Oclose(object);
  }

  /// A dataset in place of what is there; of its chunks only the first is in the file. @param values Null for chunks.
  void replace(const char* path, hid_t type, std::vector<hsize_t> extents, const void* values = nullptr,
               std::vector<hsize_t> chunk = {}) const {
    if (H5Lexists(file_, path, H5P_DEFAULT) > 0) remove(path);
    const int rank = static_cast<int>(extents.size());
    const hid_t list = good(H5Pcreate(H5P_DATASET_CREATE));
    if (!chunk.empty()) good(H5Pset_chunk(list, rank, chunk.data()));
    const hid_t space = good(H5Screate_simple(rank, extents.data(), nullptr));
    const hid_t made = good(H5Dcreate2(file_, path, type, space, H5P_DEFAULT, list, H5P_DEFAULT));
    if (values != nullptr) {
      good(H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values));
    } else if (!chunk.empty()) {
      const std::vector<char> zeros(
          std::accumulate(chunk.begin(), chunk.end(), H5Tget_size(type), std::multiplies<>()));
      const std::vector<hsize_t> first(extents.size(), 0);
      good(H5Dwrite_chunk(made, H5P_DEFAULT, 0, first.data(), zeros.size(), zeros.data()));
    }
    H5Dclose(made), H5Sclose(space), H5Pclose(list);
  }

  /// Overwrites one number of all elements of a compound dataset.
  void setNumber(const char* path, const char* member, std::uint64_t value) const {
    const hid_t dataset = good(H5Dopen2(file_, path, H5P_DEFAULT));
    const hid_t type = good(H5Tcreate(H5T_COMPOUND, sizeof value));
    good(H5Tinsert(type, member, 0, H5T_NATIVE_UINT64));
    const hid_t space = good(H5Dget_space(dataset));
    const std::vector<std::uint64_t> values(static_cast<std::size_t>(H5Sget_simple_extent_npoints(space)), value);
    good(H5Dwrite(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
    H5Sclose(space), H5Tclose(type), H5Dclose(dataset);
  }

  void setText(const char* path, const char* member, const std::string& value) const {
    const hid_t dataset = good(H5Dopen2(file_, path, H5P_DEFAULT));
    const hid_t stored = good(H5Dget_type(dataset));
    const auto index = static_cast<unsigned>(good(H5Tget_member_index(stored, member)));
    const hid_t text = good(H5Tget_member_type(stored, index));
    const hid_t type = good(H5Tcreate(H5T_COMPOUND, H5Tget_size(text)));
    good(H5Tinsert(type, member, 0, text));
    std::string padded = value;
    padded.resize(H5Tget_size(text), '\0');
    good(H5Dwrite(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, padded.data()));
    H5Tclose(type), H5Tclose(text), H5Tclose(stored), H5Dclose(dataset);
  }

  void linkTo(const char* path, const char* file, const char* object) const {
    good(H5Lcreate_external(file, object, file_, path, H5P_DEFAULT, H5P_DEFAULT));
  }

 private:
  hid_t file_;
};

class QatCrafted : public QatTest {
 protected:
  /// What reading the variable says.
  std::string error() const {
    const OpenFile file = open("r");
    EXPECT_TRUE(file) << qatLastError();
    return file.variable("v") ? "no error" : qatLastError();
  }

  void saveTable(const char* field, std::vector<Array> values) const {
    std::vector<Array> rows;
    for (Array& value : values) rows.push_back(structure({{field, std::move(value)}}));
    const std::size_t count = rows.size();
    save("v", cells({count, 1}, std::move(rows)).get());
  }

  static Array words() {
    std::vector<Array> list;
    for (const char* word : {"top", "inner"}) list.push_back(text(word));
    return cells({2, 1}, std::move(list));
  }
  static std::vector<Array> one(Array value) {
    std::vector<Array> list;
    list.push_back(std::move(value));
    return list;
  }
};

TEST_F(QatCrafted, TableOfNoRowsWithTwoDimensionalTexts) {
  saveTable("Path", one(words()));
  {
    const Edit edit(path_);
    edit.setDims("v", {0, 1});
    const hid_t type = Edit::good(H5Tcopy(H5T_C_S1));
    edit.replace("v/Path", type, {0, 2});
    H5Tclose(type);
  }
  guarded([this] {
    const Array table = load("v");
    EXPECT_EQ(qxGetClassID(table.get()), qxCELL);
    EXPECT_EQ(qxGetNumberOfElements(table.get()), 0U);
  });
}

TEST_F(QatCrafted, TableWithAColumnOfOtherRows) {
  saveTable("Port", one(Array(qxCreateDoubleScalar(1))));
  Edit(path_).setDims("v", {2, 1});
  EXPECT_THAT(error(), HasSubstr("at /v/Port: a column that does not have 2 rows"));
}

TEST_F(QatCrafted, SmallFileThatAsksForMuchMemory) {
  constexpr hsize_t kMany = 300'000'000;
  saveTable("Port", one(Array(qxCreateDoubleScalar(1))));
  {
    const Edit edit(path_);
    edit.setDims("v", {kMany, 1});
    edit.replace("v/Port", H5T_STD_U8LE, {kMany}, nullptr, {1 << 19});
  }
  EXPECT_LT(std::filesystem::file_size(path_), 1U << 20U);
  guarded([this] { EXPECT_THAT(error(), HasSubstr("more than a file of this size may ask for")); });
  save("v", doubles({3, 1}, {1, 2, 3}).get());
  Edit(path_).replace("v", H5T_IEEE_F64LE, {kMany}, nullptr, {1 << 10});
  guarded([this] { EXPECT_THAT(error(), HasSubstr("more than a file of this size may ask for")); });
  save("v", doubles({3, 1}, {1, 2, 3}).get());
  Edit(path_).replace("v", H5T_IEEE_F64LE, {1}, nullptr, {1});
  EXPECT_EQ(error(), "no error") << "what is small is read";
}

TEST_F(QatCrafted, OneChunkThatIsLargerThanItsDataset) {
  save("v", doubles({3, 1}, {1, 2, 3}).get());
  {
    const Edit edit(path_);
    edit.remove("v");
    const hsize_t extent = 3, chunk = 400'000'000, limit = H5S_UNLIMITED;
    const hid_t list = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_chunk(list, 1, &chunk);
    H5Pset_deflate(list, 1);
    const hid_t space = H5Screate_simple(1, &extent, &limit);
    H5Dclose(Edit::good(H5Dcreate2(edit.file(), "v", H5T_STD_U8LE, space, H5P_DEFAULT, list, H5P_DEFAULT)));
    H5Sclose(space), H5Pclose(list);
  }
  guarded([this] { EXPECT_THAT(error(), HasSubstr("more than a file of this size may ask for")); });
}

/// 200 000 names, which nobody may compare pairwise.
TEST_F(QatCrafted, ManyFieldNames) {
  guarded(
      [this] {
        std::vector<std::string> fields;
        for (int i = 0; i < 200'000; ++i) fields.push_back("f" + std::to_string(i));
        std::vector<const char*> pointers;
        for (const auto& name : fields) pointers.push_back(name.c_str());
        const std::size_t dims[] = {1, 1};
        const Array wide(qxCreateStructArray(2, dims, static_cast<int>(pointers.size()), pointers.data()));
        save("v", wide.get());
        EXPECT_EQ(qxGetNumberOfFields(load("v").get()), 200'000);
      },
      120);
}

/// Each structure holds the one before twice: 2 to the power of 100 ways lead to the innermost.
TEST_F(QatCrafted, StructuresSharedOverManyLevels) {
  guarded(
      [this] {
        Array nested = doubles({2, 1}, {1, 2});
        for (int i = 0; i < 100; ++i) {
          nested = structure({{"l", Array(qxShareArray(nested.get()))}, {"r", Array(qxShareArray(nested.get()))}});
        }
        OpenFile file = open("w");
        ASSERT_EQ(file.put("v", nested.get()), 0) << qatLastError();
        ASSERT_EQ(file.put("again", nested.get()), 0) << qatLastError();
        ASSERT_EQ(file.put("table", cells({1, 1}, one(Array(qxShareArray(nested.get())))).get()), 0) << qatLastError();
        ASSERT_EQ(file.put("v", nested.get()), 0) << qatLastError();
        const Array back = file.variable("again");
        ASSERT_TRUE(back) << qatLastError();
        const qxArray* l = qxGetField(qxGetField(back.get(), 0, "l"), 0, "r");
        const qxArray* r = qxGetField(qxGetField(back.get(), 0, "r"), 0, "r");
        EXPECT_EQ(qxGetField(l, 0, "l") != nullptr, qxGetField(r, 0, "l") != nullptr);
        EXPECT_TRUE(file.variable("table")) << qatLastError();
      },
      120);
}

TEST_F(QatCrafted, GroupOfColumnsThatHoldsItself) {
  saveTable("Values", one(structure({{"Unit", text("m")}, {"Inner", structure({{"x", text("y")}})}})));
  {
    const Edit edit(path_);
    edit.remove("v/Values/Inner");
    Edit::good(H5Lcreate_hard(edit.file(), "v/Values", edit.file(), "v/Values/Inner", H5P_DEFAULT, H5P_DEFAULT));
  }
  EXPECT_THAT(error(), HasSubstr("a group of columns that is used twice"));
}

TEST_F(QatCrafted, MembersOfAFieldThatAreNoRows) {
  saveTable("Data", one(doubles({2, 1}, {1, 2})));
  Edit(path_).replace("v/Data/1", H5T_STD_U8LE, {1}, "x");
  EXPECT_THAT(error(), HasSubstr("at /v/Data: a member \"1\" that is no row"));
}

class QatCraftedSamples : public QatCrafted {
 protected:
  static constexpr std::size_t kRows = 4;

  void SetUp() override { saveSamples(path_); }

  static Array leaf(double offset = 0) {
    const auto table = std::make_shared<RowTable>(kRows, 16);
    for (std::size_t row = 0; row < kRows; ++row) {
      table->set(row, 0, offset + static_cast<double>(row));
      table->setText(row, 8 - 4, u"");
    }
    for (std::size_t row = 0; row < kRows; ++row) table->set(row, 0, offset + static_cast<double>(row));
    const vtu::SampleColumn column{u"x", u"", {}, qxDOUBLE, false, 0, 0, kRows};
    return structure({{"Time", vtu::sampledTimes(table, 0, kRows)}, {"Data", vtu::sampledArray(table, column)}});
  }
  static Array listOfLeaves(double offset = 0) {
    std::vector<Array> rows;
    rows.push_back(leaf(offset));
    return cells({1, 1}, std::move(rows));
  }

  static void saveSamples(const std::string& path, double offset = 0) {
    OpenFile file(path, "w");
    ASSERT_EQ(file.put("v", listOfLeaves(offset).get()), 0) << qatLastError();
    ASSERT_EQ(file.close(), 0) << qatLastError();
  }
};

TEST_F(QatCraftedSamples, ReferencesThatLeadNowhere) {
  const std::map<const char*, std::pair<std::uint64_t, const char*>> cases = {
      {"table", {7, "qat.samples/7: no such table"}},
      {"column", {1, "qat.samples/0/columns: columns 1 to 2 of 1"}},
      {"part", {2, "part 2 of a record"}}};
  for (const auto& [member, wrong] : cases) {
    saveSamples(path_);
    Edit(path_).setNumber("v/Data", member, wrong.first);
    EXPECT_THAT(error(), HasSubstr(wrong.second)) << member;
  }
}

TEST_F(QatCraftedSamples, RecordsThatDoNotFitTheirTable) {
  const std::map<const char*, std::pair<std::uint64_t, const char*>> cases = {
      {"first", {1, "\"x\" is not in the dataset double"}},
      {"width", {2, "dims \"\", width 2"}},
      {"begin", {1, "rows 1 to 5 of 4"}},
      {"count", {std::uint64_t{1} << 62, "of 4"}}};
  for (const auto& [member, wrong] : cases) {
    saveSamples(path_);
    Edit(path_).setNumber("qat.samples/0/columns", member, wrong.first);
    guarded([&, what = wrong.second, where = member] { EXPECT_THAT(error(), HasSubstr(what)) << where; });
  }
  saveSamples(path_);
  Edit(path_).setText("qat.samples/0/columns", "class", "chars");
  EXPECT_THAT(error(), HasSubstr("class \"chars\""));
  saveSamples(path_);
  Edit(path_).setText("qat.samples/0/columns", "dims", "x");
  EXPECT_THAT(error(), HasSubstr("dims \"x\""));
}

TEST_F(QatCraftedSamples, DatasetsOfTheWrongKind) {
  Edit(path_).replace("qat.samples/0/double", H5T_STD_U8LE, {4, 1}, "abcd");
  EXPECT_THAT(error(), HasSubstr("qat.samples/0/double: a dataset of another type"));
  saveSamples(path_);
  const double values[4] = {};
  Edit(path_).replace("qat.samples/0/double", H5T_IEEE_F64LE, {4}, values);
  EXPECT_THAT(error(), HasSubstr("a dataset that does not have 2 axes"));
  saveSamples(path_);
  Edit(path_).remove("qat.samples/0/Time");
  EXPECT_THAT(error(), HasSubstr("a member cannot be found"));
  saveSamples(path_);
  Edit(path_).replace("qat.samples/0/columns", H5T_STD_U8LE, {1}, "a");
  EXPECT_THAT(error(), HasSubstr("records whose name is missing or of another type"));
}

TEST_F(QatCraftedSamples, ManyRowsThatAreNotThere) {
  constexpr hsize_t kMany = 1'000'000'000;
  {
    const Edit edit(path_);
    edit.replace("qat.samples/0/Time", H5T_IEEE_F64LE, {kMany}, nullptr, {1024});
    edit.replace("qat.samples/0/double", H5T_IEEE_F64LE, {kMany, 1}, nullptr, {1024, 1});
    edit.setNumber("qat.samples/0/columns", "count", kMany);
  }
  guarded([this] { EXPECT_THAT(error(), HasSubstr("more than a file of this size may ask for")); });
}

/// While a file is written its valid rows are beside the records.
TEST_F(QatCraftedSamples, ValidRowsCountWhereTheyAreKnown) {
  const std::uint64_t valid = 3;
  haddr_t address = 0;
  {
    const Edit edit(path_);
    edit.replace("qat.samples/0/rows", H5T_STD_U64LE, {1}, &valid);
    const hid_t rows = H5Dopen2(edit.file(), "qat.samples/0/rows", H5P_DEFAULT);
    address = H5Dget_offset(rows);
    H5Dclose(rows);
  }
  OpenFile file = open("r");
  const Array list = file.variable("v");
  EXPECT_EQ(difference(qxGetField(qxGetCell(list.get(), 0), 0, "Data"), doubles({3, 1}, {0, 1, 2}).get()), "");
  vtu::QatSamples samples(*file.get());
  EXPECT_EQ(samples.columns(0)[0].count, 3U);
  const std::uint64_t more = 4;
  const int writer = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(pwrite(writer, &more, sizeof more, static_cast<off_t>(address)), 8);
  ::close(writer);
  EXPECT_EQ(samples.columns(0)[0].count, 3U) << "what is known stays until it is looked at again";
  samples.refresh();
  EXPECT_EQ(samples.columns(0)[0].count, 4U);
  std::vector<double> values(4);
  samples.readColumn(0, 0, 0, 4, values.data());
  EXPECT_THAT(values, ElementsAre(0, 1, 2, 3));
}

TEST_F(QatCraftedSamples, ValidRowsOfAnotherNumberOfColumns) {
  const std::uint64_t valid[2] = {3, 3};
  Edit(path_).replace("qat.samples/0/rows", H5T_STD_U64LE, {2}, valid);
  EXPECT_THAT(error(), HasSubstr("qat.samples/0/rows: not one number per column"));
}

class QatLinkedSamples : public QatCraftedSamples {
 protected:
  void SetUp() override {
    saveSamples(path_);
    saveSamples(other_, 100);
  }
  void TearDown() override { std::filesystem::remove(other_); }

  void linkTable(const std::string& file, const char* object = "/qat.samples/0") const {
    const Edit edit(path_);
    edit.remove("qat.samples/0");
    edit.linkTo("qat.samples/0", file.c_str(), object);
  }

  const std::string other_ = path_ + ".streamed";
  const std::string bare_ = std::filesystem::path(other_).filename();
};

TEST_F(QatLinkedSamples, TableInAFileBesideThisOneIsRead) {
  linkTable(bare_);
  EXPECT_EQ(difference(load("v").get(), listOfLeaves(100).get()), "");
  const OpenFile file = open("r");
  const vtu::QatSamples samples(*file.get());
  EXPECT_THAT(samples.tables(), ElementsAre(0U));
  EXPECT_EQ(samples.columns(0).front().name, "x");
}

TEST_F(QatLinkedSamples, OtherLinksToFilesAreRefused) {
  for (const std::string& file : {"../" + bare_, other_, std::string(".."), "sub/" + bare_}) {
    saveSamples(path_);
    linkTable(file);
    EXPECT_THAT(error(), HasSubstr("must lead to the same member of a file in the same folder")) << file;
  }
  saveSamples(path_);
  linkTable(bare_, "/v");
  EXPECT_THAT(error(), HasSubstr("a link to /v in"));
  saveSamples(path_);
  {
    const Edit edit(path_);
    edit.remove("v/Data");
    edit.linkTo("v/Data", bare_.c_str(), "/v/Data");
  }
  EXPECT_THAT(error(), HasSubstr("a soft or external link"));
}

TEST_F(QatLinkedSamples, LinkThatLeadsOnIsRefused) {
  const std::string third = path_ + ".third";
  saveSamples(third);
  linkTable(bare_);
  {
    const Edit edit(other_);
    edit.remove("qat.samples/0");
    edit.linkTo("qat.samples/0", std::filesystem::path(third).filename().c_str(), "/qat.samples/0");
  }
  EXPECT_THAT(error(), HasSubstr("a soft or external link"));
  std::filesystem::remove(third);
}

TEST_F(QatLinkedSamples, FileThatIsMissingIsNamed) {
  linkTable(bare_);
  std::filesystem::remove(other_);
  EXPECT_THAT(error(), AllOf(HasSubstr(bare_), HasSubstr("No such file")));
}

TEST_F(QatLinkedSamples, LinkGoesWithItsVariable) {
  linkTable(bare_);
  OpenFile file = open("u");
  ASSERT_EQ(file.put("v", text("x").get()), 0) << qatLastError();
  EXPECT_TRUE(vtu::QatSamples(*file.get()).tables().empty());
  ASSERT_EQ(file.close(), 0);
  EXPECT_TRUE(OpenFile(other_, "r").variable("v")) << "the other file is left alone";
}

}  // namespace
}  // namespace vtio::tests
