#include "jet/storage/pager.h"

#include <algorithm>
#include <array>
#include <cassert>

#include "jet/base/error.h"
#include "jet/storage/flush.h"

namespace jet {

using internal::Frame;
using internal::SavedPage;

namespace {

// How far before a page the oldest one in the cache may lie to count as the
// previous one of the same scan.
constexpr std::uint32_t kMaxPassed = 64;

// Finishes a flush that was interrupted. Returns how many pages the file has.
std::uint32_t Recover(File& file, bool writable, internal::PageReader& reader) {
  const std::optional<FlushTail> tail = FindTail(file);
  if (tail && TailFits(file, *tail)) {
    if (!writable) {
      for (std::size_t i = 0; i < tail->entries.size(); ++i) {
        reader.Redirect(tail->entries[i].page, tail->ImageAt(i));
      }
      return tail->pages_after;
    }
    FinishFlush(file, *tail);
  }
  return static_cast<std::uint32_t>(std::min(file.Size(), kMaxFileSize) / kPageSize);
}

}  // namespace

Pager::Pager(std::unique_ptr<File> file, bool writable, PagerLimits limits, FlushMode mode)
    : file_(std::move(file)),
      writable_(writable),
      limits_(limits),
      mode_(mode),
      reader_(*file_),
      file_pages_(Recover(*file_, writable, reader_)),
      page_count_(file_pages_) {}

void Pager::CutLeftovers(PageNumber highest_taken) {
  constexpr std::uint32_t kMaxLook = 1u << 16;
  if (!writable_ || highest_taken.value + 1 >= file_pages_) return;
  const auto head = FindTailHead(*file_, {highest_taken.value + 1}, kMaxLook);
  if (!head) return;
  const std::uint32_t keep = std::max(highest_taken.value + 1, head->pages_before);
  if (keep >= file_pages_) return;
  reader_.DropAhead();
  file_->Truncate(std::uint64_t{keep} * kPageSize);
  file_->Sync();
  file_pages_ = page_count_ = keep;
  ++epoch_;
}

void Pager::EvictClean() {
  Frame* frame = clean_.oldest();
  while (clean_.size() * kPageSize > limits_.clean_bytes && frame != nullptr) {
    Frame* newer = frame->newer;
    if (frame->references == 0) {
      clean_.Remove(frame);
      frames_.Remove(frame);
    }
    frame = newer;
  }
}

Frame* Pager::Load(PageNumber page) {
  RequireWhole();
  if (page.value >= page_count_) {
    throw Error::Damaged(page, "a pointer leads outside the file").In(path());
  }
  if (Frame* frame = frames_.Find(page)) {
    if (!frame->changed) clean_.Touch(frame);
    return frame;
  }
  // During a scan each page replaces the previous one in the cache unless that was
  // used again: a long scan leaves the cache to the others, and touches little memory.
  Frame* const oldest = clean_.oldest();
  const bool passing = reader_.scanning() && oldest != nullptr && oldest->references == 0 &&
                       page.value - oldest->number.value <= kMaxPassed;
  if (passing) {
    clean_.Remove(oldest);
    frames_.Remove(oldest);
  }
  EvictClean();
  Frame* frame = frames_.Add(page);
  if (page.value >= file_pages_) {  // a gap of this action, not written yet
    frame->bytes.fill(0);
  } else {
    try {
      counters_.pages_read += reader_.Read(page, file_pages_, frame->bytes);
    } catch (...) {
      frames_.Remove(frame);
      throw;
    }
  }
  if (reader_.scanning()) {
    clean_.AddOldest(frame);
  } else {
    clean_.Touch(frame);
  }
  return frame;
}

void Pager::MarkChanged(Frame* frame) {
  if (frame->changed) return;
  if ((changed_count_ + 1) * kPageSize > limits_.changed_bytes) {
    throw Error(ErrorCode::kFileTooLarge, "too many changes in one action").In(path());
  }
  clean_.Remove(frame);
  frame->changed = true;
  ++changed_count_;
}

void Pager::RequireWritable() const {
  if (!writable_) throw Error(ErrorCode::kReadOnly).In(path());
  RequireWhole();
  assert(undo_.open());
}

void Pager::RequireWhole() const {
  if (broken_) throw Error(ErrorCode::kUnfinished).In(path());
}

PageSpan Pager::Edit(PageNumber page, std::span<const PagePart> parts) {
  RequireWritable();
  Frame* frame = Load(page);
  if (parts.empty()) {
    undo_.Save(frame, true);
  } else {
    undo_.SaveParts(frame, parts);
  }
  MarkChanged(frame);
  return frame->bytes;
}

PageSpan Pager::EditNew(PageNumber page) {
  RequireWritable();
  if ((std::uint64_t{page.value} + 1) * kPageSize > kMaxFileSize) {
    throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(path());
  }
  const bool existed = page.value < page_count_;
  Frame* frame = frames_.Find(page);
  if (frame == nullptr && existed) frame = Load(page);
  if (frame == nullptr) {
    frame = frames_.Add(page);
    frame->bytes.fill(0);
  }
  undo_.Save(frame, existed);
  MarkChanged(frame);
  frame->bytes.fill(0);
  page_count_ = std::max(page_count_, page.value + 1);
  return frame->bytes;
}

void Pager::UndoScope() noexcept {
  page_count_ = undo_.Undo([this](const SavedPage& saved, ByteView part) {
    Frame* frame = frames_.Find(saved.number);
    if (frame == nullptr) return;
    if (!saved.existed) return Forget(frame);
    if (saved.image) {
      frame->bytes = *saved.image;
      frame->saved_in = saved.saved_in;
    } else {
      std::ranges::copy(part, frame->bytes.begin() + static_cast<std::ptrdiff_t>(saved.part.at));
    }
    if (!saved.changed && frame->changed) {
      frame->changed = false;
      --changed_count_;
      clean_.Touch(frame);
    }
  });
  ++epoch_;
}

// For a page that is not there any more. References to it see zeros.
void Pager::Forget(Frame* frame) noexcept {
  if (frame->changed) --changed_count_;
  frame->changed = false;
  frame->saved_in = 0;
  frame->bytes.fill(0);
  clean_.Remove(frame);
  if (frame->references == 0) {
    frames_.Remove(frame);
  } else {
    clean_.Touch(frame);
  }
}

void Pager::Discard() {
  assert(!undo_.open());
  page_count_ = file_pages_;
  ++epoch_;
  frames_.ForEach([&](Frame* frame) {
    if (!frame->changed) return;
    const bool in_file = frame->number.value < file_pages_;
    if (frame->references != 0 && in_file && !broken_) {
      try {
        reader_.ReadOne(frame->number, frame->bytes);
      } catch (...) {
        broken_ = true;
        throw;
      }
      frame->changed = false;
      --changed_count_;
      clean_.Touch(frame);
    } else {
      Forget(frame);
    }
  });
}

void Pager::Flush() {
  assert(!undo_.open());
  RequireWhole();
  if (!changed()) return;
  std::vector<Frame*> changed;
  changed.reserve(changed_count_ + 1);
  frames_.ForEach([&](Frame* frame) {
    if (frame->changed) changed.push_back(frame);
  });
  // Page 0 is always in the tail, so that recovery finds the commit slots as they
  // were.
  const PageRef first = Read({0});
  Frame* const first_frame = frames_.Find({0});
  const bool added = mode_ == FlushMode::kAtomic && !first_frame->changed;
  if (added) changed.insert(changed.begin(), first_frame);
  reader_.DropAhead();
  WriteChangedPages(changed);
  if (added) changed.erase(changed.begin());
  counters_.pages_written += changed.size();
  file_pages_ = page_count_;
  for (Frame* frame : changed) {
    frame->changed = false;
    --changed_count_;
    clean_.Touch(frame);
  }
  EvictClean();
}

void Pager::WriteChangedPages(const std::vector<Frame*>& changed) {
  FlushJob job{file_pages_, page_count_, {}, {}};
  for (const Frame* frame : changed) job.pages.push_back(frame->number);
  job.image = [&](std::size_t i, PageSpan out) {
    std::ranges::copy(changed[i]->bytes, out.begin());
    reader_.Cipher(changed[i]->number, out);
  };
  if (mode_ == FlushMode::kAtomic) {
    try {
      FlushAtomically(*file_, job, broken_);
    } catch (const Error& error) {
      if (!broken_) throw;
      throw Error(ErrorCode::kUnfinished, error.detail()).In(path());
    }
    broken_ = false;
    return;
  }
  file_->Reserve(std::uint64_t{page_count_} * kPageSize);
  std::array<std::uint8_t, kPageSize> image;
  for (std::size_t i = 0; i < changed.size(); ++i) {
    job.image(i, image);
    file_->Write(std::uint64_t{changed[i]->number.value} * kPageSize, image);
  }
  file_->Sync();
}

}  // namespace jet
