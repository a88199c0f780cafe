#include "benchmarks/no_op_client.hpp"

#include "platform/qalc.hpp"

namespace vtio::benchmarks {

namespace {

class NoOpClient final : public core::client::Client {
 public:
  explicit NoOpClient(const core::utils::SignalDescriptor& descriptor)
      : Client(Client::clientType::SignalLogging, descriptor) {}

  void update(const double*, const void*) override {}
  void update(unsigned long, const double*, const void*) override {}
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(); }
};

}  // namespace

std::unique_ptr<core::client::Client> makeNoOpClient(const core::utils::SignalDescriptor& descriptor) {
  return std::make_unique<NoOpClient>(descriptor);
}

}  // namespace vtio::benchmarks
