#include "results/compare/tolerances.hpp"

#include <gtest/gtest.h>

#include <string>

#include "results/file/results_error.hpp"

namespace {

using vtio::results::ResultsError;
using vtio::results::Tolerances;

TEST(Tolerances, theLastMatchWins) {
  Tolerances tolerances({0.5, 0.25});
  tolerances.addLines("# all\n*, 1e-3, 1e-6\r\n\nwheels.*,0.1 , 0  # wide\n a,b , 2, 3", "file");
  EXPECT_EQ(tolerances.of("mode").rtol, 1e-3);
  EXPECT_EQ(tolerances.of("mode").atol, 1e-6);
  EXPECT_EQ(tolerances.of("wheels.speed").rtol, 0.1);
  EXPECT_EQ(tolerances.of("wheels.speed").atol, 0);
  EXPECT_EQ(tolerances.of("a,b").rtol, 2);
}

TEST(Tolerances, withoutAMatchAreTheGeneralOnes) {
  Tolerances tolerances({0.5, 0.25});
  tolerances.addLines("x, 1, 1", "file");
  EXPECT_EQ(tolerances.of("y").rtol, 0.5);
  EXPECT_EQ(tolerances.of("y").atol, 0.25);
}

TEST(Tolerances, refuseOtherLinesByNumber) {
  for (const char* line : {"x", "x, 1", "x, 1, a", "x, -1, 0", "x, nan, 0", ", 1, 2", "x, 1, 2 3"}) {
    try {
      Tolerances().addLines(std::string("# first\n") + line, "tol.txt");
      FAIL() << "accepted: " << line;
    } catch (const ResultsError& error) {
      EXPECT_EQ(error.what(), "tol.txt: '" + std::string(line) + "' is not of the form 'pattern, rtol, atol', line 2");
    }
  }
}

TEST(Tolerances, refuseAFileThatIsNotThere) {
  EXPECT_THROW(Tolerances().addFile("/nowhere/tolerances.txt"), ResultsError);
}

}  // namespace
