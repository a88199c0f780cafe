// Arrays over sample tables: stored as tables, read back as ordinary arrays.
#include "qat_fixture.hpp"
#include "sample_tables.hpp"

namespace vtio::tests {
namespace {

class QatSampleTables : public QatTest {
 protected:
  static Array elementsOf(const Recording& recording) {
    std::vector<Array> rows;
    for (std::size_t i = 0; i < recording.leaves(); ++i) {
      rows.push_back(structure({{"Name", text(("n" + std::to_string(i)).c_str())}, {"Values", recording.leaf(i)}}));
    }
    const std::size_t count = rows.size();
    return cells({1, count}, std::move(rows));
  }
};

TEST_F(QatSampleTables, RandomRecordingsComeBackExactly) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    Recording recording(seed);
    std::mt19937 random(seed);
    for (unsigned tables = 0; tables < 1 + random() % 3; ++tables) recording.addTable(random() % 40, 1 + random() % 12);
    const Array elements = elementsOf(recording);
    ASSERT_EQ(changeByRoundTrip(elements.get()), "") << "seed " << seed;
  }
}

}  // namespace
}  // namespace vtio::tests
