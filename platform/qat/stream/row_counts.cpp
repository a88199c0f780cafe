#include "platform/qat/stream/row_counts.hpp"

#include "platform/qat/failure.hpp"
#include "platform/qat/sample_format.hpp"
#include "platform/qat/write/remove_link.hpp"

namespace vtu::qat {

RowCounts::RowCounts(hid_t file, std::size_t numbers) {
  constexpr const char* kWhat = "cannot make the counts of rows";
  const hsize_t count = numbers;
  const Handle list(checked(H5Pcreate(H5P_DATASET_CREATE), kStorage, kWhat));
  checked(H5Pset_obj_track_times(list.get(), false), kStorage, kWhat);
  if (count > 0) {
    checked(H5Pset_chunk(list.get(), 1, &count), kStorage, kWhat);
    checked(H5Pset_alloc_time(list.get(), H5D_ALLOC_TIME_EARLY), kStorage, kWhat);
  }
  const Handle space(checked(H5Screate_simple(1, &count, nullptr), kStorage, kWhat));
  dataset_ =
      Handle(checked(H5Dcreate_anon(file, H5T_STD_U64LE, space.get(), list.get(), H5P_DEFAULT), kStorage, kWhat));
}

void RowCounts::link(hid_t group) const {
  checked(H5Olink(dataset_.get(), group, kRowsMember, H5P_DEFAULT, H5P_DEFAULT), kStorage,
          "the counts of rows cannot be linked");
  keepWithoutLink(group, kRowsMember);
}

void RowCounts::write(std::span<const std::uint64_t> numbers) {
  if (numbers.empty()) return;
  checked(H5Dwrite(dataset_.get(), H5T_NATIVE_UINT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers.data()), kStorage,
          "the counts of rows cannot be written");
}

}  // namespace vtu::qat
