#include "runner/fmu/intermediate_reader.hpp"

#include <utility>

namespace vtio::runner {

IntermediateReader::IntermediateReader(Instance& instance, std::vector<VariableBatch> batches)
    : instance_(instance), batches_(std::move(batches)) {
  for (const VariableBatch& batch : batches_) bytes_ += batch.count * bytesOf(batch.type);
}

std::vector<std::uint32_t> IntermediateReader::references() const {
  std::vector<std::uint32_t> all;
  for (const VariableBatch& batch : batches_) {
    all.insert(all.end(), batch.references.begin(), batch.references.end());
  }
  return all;
}

void IntermediateReader::begin(double time) {
  samples_.clear();
  begin_ = time;
}

void IntermediateReader::read(double time) noexcept {
  const double last = samples_.times.empty() ? begin_ : samples_.times.back();
  if (failure_ || !(time > begin_) || time < last) return;
  try {
    std::size_t at = samples_.values.size();
    samples_.values.resize(at + bytes_);
    for (const VariableBatch& batch : batches_) {
      instance_.get(batch.type, batch.references, samples_.values.data() + at, batch.count);
      at += batch.count * bytesOf(batch.type);
    }
    samples_.times.push_back(time);
  } catch (...) {
    failure_ = std::current_exception();
  }
}

void IntermediateReader::end(double time) {
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  while (!samples_.times.empty() && samples_.times.back() >= time) samples_.times.pop_back();
  samples_.values.resize(samples_.times.size() * bytes_);
}

}  // namespace vtio::runner
