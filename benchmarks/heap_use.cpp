#include "benchmarks/heap_use.hpp"

#include <malloc.h>

namespace vtio::benchmarks {

std::size_t heapBytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace vtio::benchmarks
