#include "jet/pager.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <utility>

#include "jet/error.h"
#include "jet/flush.h"
#include "jet/header.h"

namespace jet {

using Image = std::array<std::uint8_t, kPageSize>;

namespace {
// Pages that are asked for in order, with at most so many passed over, so many
// times, count as a scan; how much is then read at a time.
constexpr std::uint32_t kStep = 8, kMinRun = 4, kMaxAhead = 64;

}  // namespace

using internal::Frame;

// The state of a page when a scope first changed it.
struct Pager::Saved {
  PageNumber number;
  bool existed = true;  // else it was new: undo forgets it
  bool changed = false;
  std::uint64_t saved_in = 0;
  std::unique_ptr<Image> image;  // of pages that existed
};

struct Pager::ScopeLog {
  std::uint64_t serial = 0;
  std::uint32_t page_count = 0;
  std::vector<Saved> saved;
};

Pager::Pager(std::unique_ptr<File> file, bool writable, PagerLimits limits, FlushMode mode)
    : file_(std::move(file)), writable_(writable), limits_(limits), mode_(mode) {
  spare_images_.reserve(kSpareImages);
  Recover();
  if (redirected_.empty()) {
    file_pages_ = static_cast<std::uint32_t>(std::min(file_->Size(), kMaxFileSize) / kPageSize);
  }
  page_count_ = file_pages_;
}

Pager::~Pager() = default;

void Pager::Recover() {
  const std::optional<FlushTail> tail = FindTail(*file_);
  if (!tail || !TailFits(*file_, *tail)) return;
  if (writable_) {
    FinishFlush(*file_, *tail);
    return;
  }
  for (std::size_t i = 0; i < tail->entries.size(); ++i) {
    redirected_[tail->entries[i].page] = tail->ImageAt(i);
  }
  file_pages_ = tail->pages_after;
}

void Pager::CutLeftovers(PageNumber highest_taken) {
  constexpr std::uint32_t kMaxLook = 1u << 16;
  if (!writable_ || highest_taken.value + 1 >= file_pages_) return;
  const auto head = FindTailHead(*file_, {highest_taken.value + 1}, kMaxLook);
  if (!head) return;
  const std::uint32_t keep = std::max(highest_taken.value + 1, head->pages_before);
  if (keep >= file_pages_) return;
  ahead_pages_ = 0;
  file_->Truncate(std::uint64_t{keep} * kPageSize);
  file_->Sync();
  file_pages_ = page_count_ = keep;
  ++epoch_;
}

const std::string& Pager::path() const { return file_->path(); }

std::optional<FileId> Pager::file_id() const { return file_->Id(); }

// Unlinks a clean page from the list by use, if it is in it.
void Pager::TouchClean(Frame* frame) {
  if (clean_head_ == frame) return;
  const bool linked = frame->newer != nullptr;
  if (linked) {
    frame->newer->older = frame->older;
    (frame->older != nullptr ? frame->older->newer : clean_tail_) = frame->newer;
  } else {
    ++clean_count_;
  }
  frame->newer = nullptr;
  frame->older = clean_head_;
  (clean_head_ != nullptr ? clean_head_->newer : clean_tail_) = frame;
  clean_head_ = frame;
}

void Pager::Unlink(Frame* frame) {
  if (frame->newer == nullptr && clean_head_ != frame) return;
  (frame->newer != nullptr ? frame->newer->older : clean_head_) = frame->older;
  (frame->older != nullptr ? frame->older->newer : clean_tail_) = frame->newer;
  frame->newer = frame->older = nullptr;
  --clean_count_;
}

void Pager::EvictClean() {
  Frame* frame = clean_tail_;
  while (clean_count_ * kPageSize > limits_.clean_bytes && frame != nullptr) {
    Frame* newer = frame->newer;
    if (frame->references == 0) {
      Unlink(frame);
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
    if (!frame->changed) TouchClean(frame);
    return frame;
  }
  // A page that is read in passing takes the place of the one before it, unless
  // somebody came back to that: a long scan leaves the cache to the others, and
  // touches little memory.
  const std::uint32_t passed =
      clean_tail_ != nullptr ? page.value - clean_tail_->number.value : kMaxAhead;
  if (misses_in_order_ >= kMinRun && clean_tail_ != nullptr && clean_tail_->references == 0 &&
      passed <= kMaxAhead) {
    Frame* const passed_by = clean_tail_;
    Unlink(passed_by);
    frames_.Remove(passed_by);
  }
  EvictClean();
  Frame* frame = frames_.Add(page);
  if (page.value >= file_pages_) {  // a gap of this action, not written yet
    frame->bytes.fill(0);
  } else {
    try {
      ReadFromFile(page, frame->bytes);
    } catch (...) {
      frames_.Remove(frame);
      throw;
    }
    Cipher(page, frame->bytes);
  }
  if (misses_in_order_ >= kMinRun && clean_tail_ != nullptr) {
    frame->newer = clean_tail_;
    clean_tail_->older = frame;
    clean_tail_ = frame;
    ++clean_count_;
  } else {
    TouchClean(frame);
  }
  return frame;
}

// A scan skips pages of other owners: pages that are nearly in order count as
// in order. The stretch that is read ahead doubles with each time that it was
// used up.
void Pager::ReadFromFile(PageNumber page, PageSpan into) {
  if (const auto redirected = redirected_.find(page); redirected != redirected_.end()) {
    file_->Read(redirected->second, into);
    ++counters_.pages_read;
    return;
  }
  if (page.value - ahead_from_.value < ahead_pages_) {  // wraps around below it
    const std::size_t at = std::size_t{page.value - ahead_from_.value} * kPageSize;
    std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(at), kPageSize, into.begin());
    last_miss_ = page;
    return;
  }
  const bool in_order = page > last_miss_ && page.value - last_miss_.value <= kStep;
  misses_in_order_ = in_order ? misses_in_order_ + 1 : 0;
  last_miss_ = page;
  if (misses_in_order_ < kMinRun) {
    file_->Read(std::uint64_t{page.value} * kPageSize, into);
    ++counters_.pages_read;
    return;
  }
  ahead_pages_ = 0;
  const std::uint32_t wanted = std::min(
      {kMaxAhead, 1u << std::min(misses_in_order_ - kMinRun + 1, 10u), file_pages_ - page.value});
  ahead_.resize(std::size_t{wanted} * kPageSize);
  file_->Read(std::uint64_t{page.value} * kPageSize, ahead_);
  counters_.pages_read += wanted;
  ahead_from_ = page;
  ahead_pages_ = wanted;
  std::copy_n(ahead_.begin(), kPageSize, into.begin());
}

// Both ways. Pages that were never written may stand as plain zeros.
void Pager::Cipher(PageNumber page, PageSpan bytes) const {
  if (page_key_ == 0 || page.value == 0) return;
  if (std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; })) return;
  const std::uint32_t number = page_key_ ^ page.value;
  const std::array<std::uint8_t, 4> key{
      static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
      static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
  Rc4(key).Apply(bytes);
}

PageRef Pager::Read(PageNumber page) { return PageRef(Load(page)); }

void Pager::MarkChanged(Frame* frame) {
  if (frame->changed) return;
  if ((changed_count_ + 1) * kPageSize > limits_.changed_bytes) {
    throw Error(ErrorCode::kFileTooLarge, "too many changes in one action").In(path());
  }
  Unlink(frame);
  frame->changed = true;
  ++changed_count_;
}

Pager::ScopeLog& Pager::scope() { return scopes_[depth_ - 1]; }

void Pager::SaveBefore(Frame* frame, bool existed) {
  if (frame->saved_in == scope().serial) return;
  Saved saved{frame->number, existed, frame->changed, frame->saved_in, nullptr};
  if (existed) {
    if (spare_images_.empty()) {
      saved.image.reset(new Image);  // not make_unique, which clears it
    } else {
      saved.image = std::move(spare_images_.back());
      spare_images_.pop_back();
    }
    *saved.image = frame->bytes;
  }
  scope().saved.push_back(std::move(saved));
  frame->saved_in = scope().serial;
}

void Pager::RequireWritable() const {
  if (!writable_) throw Error(ErrorCode::kReadOnly).In(path());
  RequireWhole();
  assert(depth_ != 0);
}

void Pager::RequireWhole() const {
  if (broken_) throw Error(ErrorCode::kUnfinished).In(path());
}

PageSpan Pager::Edit(PageNumber page) {
  RequireWritable();
  Frame* frame = Load(page);
  SaveBefore(frame, true);
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
  SaveBefore(frame, existed);
  MarkChanged(frame);
  frame->bytes.fill(0);
  page_count_ = std::max(page_count_, page.value + 1);
  return frame->bytes;
}

void Pager::BeginScope() {
  if (depth_ == scopes_.size()) scopes_.emplace_back();
  ScopeLog& begun = scopes_[depth_];
  begun.serial = next_scope_++;
  begun.page_count = page_count_;
  ++depth_;
}

void Pager::EndScope() noexcept {
  constexpr std::size_t kKept = 64;
  std::vector<Saved>& saved = scope().saved;
  saved.clear();
  if (saved.capacity() > kKept) std::vector<Saved>().swap(saved);
  --depth_;
}

void Pager::CommitScope() {
  ScopeLog& inner = scope();
  ScopeLog* const outer = depth_ > 1 ? &scopes_[depth_ - 2] : nullptr;
  if (outer != nullptr) {
    // Room first: from here on nothing can fail.
    const std::size_t needed = outer->saved.size() + inner.saved.size();
    if (needed > outer->saved.capacity()) {
      outer->saved.reserve(std::max(needed, 2 * outer->saved.capacity()));
    }
  }
  for (Saved& saved : inner.saved) {
    Frame* frame = frames_.Find(saved.number);
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
  EndScope();
}

void Pager::UndoScope() noexcept {
  ScopeLog& undone = scope();
  for (auto saved = undone.saved.rbegin(); saved != undone.saved.rend(); ++saved) {
    Frame* frame = frames_.Find(saved->number);
    if (frame == nullptr) continue;
    if (!saved->existed) {
      Forget(frame);
      continue;
    }
    frame->bytes = *saved->image;
    frame->saved_in = saved->saved_in;
    if (!saved->changed && frame->changed) {
      frame->changed = false;
      --changed_count_;
      TouchClean(frame);
    }
  }
  page_count_ = undone.page_count;
  EndScope();
  ++epoch_;
}

// A page that is not there any more. Whoever still looks at it sees zeros.
void Pager::Forget(Frame* frame) noexcept {
  if (frame->changed) --changed_count_;
  frame->changed = false;
  frame->saved_in = 0;
  frame->bytes.fill(0);
  Unlink(frame);
  if (frame->references == 0) {
    frames_.Remove(frame);
  } else {
    TouchClean(frame);
  }
}

void Pager::Discard() {
  assert(depth_ == 0);
  page_count_ = file_pages_;
  ++epoch_;
  frames_.ForEach([&](Frame* frame) {
    if (!frame->changed) return;
    const bool in_file = frame->number.value < file_pages_;
    if (frame->references != 0 && in_file && !broken_) {
      try {
        file_->Read(std::uint64_t{frame->number.value} * kPageSize, frame->bytes);
      } catch (...) {
        broken_ = true;
        throw;
      }
      Cipher(frame->number, frame->bytes);
      frame->changed = false;
      --changed_count_;
      TouchClean(frame);
    } else {
      Forget(frame);
    }
  });
}

void Pager::Flush() {
  assert(depth_ == 0);
  RequireWhole();
  if (!changed()) return;
  std::vector<Frame*> changed;
  changed.reserve(changed_count_ + 1);
  frames_.ForEach([&](Frame* frame) {
    if (frame->changed) changed.push_back(frame);
  });
  // Page 0 always goes along: whoever lays the tail over the pages finds the
  // commit slots there as they were before the mark.
  const PageRef first = Read({0});
  Frame* const first_frame = frames_.Find({0});
  const bool added = mode_ == FlushMode::kAtomic && !first_frame->changed;
  if (added) changed.insert(changed.begin(), first_frame);
  ahead_pages_ = 0;
  WriteChangedPages(changed);
  if (added) changed.erase(changed.begin());
  counters_.pages_written += changed.size();
  file_pages_ = page_count_;
  for (Frame* frame : changed) {
    frame->changed = false;
    --changed_count_;
    TouchClean(frame);
  }
  EvictClean();
}

void Pager::WriteChangedPages(const std::vector<Frame*>& changed) {
  FlushJob job{file_pages_, page_count_, {}, {}};
  for (const Frame* frame : changed) job.pages.push_back(frame->number);
  job.image = [&](std::size_t i, PageSpan out) {
    std::ranges::copy(changed[i]->bytes, out.begin());
    Cipher(changed[i]->number, out);
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
  Image image;
  for (std::size_t i = 0; i < changed.size(); ++i) {
    job.image(i, image);
    file_->Write(std::uint64_t{changed[i]->number.value} * kPageSize, image);
  }
  file_->Sync();
}

}  // namespace jet
