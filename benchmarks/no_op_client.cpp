#include "benchmarks/no_op_client.hpp"

#include <vector>

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

class VectorClient final : public core::client::Client {
 public:
  VectorClient(const core::utils::SignalDescriptor& descriptor, std::size_t capacity)
      : Client(Client::clientType::SignalLogging, descriptor) {
    values_.reserve(capacity);
  }

  void update(const double*, const void* data) override { values_.push_back(*static_cast<const double*>(data)); }
  void update(unsigned long, const double*, const void*) override {}
  vtu::qxArrayWrapper datasetElement() override { return vtu::qxArrayWrapper(); }

 private:
  std::vector<double> values_;
};

}  // namespace

std::unique_ptr<core::client::Client> makeVectorClient(const core::utils::SignalDescriptor& descriptor,
                                                       std::size_t capacity) {
  return std::make_unique<VectorClient>(descriptor, capacity);
}

std::unique_ptr<core::client::Client> makeNoOpClient(const core::utils::SignalDescriptor& descriptor) {
  return std::make_unique<NoOpClient>(descriptor);
}

}  // namespace vtio::benchmarks
