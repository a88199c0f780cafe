// Simulations on several threads, each with a catalogue, a session and a file of its own: none affects another.
#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/qat.hpp"
#include "tests/recorders/recording_fixture.hpp"

namespace {

using namespace recording;

constexpr int kThreads = 4;
constexpr int kSignals = 20;
constexpr int kSteps = 300;
constexpr int kStepsBack = 50;

double valueOf(int simulation, int signal, int step) { return 1e6 * simulation + 1e3 * signal + step; }

// One run: what it recorded of each signal, as it is in its file.
class Simulation {
 public:
  explicit Simulation(int number)
      : number_(number),
        path_((std::filesystem::temp_directory_path() /
               ("vtio_simulation_" + std::to_string(getpid()) + "_" + std::to_string(number) + ".qat"))
                  .string()) {}

  void run() {
    for (int i = 0; i < kSignals; ++i) addSignal(i);
    for (int step = 0; step < kSteps; ++step) {
      if (step == kSteps - kStepsBack) session_.captureSnapshot(false);
      update(step, 0.5);
    }
    session_.rollBack();
    for (int step = kSteps - kStepsBack; step < kSteps; ++step) update(step, 0.0);
    catalogue_.saveDatasetsToQatFile(vtu::to_ustring(path_));
    readBack();
    std::filesystem::remove(path_);
  }

  // Signals with a wrong name or wrong values.
  [[nodiscard]] std::vector<std::string> wrong() const {
    std::vector<std::string> result;
    if (names_.size() != kSignals) result.push_back("signals: " + std::to_string(names_.size()));
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (names_[i] != vtu::to_string(nameOf(static_cast<int>(i)))) result.push_back("name: " + names_[i]);
      if (values_[i] != expected(static_cast<int>(i))) result.push_back("values of " + names_[i]);
    }
    return result;
  }

 private:
  // The same texts in every simulation: all threads use the pool of texts. In the order of the saved elements.
  static std::u16string nameOf(int signal) { return u"signal" + vtu::to_ustring(std::to_string(100 + signal)); }

  void addSignal(int i) {
    const SignalDescriptor& descriptor = catalogue_.createSignalDescriptor(leaf(u"x"), 512, 0, 1, nameOf(i), u"",
                                                                           pathOf((u"model/" + nameOf(i)).c_str()), 0);
    accessors_.push_back(std::make_unique<Scalar>(descriptor, catalogue_.disabledLoggingIntervals()));
    session_.attach(descriptor, *accessors_.back());
  }

  void update(int step, double added) {
    const double time = 0.1 * step;
    // What is stepped back over differs from what is recorded in its place.
    const double extra = step < kSteps - kStepsBack ? 0.0 : added;
    for (int i = 0; i < kSignals; ++i) {
      const double value = valueOf(number_, i, step) + extra;
      accessors_[static_cast<std::size_t>(i)]->update(&time, &value, 0);
    }
  }

  void readBack() {
    const vtu::QatFileWrapper file(path_, "r");
    if (!file) throw std::runtime_error(qatLastError());
    const vtu::qxArrayWrapper saved = file.variable("DATASET_SIGNAL_LOGGING");
    const qxArray* elements = field(field(saved.get(), "Dataset"), "Elements");
    for (std::size_t i = 0; i < qxGetNumberOfElements(elements); ++i) {
      const qxArray* element = qxGetCell(elements, i);
      names_.push_back(text(field(element, "Name")));
      values_.push_back(numbers<double>(field(field(element, "Values"), "Data")));
    }
  }

  [[nodiscard]] std::vector<double> expected(int signal) const {
    std::vector<double> result;
    for (int step = 0; step < kSteps; ++step) result.push_back(valueOf(number_, signal, step));
    return result;
  }

  int number_;
  std::string path_;
  Catalogue catalogue_;
  RecordingSession session_{catalogue_};
  std::vector<std::unique_ptr<Accessor>> accessors_;
  std::vector<std::string> names_;
  std::vector<std::vector<double>> values_;
};

TEST(SimulationsOnSeveralThreads, recordAndSaveWhatIsTheirOwn) {
  std::vector<std::vector<std::string>> wrong(kThreads, {"did not run"});
  std::atomic<bool> go = false;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go) std::this_thread::yield();
      Simulation simulation(t);
      simulation.run();
      wrong[static_cast<std::size_t>(t)] = simulation.wrong();
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<std::string>& found : wrong) EXPECT_THAT(found, ::testing::IsEmpty());
}

}  // namespace
