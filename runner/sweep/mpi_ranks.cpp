// The module that knows MPI.

#define OMPI_SKIP_MPICXX 1
#define MPICH_SKIP_MPICXX 1
#include <mpi.h>

#include <list>
#include <vector>

#include "runner/sweep/ranks.hpp"

namespace vtio::runner {
namespace {

class MpiRanks final : public Ranks {
 public:
  MpiRanks() {
    MPI_Init(nullptr, nullptr);
    MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
    MPI_Comm_size(MPI_COMM_WORLD, &size_);
  }

  // The analyzer does not follow requests into the list.
  // NOLINTBEGIN(clang-analyzer-optin.mpi.MPI-Checker)
  ~MpiRanks() override {
    for (Sent& one : sent_) MPI_Wait(&one.request, MPI_STATUS_IGNORE);
    MPI_Finalize();
  }

  void send(int rank, const Parcel& parcel) override {
    Sent& one = sent_.emplace_back();
    one.bytes.assign(parcel.bytes().begin(), parcel.bytes().end());
    MPI_Isend(one.bytes.data(), static_cast<int>(one.bytes.size()), MPI_BYTE, rank, 0, MPI_COMM_WORLD, &one.request);
  }

  // NOLINTEND(clang-analyzer-optin.mpi.MPI-Checker)

  [[nodiscard]] int rank() const override { return rank_; }
  [[nodiscard]] int size() const override { return size_; }

  bool receive(int& from, Parcel& parcel) override {
    sent_.remove_if([](Sent& one) {
      int isDone = 0;
      MPI_Test(&one.request, &isDone, MPI_STATUS_IGNORE);
      return isDone != 0;
    });
    int isThere = 0;
    MPI_Status status;
    MPI_Iprobe(MPI_ANY_SOURCE, 0, MPI_COMM_WORLD, &isThere, &status);
    if (isThere == 0) return false;
    int count = 0;
    MPI_Get_count(&status, MPI_BYTE, &count);
    std::vector<std::byte> bytes(static_cast<std::size_t>(count));
    MPI_Recv(bytes.data(), count, MPI_BYTE, status.MPI_SOURCE, 0, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    from = status.MPI_SOURCE;
    parcel.clear();
    parcel.append(bytes.data(), bytes.size());
    return true;
  }

  void abort() override { MPI_Abort(MPI_COMM_WORLD, 1); }

 private:
  // What MPI may still read.
  struct Sent {
    std::vector<std::byte> bytes;
    MPI_Request request = MPI_REQUEST_NULL;
  };

  int rank_ = 0;
  int size_ = 1;
  std::list<Sent> sent_;
};

}  // namespace
}  // namespace vtio::runner

extern "C" __attribute__((visibility("default"))) vtio::runner::Ranks* vtioMakeRanks() {
  return new vtio::runner::MpiRanks;
}
