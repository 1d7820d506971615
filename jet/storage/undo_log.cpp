#include "jet/storage/undo_log.h"

#include <algorithm>
#include <utility>

namespace jet::internal {

void UndoLog::Begin(std::uint32_t page_count) {
  if (depth_ == scopes_.size()) scopes_.emplace_back();
  Entry& begun = scopes_[depth_];
  begun.serial = next_serial_++;
  begun.page_count = page_count;
  ++depth_;
}

void UndoLog::Keep(Frame* frame, bool existed) {
  SavedPage saved{frame->number, existed, frame->changed, frame->saved_in, nullptr};
  if (existed) {
    if (spare_images_.empty()) {
      saved.image.reset(new SavedPage::Image);  // not make_unique, which clears it
    } else {
      saved.image = std::move(spare_images_.back());
      spare_images_.pop_back();
    }
    *saved.image = frame->bytes;
  }
  innermost().saved.push_back(std::move(saved));
  frame->saved_in = innermost().serial;
}

void UndoLog::Commit(const PageFrames& frames) {
  Entry& inner = innermost();
  Entry* const outer = depth_ > 1 ? &scopes_[depth_ - 2] : nullptr;
  if (outer != nullptr) {
    // Room first: from here on nothing can fail.
    const std::size_t needed = outer->saved.size() + inner.saved.size();
    if (needed > outer->saved.capacity()) {
      outer->saved.reserve(std::max(needed, 2 * outer->saved.capacity()));
    }
  }
  for (SavedPage& saved : inner.saved) {
    Frame* frame = frames.Find(saved.number);
    if (outer != nullptr && saved.saved_in != outer->serial) {
      frame->saved_in = outer->serial;
      outer->saved.push_back(std::move(saved));
      continue;
    }
    frame->saved_in = saved.saved_in;
    if (saved.image && spare_images_.size() < spare_images_.capacity()) {
      spare_images_.push_back(std::move(saved.image));
    }
  }
  End();
}

void UndoLog::End() noexcept {
  constexpr std::size_t kKept = 64;
  std::vector<SavedPage>& saved = innermost().saved;
  saved.clear();
  if (saved.capacity() > kKept) std::vector<SavedPage>().swap(saved);
  --depth_;
}

}  // namespace jet::internal
