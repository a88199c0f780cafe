// Damaged files: a result or an error message, never a crash, an endless loop or memory that the file does not
// justify.
#include <random>

#include "guarded.hpp"
#include "qat_fixture.hpp"

namespace vtio::tests {
namespace {

class QatDamage : public QatTest {
 protected:
  /// A file with something of every form.
  std::string sample() {
    OpenFile file = open("w");
    std::vector<Array> rows;
    for (int i = 0; i < 12; ++i) {
      std::vector<Array> path;
      for (int k = 0; k <= i % 3; ++k) path.push_back(text("block"));
      const std::size_t levels = path.size();
      rows.push_back(
          structure({{"Name", text("signal")},
                     {"BlockPath", cells({levels, 1}, std::move(path))},
                     {"PortIndex", Array(qxCreateDoubleScalar(i))},
                     {"Values", structure({{"Unit", text("m")}, {"Data", doubles({5, 1}, {1, 2, 3, 4, 5})}})}}));
    }
    put(file.get(), "logsout", structure({{"Name", text("logsout")}, {"Elements", cells({12, 1}, std::move(rows))}}));
    for (unsigned seed : {3U, 17U, 29U, 57U}) {
      put(file.get(), "random" + std::to_string(seed), ArrayGenerator(seed).any(4));
    }
    put(file.get(), "text", text("plain"));
    put(file.get(), "matrix", doubles({3, 4}, std::vector<double>(12, 1.5)));
    file.reset();
    return bytes();
  }

  static void put(QatFile* file, const std::string& name, const Array& array) {
    ASSERT_EQ(qatPutVariable(file, name.c_str(), array.get()), 0) << qatLastError();
  }

  /// Reads all that can be read of these bytes. @return how many variables and errors there were
  std::pair<int, int> readAll(const std::string& content) const {
    std::ofstream(path_, std::ios::binary) << content;
    const OpenFile file = open("r");
    if (file == nullptr) {
      EXPECT_STRNE(qatLastError(), "");
      return {0, 1};
    }
    int good = 0, bad = 0, count = 0;
    char** list = qatGetVariableNames(file.get(), &count);
    if (list == nullptr) return {0, 1};
    for (int i = 0; i < count; ++i) {
      const Array array(qatGetVariable(file.get(), list[i]));
      ++(array ? good : bad);
      if (!array) {
        EXPECT_THAT(qatLastError(), ::testing::HasSubstr(path_));
      }
    }
    qxFree(list);
    return {good, bad};
  }
};

TEST_F(QatDamage, TruncationAtEveryPoint) {
  const std::string whole = sample();
  const int variables = readAll(whole).first;
  ASSERT_EQ(variables, 7);
  guarded([&] {
    for (std::size_t size = 0; size < whole.size(); size += 1 + whole.size() / 300) {
      EXPECT_EQ(readAll(whole.substr(0, size)).first, 0) << size;
      EXPECT_STRNE(qatLastError(), "");
    }
  });
}

TEST_F(QatDamage, FlippedBytes) {
  const std::string whole = sample();
  guarded([&] {
    std::mt19937 random(7);
    int damaged = 0;
    for (int round = 0; round < 800; ++round) {
      std::string content = whole;
      for (unsigned i = 0; i <= random() % 4; ++i) content[random() % content.size()] = static_cast<char>(random());
      damaged += readAll(content).second > 0 ? 1 : 0;
    }
    EXPECT_GT(damaged, 100);
  });
}

TEST_F(QatDamage, EveryByteOfTheStart) {
  const std::string whole = sample();
  guarded([&] {
    for (std::size_t at = 0; at < 600; at += at < 48 ? 1 : 5) {
      std::string content = whole;
      content[at] = static_cast<char>(content[at] ^ 0x5a);
      readAll(content);
      if (at < 48) {
        EXPECT_EQ(open("r"), nullptr) << "byte " << at << " of the superblock";
      }
    }
  });
}

TEST_F(QatDamage, ZeroedStretches) {
  const std::string whole = sample();
  guarded([&] {
    std::mt19937 random(11);
    for (int round = 0; round < 100; ++round) {
      std::string content = whole;
      const std::size_t from = random() % content.size();
      const std::size_t length = std::min<std::size_t>(content.size() - from, 1 + random() % 3000);
      content.replace(from, length, length, round % 2 == 0 ? '\0' : '\xff');
      readAll(content);
    }
  });
}

TEST_F(QatDamage, StretchesInTheWrongPlace) {
  const std::string whole = sample();
  guarded([&] {
    std::mt19937 random(13);
    for (int round = 0; round < 100; ++round) {
      std::string content = whole;
      const std::size_t length = 8 + random() % 400;
      const std::size_t from = random() % (content.size() - length);
      content.replace(random() % (content.size() - length), length, whole, from, length);
      readAll(content);
    }
  });
}

TEST_F(QatDamage, FilesThatAreSomethingElse) {
  for (const std::string& content :
       {std::string(), std::string("text"), std::string(5000, '\0'), std::string(5000, 'x')}) {
    EXPECT_EQ(readAll(content), std::make_pair(0, 1));
    EXPECT_THAT(qatLastError(), ::testing::HasSubstr("not a Qat file"));
    EXPECT_EQ(open("u"), nullptr);
  }
}

TEST_F(QatDamage, DamagedPlaceIsNamed) {
  std::string content = sample();
  const auto at = content.rfind("OHDR");  // the last object of the last variable
  ASSERT_NE(at, std::string::npos);
  content[at] = 'X';
  std::ofstream(path_, std::ios::binary) << content;
  const OpenFile file = open("r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(qatGetVariable(file.get(), "matrix"), nullptr);
  EXPECT_THAT(qatLastError(), ::testing::HasSubstr("variable \"matrix\": at /matrix: no object begins at address"));
}

}  // namespace
}  // namespace vtio::tests
