// Sweeps that mpirun spreads over several processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <set>

#include "runner/sweep/ranks.hpp"
#include "tests/runner/results_reader.hpp"
#include "tests/runner/zip_maker.hpp"

namespace {

using namespace runner_test;  // NOLINT(google-build-using-namespace): readers of results
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

class MpiSweepTest : public WorkFolder {
 protected:
  void SetUp() override {
    if (std::system("command -v mpirun >/dev/null") == 0) return;
    if (std::getenv("VTIO_NEED_PACKAGES") != nullptr) FAIL() << "mpirun is not installed";
    GTEST_SKIP() << "mpirun is not installed";
  }

  static std::string fmu(const std::string& name) { return std::string(VTIO_FMU_DIR) + "/" + name + ".fmu"; }

  // The exit status of a line for the shell in the work folder; 124 if it does not end. What Open MPI never frees was
  // allocated by modules that it has unloaded: LeakSanitizer cannot name them.
  int shell(const std::string& line) {
    writeBytes(file("line.sh"), "cd '" + folder_.string() + "'\nexport VTIO_RUN='" VTIO_RUN "'\n" +
                                    "export ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0\n" + line + "\n");
    const int status = std::system(("timeout -k 1 60 sh " + file("line.sh").string()).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // A sweep by several processes. Each runs the prologue for the shell before, and `sweep` in place of vtio-run.
  int mpirun(int processes, const std::string& words, const std::string& prologue = "",
             const std::string& sweep = "exec \"$VTIO_RUN\" sweep \"$@\"") {
    writeBytes(file("rank.sh"), prologue + "\n" + sweep + "\n");
    return shell(
        "export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1\n"
        "mpirun --oversubscribe -n " +
        std::to_string(processes) + " sh rank.sh " + words + " >stdout 2>stderr");
  }

  [[nodiscard]] std::string out() const { return bytesOf(file("stdout")); }
  [[nodiscard]] std::string err() const { return bytesOf(file("stderr")); }

  [[nodiscard]] std::vector<std::string> textsOf(const std::string& sweep, const char* field) const {
    const vtu::qxArrayWrapper runs = Results(file(sweep)).variable("runs");
    std::vector<std::string> values;
    for (std::size_t i = 0; i < qxGetNumberOfElements(runs.get()); ++i) {
      values.push_back(text(qxGetField(qxGetCell(runs.get(), i), 0, field)));
    }
    return values;
  }

  [[nodiscard]] std::vector<double> numbersOf(const std::string& sweep, const char* field) const {
    const vtu::qxArrayWrapper runs = Results(file(sweep)).variable("runs");
    std::vector<double> values;
    for (std::size_t i = 0; i < qxGetNumberOfElements(runs.get()); ++i) {
      values.push_back(qxGetScalar(qxGetField(qxGetCell(runs.get(), i), 0, field)));
    }
    return values;
  }
};

// The permissions of a results file say which process made it.
TEST_F(MpiSweepTest, ProcessesShareTheRunsOfASweep) {
  const std::string words =
      fmu("van_der_pol_fmi3") + " --sample 'mu=normal(1,0.2)' --runs 12 --seed 3 --final 'x[?]' --stop 500 --step 0.01";
  ASSERT_EQ(mpirun(3, words, "case $OMPI_COMM_WORLD_RANK in 0) umask 077;; 1) umask 027;; 2) umask 022;; esac"), 0)
      << err();
  EXPECT_EQ(out(), "12 runs: 12 done\nsweep.qat\n");
  std::set<mode_t> modes;
  for (const fs::directory_entry& entry : fs::directory_iterator(file("sweep.qat.d"))) {
    struct stat about {};
    ASSERT_EQ(stat(entry.path().c_str(), &about), 0);
    modes.insert(about.st_mode & 0777);
  }
  EXPECT_EQ(modes.size(), 3U);
  ASSERT_EQ(shell("\"$VTIO_RUN\" sweep " + words + " -j 2 -o alone.qat >stdout"), 0);
  for (const char* field : {"mu", "x[1]", "x[2]", "lastTime"}) {
    EXPECT_EQ(numbersOf("sweep.qat", field), numbersOf("alone.qat", field)) << field;
  }
  EXPECT_THAT(textsOf("sweep.qat", "status"), Each("done"));
}

TEST_F(MpiSweepTest, CrashesAreRows) {
  writeBytes(file("runs.csv"), "way\nexit\ncrash\nnone\nerror\nnone\n");
  EXPECT_EQ(mpirun(2, fmu("misbehaving_fmi2") + " --table runs.csv"), 1);
  EXPECT_THAT(textsOf("sweep.qat", "status"), ElementsAre("crashed", "crashed", "done", "failed", "done"));
  EXPECT_THAT(err(), HasSubstr("run 0 crashed: the run ended its process (status 3)"));
}

// mpirun ends the job then: rank 0 saves what is known, and the sweep is resumed.
TEST_F(MpiSweepTest, AProcessThatDiesLosesItsOwnRunsAlone) {
  writeBytes(file("runs.csv"), "way\nnone\nnone\nnone\nnone\nendless\nendless\nendless\n");
  const std::string words = fmu("misbehaving_fmi3") + " --table runs.csv --isolate --step-timeout ";
  const int status = mpirun(3, words + "1000", "",
                            "[ $OMPI_COMM_WORLD_RANK = 2 ] || exec \"$VTIO_RUN\" sweep \"$@\"\n"
                            "\"$VTIO_RUN\" sweep \"$@\" & sweep=$!\n"
                            "for i in $(seq 500); do [ -e sweep.qat.d/000003.qat ] && break; sleep 0.02; done\n"
                            "sleep 0.3; kill -9 $sweep; wait $sweep");
  EXPECT_NE(status, 0);
  EXPECT_NE(status, 124) << "it hangs";
  EXPECT_THAT(textsOf("sweep.qat", "status"),
              ElementsAre("done", "done", "done", "done", "pending", "pending", "pending"));
  fs::remove(file("sweep.qat.d/000001.qat"));
  EXPECT_EQ(mpirun(2, words + "0.3 --resume"), 1) << err();
  EXPECT_EQ(out(), "7 runs: 4 done, 3 timeout\nsweep.qat\n");
  EXPECT_FALSE(fs::exists(file("sweep.qat.d/000001.qat"))) << "a run that is done is not made again";
}

TEST_F(MpiSweepTest, WhatIsRefusedEndsAllProcesses) {
  EXPECT_EQ(mpirun(2, fmu("bouncing_ball_fmi2") + " --grid z=0:1:2"), 2);
  EXPECT_THAT(err(), HasSubstr("there is no variable 'z'"));
  EXPECT_FALSE(fs::exists(file("sweep.qat")));
}

TEST_F(MpiSweepTest, AHelperThatCannotWorkEndsTheJob) {
  const std::string noCompiler = "[ $OMPI_COMM_WORLD_RANK = 0 ] || export CC=/no/compiler CXX=/no/compiler";
  const int status = mpirun(2, fmu("bouncing_ball_fmi2") + " --build --grid e=0.5:0.6:200", noCompiler);
  EXPECT_NE(status, 0);
  EXPECT_NE(status, 124) << "it hangs";
  EXPECT_THAT(err(), HasSubstr("process 1: "));
}

TEST(RanksTest, ABuildWithoutMpiSaysSo) {
  try {
    static_cast<void>(vtio::runner::loadRanks("/no/vtio_mpi.so", 3));
    FAIL();
  } catch (const vtio::runner::RunnerError& error) {
    EXPECT_THAT(error.what(), HasSubstr("mpirun started 3 processes, but this vtio-run has no MPI: /no/vtio_mpi.so"));
    EXPECT_THAT(error.what(), HasSubstr("-j and --shard need none"));
  }
}

// As under the mpirun of another MPI, of which each process is alone.
TEST_F(MpiSweepTest, AnotherMpirunIsRefused) {
  const std::string words = " sweep " + fmu("bouncing_ball_fmi2") + " --grid e=0.5:0.6:2";
  EXPECT_EQ(shell("PMI_SIZE=3 \"$VTIO_RUN\"" + words + " 2>stderr"), 2);
  EXPECT_THAT(err(), HasSubstr("mpirun started 3 processes, but MPI knows of 1"));
  EXPECT_FALSE(fs::exists(file("sweep.qat")));
}

}  // namespace
