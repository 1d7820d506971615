// A page that stays in the cache while it is looked at.
#pragma once

#include <utility>

#include "jet/base/types.h"
#include "jet/storage/page_frames.h"

namespace jet {

// Read access; an Edit of the same page shows through it. REQUIRES: the pager
// outlives it.
class PageRef {
 public:
  PageRef() = default;
  explicit PageRef(internal::Frame* frame) : frame_(frame) {
    if (frame_ != nullptr) ++frame_->references;
  }
  PageRef(PageRef&& other) noexcept : frame_(std::exchange(other.frame_, nullptr)) {}
  PageRef& operator=(PageRef&& other) noexcept {
    std::swap(frame_, other.frame_);
    return *this;
  }
  PageRef(const PageRef&) = delete;
  PageRef& operator=(const PageRef&) = delete;
  ~PageRef() {
    if (frame_ != nullptr) Release(frame_);
  }

  // Hands the hold on the page over, to be given up by Release().
  internal::Frame* Detach() { return std::exchange(frame_, nullptr); }
  static void Release(internal::Frame* frame) { --frame->references; }

  PageNumber number() const { return frame_->number; }
  PageView bytes() const { return frame_->bytes; }
  explicit operator bool() const { return frame_ != nullptr; }

 private:
  internal::Frame* frame_ = nullptr;
};

}  // namespace jet
