#include "runner/archive/archive.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "runner/error.hpp"
#include "tests/runner/zip_maker.hpp"

namespace {

using runner_test::bytesOf;
using runner_test::WorkFolder;
using runner_test::writeBytes;
using runner_test::ZipMaker;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using vtio::runner::Archive;
using vtio::runner::ArchiveLimits;
using vtio::runner::RunnerError;

class ArchiveTest : public WorkFolder {
 protected:
  std::filesystem::path make(const ZipMaker& maker) {
    maker.write(file("a.fmu"));
    return file("a.fmu");
  }

  void expectRefused(const std::filesystem::path& path, const std::string& what,
                     const ArchiveLimits& limits = ArchiveLimits()) {
    EXPECT_THAT([&] { const Archive archive(path, limits); }, ThrowsMessage<RunnerError>(HasSubstr(what)));
  }
};

TEST_F(ArchiveTest, ReadsAndExtractsFiles) {
  const Archive archive(make(ZipMaker().add("a.txt", "one").add("r/b.txt", "two").add("r/deep/c.txt", "three")));
  EXPECT_EQ(archive.read("a.txt"), "one");
  std::filesystem::create_directory(file("out"));
  archive.extract("r/", file("out"));
  EXPECT_EQ(bytesOf(file("out/r/b.txt")), "two");
  EXPECT_EQ(bytesOf(file("out/r/deep/c.txt")), "three");
  EXPECT_FALSE(std::filesystem::exists(file("out/a.txt")));
  EXPECT_THAT([&] { (void)archive.read("r"); }, ThrowsMessage<RunnerError>(HasSubstr("has no r")));
}

struct HostileName {
  const char* name;
  const char* what;
};

class HostileNameTest : public ArchiveTest, public ::testing::WithParamInterface<HostileName> {};

TEST_P(HostileNameTest, IsRefused) { expectRefused(make(ZipMaker().add(GetParam().name, "x")), GetParam().what); }

INSTANTIATE_TEST_SUITE_P(All, HostileNameTest,
                         ::testing::Values(HostileName{"../evil", "leads out"},
                                           HostileName{"a/../../evil", "leads out"}, HostileName{"..", "leads out"},
                                           HostileName{"a/./b", "leads out"}, HostileName{"/etc/evil", "absolute"},
                                           HostileName{"C:/evil", "absolute"}, HostileName{"a\\..\\evil", "backslash"},
                                           HostileName{"a//b", "empty part"}));

TEST_F(ArchiveTest, RefusesLongNames) {
  expectRefused(make(ZipMaker().add(std::string(256, 'a'), "x")), "longer than 255");
  std::string deep;
  for (int i = 0; i < 2500; ++i) deep += "d/";
  expectRefused(make(ZipMaker().add(deep + "x", "x")), "longer than 4000");
}

TEST_F(ArchiveTest, RefusesLinksAndDevices) {
  expectRefused(make(ZipMaker().add("resources/link", "/etc/passwd", 0120777)),
                "symbolic link, entry 'resources/link'");
  expectRefused(make(ZipMaker().add("resources/pipe", "", 0010644)), "neither a file nor a folder");
}

TEST_F(ArchiveTest, RefusesEncryption) { expectRefused(make(ZipMaker().addEncrypted("a", "x")), "encrypted"); }

// libzip does not write a name twice: one name is changed to the other afterwards.
TEST_F(ArchiveTest, RefusesNamesThatStandTwice) {
  std::string bytes = bytesOf(make(ZipMaker().add("twin-a", "1").add("twin-b", "2")));
  for (std::size_t at = bytes.find("twin-b"); at != std::string::npos; at = bytes.find("twin-b")) bytes[at + 5] = 'a';
  writeBytes(file("twice.fmu"), bytes);
  expectRefused(file("twice.fmu"), "stands twice in the archive, entry 'twin-a'");
}

TEST_F(ArchiveTest, RefusesAFileThatIsAFolder) {
  expectRefused(make(ZipMaker().add("a", "x").add("a/b", "y")), "a file of the archive is its folder, entry 'a/b'");
}

TEST_F(ArchiveTest, RefusesBombs) {
  ArchiveLimits limits;
  limits.unpackedFreely = 1 << 16;
  const std::filesystem::path bomb = make(ZipMaker().add("zeros", std::string(1 << 20, '\0')));
  expectRefused(bomb, "it would unpack", limits);
  EXPECT_EQ(Archive(bomb).read("zeros").size(), std::size_t{1} << 20);
  limits = ArchiveLimits();
  limits.totalBytes = 1000;
  expectRefused(make(ZipMaker().add("a", std::string(600, 'a')).add("b", std::string(600, 'b'))),
                "more than 1000 bytes", limits);
  limits = ArchiveLimits();
  limits.entries = 2;
  expectRefused(make(ZipMaker().add("a", "").add("b", "").add("c", "")), "has 3 entries", limits);
}

// The size in the directory is made smaller than what comes out.
TEST_F(ArchiveTest, NeverUnpacksMoreThanTheDirectorySays) {
  const std::string content(5000, 'x');
  std::string bytes = bytesOf(make(ZipMaker().add("a", content)));
  const std::size_t entry = bytes.rfind("PK\x01\x02");
  ASSERT_NE(entry, std::string::npos);
  bytes[entry + 24] = 100;
  bytes[entry + 25] = 0;
  writeBytes(file("lying.fmu"), bytes);
  const Archive archive(file("lying.fmu"));
  EXPECT_THROW((void)archive.read("a"), RunnerError);
}

TEST_F(ArchiveTest, RefusesWhatIsNoArchive) {
  writeBytes(file("text.fmu"), "this is no archive");
  expectRefused(file("text.fmu"), "not a zip archive");
  expectRefused(file("missing.fmu"), "cannot open: No such file");
  expectRefused(folder_, "not a file");
}

TEST_F(ArchiveTest, TellsDamage) {
  std::string content;
  for (int i = 0; i < 3000; ++i) content += std::to_string(i * 7919);
  std::string bytes = bytesOf(make(ZipMaker().add("a", content)));
  bytes[200] = static_cast<char>(bytes[200] ^ 0x55);
  writeBytes(file("damaged.fmu"), bytes);
  const Archive archive(file("damaged.fmu"));
  EXPECT_THAT([&] { (void)archive.read("a"); }, ThrowsMessage<RunnerError>(HasSubstr("entry 'a'")));
}

// What is in the target already is neither overwritten nor followed.
TEST_F(ArchiveTest, ExtractsNewFilesOnly) {
  const Archive archive(make(ZipMaker().add("r/a", "new")));
  std::filesystem::create_directories(file("out/r"));
  writeBytes(file("victim"), "old");
  std::filesystem::create_symlink(file("victim"), file("out/r/a"));
  EXPECT_THROW(archive.extract("r/", file("out")), RunnerError);
  EXPECT_EQ(bytesOf(file("victim")), "old");
}

}  // namespace
