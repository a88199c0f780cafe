#include "benchmarks/plain_hdf5.hpp"

#include <hdf5.h>

#include <stdexcept>

namespace vtio::benchmarks {

namespace {

template <typename Value>
Value checked(Value value) {
  if (value < 0) throw std::runtime_error("HDF5 refuses");
  return value;
}

class DatasetSink final : public ValueSink {
 public:
  DatasetSink(hid_t file, const std::string& name, std::size_t chunkValues) : values_(chunkValues) {
    const hsize_t none = 0, unlimited = H5S_UNLIMITED, chunk = chunkValues;
    const hid_t space = checked(H5Screate_simple(1, &none, &unlimited));
    const hid_t properties = checked(H5Pcreate(H5P_DATASET_CREATE));
    checked(H5Pset_chunk(properties, 1, &chunk));
    dataset_ = checked(H5Dcreate2(file, name.c_str(), H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, properties, H5P_DEFAULT));
    H5Pclose(properties);
    H5Sclose(space);
  }
  ~DatasetSink() override { H5Dclose(dataset_); }

  void put(double value) override {
    values_[used_++] = value;
    if (used_ == values_.size()) write();
  }

  void write() {
    if (used_ == 0) return;
    const hsize_t begin = written_, count = values_.size(), extent = begin + count;
    checked(H5Dset_extent(dataset_, &extent));
    const hid_t target = checked(H5Dget_space(dataset_));
    checked(H5Sselect_hyperslab(target, H5S_SELECT_SET, &begin, nullptr, &count, nullptr));
    const hid_t source = checked(H5Screate_simple(1, &count, nullptr));
    checked(H5Dwrite(dataset_, H5T_NATIVE_DOUBLE, source, target, H5P_DEFAULT, values_.data()));
    H5Sclose(source);
    H5Sclose(target);
    written_ += count;
    used_ = 0;
  }

 private:
  hid_t dataset_;
  std::vector<double> values_;
  std::size_t used_ = 0;
  hsize_t written_ = 0;
};

}  // namespace

PlainHdf5File::PlainHdf5File(const std::string& path, std::size_t signals, std::size_t chunkValues)
    : file_(checked(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT))) {
  for (std::size_t i = 0; i < signals; ++i) {
    sinks_.push_back(std::make_unique<DatasetSink>(file_, "signal" + std::to_string(i), chunkValues));
  }
}

PlainHdf5File::~PlainHdf5File() {
  sinks_.clear();
  if (file_ >= 0) H5Fclose(file_);
}

void PlainHdf5File::close() {
  for (const auto& sink : sinks_) static_cast<DatasetSink&>(*sink).write();
  sinks_.clear();
  checked(H5Fclose(file_));
  file_ = -1;
}

}  // namespace vtio::benchmarks
