// The pages in memory, by number. Only the pager uses this.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "jet/base/types.h"

namespace jet::internal {

struct Frame {  // set by PageFrames::Add
  PageNumber number;
  int references;
  bool changed;
  std::uint64_t saved_in;  // serial of the innermost scope that holds its old image
  Frame* newer;            // in a FrameList
  Frame* older;
  std::array<std::uint8_t, kPageSize> bytes;
};

// Frames by use, linked through themselves. A frame is in one list at most.
class FrameList {
 public:
  std::size_t size() const { return size_; }
  Frame* oldest() const { return oldest_; }

  // The frame becomes the newest, whether it was in the list or not.
  void Touch(Frame* frame) noexcept {
    if (newest_ == frame) return;
    if (frame->newer != nullptr) {
      frame->newer->older = frame->older;
      (frame->older != nullptr ? frame->older->newer : oldest_) = frame->newer;
    } else {
      ++size_;
    }
    frame->newer = nullptr;
    frame->older = newest_;
    (newest_ != nullptr ? newest_->newer : oldest_) = frame;
    newest_ = frame;
  }
  // REQUIRES: the frame is in no list.
  void AddOldest(Frame* frame) noexcept {
    frame->newer = oldest_;
    (oldest_ != nullptr ? oldest_->older : newest_) = frame;
    oldest_ = frame;
    ++size_;
  }
  // No effect on a frame that is not in the list.
  void Remove(Frame* frame) noexcept {
    if (frame->newer == nullptr && newest_ != frame) return;
    (frame->newer != nullptr ? frame->newer->older : newest_) = frame->older;
    (frame->older != nullptr ? frame->older->newer : oldest_) = frame->newer;
    frame->newer = frame->older = nullptr;
    --size_;
  }

 private:
  Frame* newest_ = nullptr;
  Frame* oldest_ = nullptr;
  std::size_t size_ = 0;
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

  // REQUIRES: the frame is unchanged, in no list, and without references.
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
