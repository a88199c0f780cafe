/// @file
/// A folder of its own for each test, and helpers that write Qat files into it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"

namespace spacecraft_test {

class QatFolder : public testing::Test {
 protected:
  QatFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "spacecraft-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder: " + name);
    }
    folder_ = name;
  }
  ~QatFolder() override { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string path(const char* name) const { return (folder_ / name).string(); }

  /// Replaces one variable of a file, or removes it when `value` is null. Takes ownership.
  static void replace(const std::string& fileName, const char* variable, qxArray* value) {
    const vtu::qxArrayWrapper owner(value);
    vtu::QatFileWrapper file(fileName, "u");
    ASSERT_TRUE(file) << qatLastError();
    EXPECT_EQ(value == nullptr ? file.remove(variable) : file.put(variable, value), 0) << qatLastError();
    EXPECT_EQ(file.close(), 0);
  }

  static void writeText(const std::string& fileName, const std::string& text) {
    std::ofstream(fileName, std::ios::binary) << text;
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace spacecraft_test
