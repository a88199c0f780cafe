#include "recorders/table/time_base.hpp"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "recorders/table/chunk_size.hpp"

namespace vtio::recorders {

bool sameTime(double a, double b) {
  return a == b || std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

void TimeChunk::destroy(TimeChunk* chunk) {
  for (TimeChunk* child = chunk->firstChild; child != nullptr;) {
    child->parent = nullptr;
    child = std::exchange(child->nextSibling, nullptr);
  }
  if (chunk->parent != nullptr) {
    TimeChunk** link = &chunk->parent->firstChild;
    while (*link != chunk) link = &(*link)->nextSibling;
    *link = chunk->nextSibling;
  }
  chunk->base->recycle(chunk);
}

TimeBase::~TimeBase() {
  arrays_.clear();
  ::operator delete(spare_);
}

void TimeBase::addWindow(std::uint64_t maxPoints) {
  window_ = std::max(window_, maxPoints == 0 ? std::numeric_limits<std::uint64_t>::max() : maxPoints);
}

std::uint32_t TimeBase::rowsFor(std::uint64_t sample) const { return chunkRows(sizeof(double), sample, window_, 2); }

TimeChunk* TimeBase::allocate(std::uint32_t rows) {
  TimeChunk* chunk = nullptr;
  if (spare_ != nullptr && spare_->rows == rows) {
    chunk = std::exchange(spare_, nullptr);
  } else {
    void* memory = ::operator new(sizeof(TimeChunk) + (static_cast<std::size_t>(rows) + 1) * sizeof(double));
    chunk = static_cast<TimeChunk*>(memory);
  }
  new (chunk) TimeChunk();
  chunk->rows = rows;
  chunk->base = this;
  std::fill_n(chunk->times(), static_cast<std::size_t>(rows) + 1, std::numeric_limits<double>::quiet_NaN());
  return chunk;
}

void TimeBase::recycle(TimeChunk* chunk) noexcept { ::operator delete(std::exchange(spare_, chunk)); }

Ref<TimeChunk> TimeBase::follow(TimeChunk* tail, std::uint64_t sample, double time) {
  TimeChunk* parent = tail != nullptr ? tail : &root_;
  const auto forkRow = static_cast<std::uint32_t>(sample - parent->firstRow);
  for (TimeChunk* child = parent->firstChild; child != nullptr; child = child->nextSibling) {
    if (child->forkRow == forkRow && sameTime(child->times()[sample - child->firstRow], time)) {
      return Ref<TimeChunk>(child);
    }
  }
  arrays_.clear();
  const bool continues = forkRow == parent->rows;
  TimeChunk* made = allocate(continues ? rowsFor(sample) : parent->rows);
  made->forkRow = forkRow;
  made->firstRow = continues ? sample : parent->firstRow;
  if (!continues) std::copy_n(parent->times(), forkRow, made->times());
  made->used = static_cast<std::uint32_t>(sample - made->firstRow) + 1;
  made->times()[made->used - 1] = time;
  made->parent = parent;
  made->nextSibling = std::exchange(parent->firstChild, made);
  return Ref<TimeChunk>(made);
}

std::size_t TimeBase::KeyHash::operator()(const Key& key) const noexcept {
  constexpr std::size_t kMix = 0x9E3779B97F4A7C15U;
  return ((std::hash<const void*>()(key.last) * kMix + key.first) * kMix + key.count) * kMix;
}

vtu::qxArrayWrapper TimeBase::timeArray(const Ref<TimeChunk>* times, std::size_t chunks, std::uint64_t first,
                                        std::uint64_t count) {
  const Key key{count != 0 ? times[chunks - 1].get() : nullptr, first, count};
  auto found = arrays_.find(key);
  if (found == arrays_.end()) {
    const std::size_t rows = count - first;
    vtu::qxArrayWrapper array(qxCreateNumericArray(1, &rows, qxDOUBLE, false));
    auto* out = rows != 0 ? static_cast<double*>(qxGetData(array.get())) : nullptr;
    for (std::size_t i = 0; i < chunks && rows != 0; ++i) {
      const TimeChunk& chunk = *times[i];
      const std::uint64_t end = i + 1 < chunks ? times[i + 1]->firstRow : count;
      const std::uint64_t begin = std::max(first, chunk.firstRow);
      if (begin < end) out = std::copy_n(chunk.times() + (begin - chunk.firstRow), end - begin, out);
    }
    Cached cached{Ref<TimeChunk>(count != 0 ? times[chunks - 1].get() : nullptr), std::move(array)};
    found = arrays_.emplace(key, std::move(cached)).first;
  }
  return vtu::qxArrayWrapper(qxShareArray(found->second.array.get()));
}

}  // namespace vtio::recorders
