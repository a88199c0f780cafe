/// @file
/// A file of its own for every test of Qat files, removed at the end.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "arrays.hpp"
#include "platform/qat.hpp"

namespace vtio::tests {

using OpenFile = vtu::QatFileWrapper;

class QatTest : public ::testing::Test {
 protected:
  QatTest() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = (std::filesystem::temp_directory_path() / (std::string("vtio_qat_") + info->test_suite_name() + "_" +
                                                       info->name() + "_" + std::to_string(getpid()) + ".qat"))
                .string();
    std::filesystem::remove(path_);
  }
  ~QatTest() override {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  OpenFile open(const char* mode) const { return OpenFile(path_, mode); }

  /// Writes one variable into a new file.
  void save(const char* name, const qxArray* array) const {
    OpenFile file = open("w");
    ASSERT_NE(file, nullptr) << qatLastError();
    ASSERT_EQ(file.put(name, array), 0) << qatLastError();
    ASSERT_EQ(file.close(), 0) << qatLastError();
  }

  Array load(const char* name) const {
    const OpenFile file = open("r");
    EXPECT_NE(file, nullptr) << qatLastError();
    Array array(qatGetVariable(file.get(), name));
    EXPECT_TRUE(array) << qatLastError();
    return array;
  }

  /// Empty if the array comes back from a file as it went in.
  std::string changeByRoundTrip(const qxArray* array) const {
    save("v", array);
    return difference(array, load("v").get());
  }

  static std::vector<std::string> names(QatFile* file) {
    int count = 0;
    char** list = qatGetVariableNames(file, &count);
    EXPECT_NE(list, nullptr) << qatLastError();
    std::vector<std::string> result(list, list + std::max(count, 0));
    qxFree(list);
    return result;
  }

  std::string bytes() const {
    std::ifstream stream(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  std::string path_;
};

}  // namespace vtio::tests
