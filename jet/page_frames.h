// The pages in memory, by number. Only the pager uses this.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "jet/types.h"

namespace jet::internal {

struct Frame {  // set by PageFrames::Add
  PageNumber number;
  int references;
  bool changed;
  std::uint64_t saved_in;  // serial of the innermost scope that holds its old image
  Frame* newer;            // among the clean pages, by use
  Frame* older;
  std::array<std::uint8_t, kPageSize> bytes;
};

// A directory of chunks, so that finding a page costs two loads. Memory follows
// the pages that were looked at: eight bytes each, in chunks of 512.
class PageFrames {
 public:
  PageFrames() { spare_.reserve(kMaxSpare); }

  // Null if the page is not here.
  Frame* Find(PageNumber page) const {
    const std::size_t chunk = page.value / kChunk;
    if (chunk >= chunks_.size() || chunks_[chunk] == nullptr) return nullptr;
    return (*chunks_[chunk])[page.value % kChunk].get();
  }

  // A frame for a page that is not here; what its bytes are is undefined.
  Frame* Add(PageNumber page) {
    const std::size_t chunk = page.value / kChunk;
    if (chunk >= chunks_.size()) chunks_.resize(chunk + 1);
    if (chunks_[chunk] == nullptr) chunks_[chunk] = std::make_unique<Chunk>();
    std::unique_ptr<Frame>& place = (*chunks_[chunk])[page.value % kChunk];
    if (spare_.empty()) {
      place.reset(new Frame);  // not make_unique, which clears the bytes
    } else {
      place = std::move(spare_.back());
      spare_.pop_back();
    }
    place->number = page;
    place->references = 0;
    place->changed = false;
    place->saved_in = 0;
    place->newer = place->older = nullptr;
    return place.get();
  }

  // `frame` must be unchanged, in no list, and without references.
  void Remove(Frame* frame) noexcept {
    std::unique_ptr<Frame>& place =
        (*chunks_[frame->number.value / kChunk])[frame->number.value % kChunk];
    if (spare_.size() < kMaxSpare) spare_.push_back(std::move(place));
    place.reset();
  }

  // In ascending order; `body` may remove the frame that it is given.
  template <class Body>
  void ForEach(Body&& body) const {
    for (const std::unique_ptr<Chunk>& chunk : chunks_) {
      if (chunk == nullptr) continue;
      for (const std::unique_ptr<Frame>& frame : *chunk) {
        if (frame != nullptr) body(frame.get());
      }
    }
  }

 private:
  static constexpr std::size_t kChunk = 512;
  static constexpr std::size_t kMaxSpare = 16;
  using Chunk = std::array<std::unique_ptr<Frame>, kChunk>;
  std::vector<std::unique_ptr<Chunk>> chunks_;
  std::vector<std::unique_ptr<Frame>> spare_;
};

}  // namespace jet::internal
