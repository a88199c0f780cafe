/// @file
/// Makes zip archives for tests, hostile ones included.
#pragma once

#include <gtest/gtest.h>
#include <zip.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace runner_test {

/// Collects entries, then writes them to a file.
class ZipMaker {
 public:
  struct Entry {
    std::string name;
    std::string content;
    std::uint32_t unixMode = 0100644;
    bool encrypted = false;
  };

  ZipMaker& add(std::string name, std::string content, std::uint32_t unixMode = 0100644) {
    entries_.push_back({std::move(name), std::move(content), unixMode, false});
    return *this;
  }

  ZipMaker& addEncrypted(std::string name, std::string content) {
    entries_.push_back({std::move(name), std::move(content), 0100644, true});
    return *this;
  }

  void write(const std::filesystem::path& file) const {
    int code = 0;
    zip_t* zip = zip_open(file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    ASSERT_NE(zip, nullptr);
    for (const Entry& entry : entries_) {
      zip_source_t* source = zip_source_buffer(zip, entry.content.data(), entry.content.size(), 0);
      const zip_int64_t index = zip_file_add(zip, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
      ASSERT_GE(index, 0) << zip_strerror(zip);
      const auto at = static_cast<zip_uint64_t>(index);
      zip_file_set_external_attributes(zip, at, 0, ZIP_OPSYS_UNIX, entry.unixMode << 16);
      if (entry.encrypted) {
        ASSERT_EQ(zip_file_set_encryption(zip, at, ZIP_EM_AES_256, "secret"), 0);
      }
    }
    ASSERT_EQ(zip_close(zip), 0) << zip_strerror(zip);
  }

 private:
  std::deque<Entry> entries_;
};

inline std::string bytesOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

/// A folder for the files of one test, removed after it.
class WorkFolder : public ::testing::Test {
 protected:
  WorkFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "runner-test-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) folder_ = name;
  }
  ~WorkFolder() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  [[nodiscard]] std::filesystem::path file(const std::string& name) const { return folder_ / name; }

  std::filesystem::path folder_;
};

}  // namespace runner_test
