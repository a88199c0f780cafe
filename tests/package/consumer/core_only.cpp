// Uses the core with a client of its own; the environment services come along.
#include <cstdio>
#include <memory>
#include <utility>

#include "platform/logging_interval.hpp"
#include "vtio/vtio.hpp"

namespace {

using vtio::core::accessor::Scalar;
using vtio::core::client::Catalogue;
using vtio::core::client::Client;
namespace utils = vtio::core::utils;

/// Sums what it is given.
class Summing final : public Client {
 public:
  Summing(const utils::SignalDescriptor& descriptor, double& sum) : Client(SignalLogging, descriptor), sum_(sum) {}
  void update(const double*, const void* data) override { sum_ += *static_cast<const double*>(data); }
  void update(unsigned long, const double*, const void*) override {}
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(qxCreateDoubleScalar(sum_)); }

 private:
  double& sum_;
};

}  // namespace

int main() {
  Catalogue catalogue;
  auto leaf = std::make_unique<utils::LeafNode>(0, u"speed", false, "linear", std::vector<long long>{}, "double",
                                                utils::units(u"m/s"), u"", utils::leafSignal);
  const utils::SignalDescriptor& descriptor =
      catalogue.createSignalDescriptor(std::move(leaf), 1UL, 0UL, 2UL, u"speed", u"", vtu::FullBlkPathToTopMdl(), 0UL);
  Scalar accessor(descriptor, catalogue.disabledLoggingIntervals());

  double sum = 0;
  auto client = std::make_unique<Summing>(descriptor, sum);
  accessor.addClient(*client);
  catalogue.addClient(std::move(client), u"logsout");
  for (int i = 0; i < 4; ++i) {
    const double time = i;
    const double value = i + 1;
    accessor.update(&time, &value, 0);
  }
  std::printf("%g\n", sum);  // every second of 1, 2, 3, 4
  return sum == 4.0 && catalogue.hasDataset(u"logsout") ? 0 : 1;
}
