/// @file
/// Where the samples of each position are, kept so that a snapshot shares it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "recorders/table/ref.hpp"
#include "recorders/table/table.hpp"

namespace vtio::recorders {

/// Rows of a table in which a position had a sample each.
struct Run {
  std::uint32_t refs = 0;
  std::uint32_t offset = 0;  // of its values in a row
  Ref<Table> table;
  std::uint64_t first = 0;
  std::uint64_t count = 0;
  Ref<Run> older;

  static void destroy(Run* run) { destroyChain(run); }
};

/// The part of a position's state that does not change from sample to sample.
struct PositionState {
  Ref<Table> table;             // of the open run; null while none is open
  Ref<Run> closed;              // the newest of the runs before
  std::uint64_t begin = 0;      // first row of the open run
  std::uint64_t before = 0;     // samples recorded before the open run
  std::uint32_t offset = 0;     // in the rows of the open run
  std::uint32_t shortRuns = 0;  // how many of the last runs were short

  [[nodiscard]] bool isEmpty() const { return !table && !closed && before == 0; }
};

/// The states of all positions in pages. A copy shares them; changing one copies its page where it is shared.
class PositionStates final {
 public:
  [[nodiscard]] std::size_t size() const { return size_; }

  void add();

  [[nodiscard]] const PositionState& operator[](std::size_t i) const {
    return pages_->pages[i / kPage]->states[i % kPage];
  }

  /// For writing. Valid until the next copy.
  /// @throws std::bad_alloc; nothing has changed then.
  [[nodiscard]] PositionState& change(std::size_t i);

 private:
  static constexpr std::size_t kPage = 32;

  struct Page {
    std::uint32_t refs = 0;
    std::array<PositionState, kPage> states;
    static void destroy(Page* page) { delete page; }
  };
  struct Pages {
    std::uint32_t refs = 0;
    std::vector<Ref<Page>> pages;
    static void destroy(Pages* pages) { delete pages; }
  };

  Pages& ownPages();

  Ref<Pages> pages_{new Pages()};
  std::size_t size_ = 0;
};

inline PositionStates::Pages& PositionStates::ownPages() {
  if (pages_->refs != 1) {
    Ref<Pages> own(new Pages());
    own->pages = pages_->pages;
    pages_ = std::move(own);
  }
  return *pages_;
}

inline void PositionStates::add() {
  if (size_ % kPage == 0) ownPages().pages.emplace_back(new Page());
  ++size_;
}

inline PositionState& PositionStates::change(std::size_t i) {
  Ref<Page>& page = ownPages().pages[i / kPage];
  if (page->refs != 1) {
    Ref<Page> own(new Page());
    own->states = page->states;
    page = std::move(own);
  }
  return page->states[i % kPage];
}

}  // namespace vtio::recorders
