// Streams rows into a file until it is killed, for readers in other languages: write_stream FILE
#include <unistd.h>

#include <memory>
#include <vector>

#include "stream_rows.hpp"

using namespace vtio::tests;

int main(int count, char** arguments) {
  if (count != 2) return 2;
  constexpr std::size_t kLeaves = 20;
  constexpr std::uint64_t kRows = 64;
  const auto first = std::make_shared<StreamRows>(kLeaves, 0, std::vector<std::uint64_t>(kRows, 0));
  const auto columns = StreamRows::columns(kLeaves, kRows);
  const Array variable = elementsOver(first, columns);
  const vtu::StreamVariable variables[] = {{"logsout", variable.get()}};
  const vtu::StreamTable tables[] = {{first, columns}};
  vtu::QatStream stream(arguments[1]);
  stream.layOut(variables, tables);
  for (std::uint64_t row = kRows;; row += kRows) {
    const StreamRows rows(kLeaves, row, std::vector<std::uint64_t>(kRows, 0));
    stream.append(0, rows, 0, kRows);
    stream.flush();
    usleep(500);
  }
}
