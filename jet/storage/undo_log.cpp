#include "jet/storage/undo_log.h"

#include <algorithm>
#include <cstring>
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
  SavedPage saved{.number = frame->number,
                  .existed = existed,
                  .changed = frame->changed,
                  .saved_in = frame->saved_in,
                  .image = nullptr,
                  .part = {}};
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

void UndoLog::KeepParts(Frame* frame, std::span<const PagePart> parts) {
  if (depth_ > 1) return Keep(frame, true);
  for (const PagePart& part : parts) {
    if (part.size == 0) continue;
    if (part.size > parts_.size() - parts_end_) return Keep(frame, true);
    innermost().saved.push_back({.number = frame->number,
                                 .changed = frame->changed,
                                 .image = nullptr,
                                 .part = part,
                                 .part_at = parts_end_});
    std::memcpy(&parts_[parts_end_], &frame->bytes[part.at], part.size);
    parts_end_ += part.size;
  }
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
    if (saved.part.size != 0) continue;  // only the outermost scope has them
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
  if (--depth_ == 0) parts_end_ = 0;
}

}  // namespace jet::internal
