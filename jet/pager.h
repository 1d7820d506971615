// The page cache: pages in clear, changed pages kept until Flush(), and the
// scopes that undo an operation that failed.
//
// Encoded files hold every page but the first as the RC4 stream of
// (page key XOR page number); the cache holds them decoded.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "jet/file.h"
#include "jet/page_frames.h"
#include "jet/types.h"

namespace jet {

class Pager;

inline constexpr std::uint32_t kPagesPerBitmap = 32736;  // what a bitmap page has bits for

// Read access to a page in the cache; must not outlive its pager. The page stays
// there as long as the reference lives; an Edit of the same page shows through it.
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
    if (frame_ != nullptr) --frame_->references;
  }

  PageNumber number() const { return frame_->number; }
  PageView bytes() const { return frame_->bytes; }
  explicit operator bool() const { return frame_ != nullptr; }

 private:
  internal::Frame* frame_ = nullptr;
};

struct PagerLimits {
  std::size_t clean_bytes = std::size_t{32} << 20;   // unchanged pages kept
  std::size_t changed_bytes = std::size_t{1} << 30;  // changed pages, kFileTooLarge beyond
  // Of a usage map, a multiple of 32. Less only where tests make a small file meet
  // what large ones do; other programs do not understand such a file.
  std::uint32_t pages_per_bitmap = kPagesPerBitmap;
};

// How changed pages reach the file.
enum class FlushMode {
  kAtomic,
  kPlain,  // straight to their places: for a file that nobody relies on yet
};

struct PagerCounters {
  std::uint64_t pages_read = 0;
  std::uint64_t pages_written = 0;
};

class Pager {
 public:
  // Takes the file, and finishes a flush that was interrupted: in the file if
  // `writable`, else in what is read of it. `writable` false: Edit throws
  // kReadOnly, and nothing is ever written.
  Pager(std::unique_ptr<File> file, bool writable, PagerLimits limits = {},
        FlushMode mode = FlushMode::kAtomic);
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  // Pages in the file as this process sees it, changes included.
  std::uint32_t page_count() const { return page_count_; }
  bool writable() const { return writable_; }
  std::uint32_t pages_per_bitmap() const { return limits_.pages_per_bitmap; }
  const std::string& path() const;
  std::optional<FileId> file_id() const;
  // 0: pages in clear. Set once, before any page but the first is read.
  void SetPageKey(std::uint32_t key) { page_key_ = key; }

  // Throws kDamaged for a page outside the file.
  PageRef Read(PageNumber page);

  // Write access, inside a Scope only; valid until the next Flush or Discard.
  PageSpan Edit(PageNumber page);
  // The same for a page whose old content does not matter: zeroed, and the
  // file grows to it (pages in the gap are zero).
  PageSpan EditNew(PageNumber page);

  // Writes all changed pages, whole or not at all. No scope may be open. After an
  // error in the middle of it the pager refuses all further work: the next open
  // finishes the flush.
  void Flush();
  // Cuts off what an interrupted flush left behind the pages in use, of which
  // `highest_taken` is the last.
  void CutLeftovers(PageNumber highest_taken);
  // Forgets all changed pages.
  void Discard();
  bool changed() const { return changed_count_ != 0 || page_count_ != file_pages_; }

  // Counts up whenever cached pages went back to an older state: what was
  // derived from pages must be derived anew.
  std::uint64_t epoch() const { return epoch_; }
  const PagerCounters& counters() const { return counters_; }

 private:
  friend class Scope;
  struct Saved;
  struct ScopeLog;
  static constexpr std::size_t kSpareImages = 16;

  internal::Frame* Load(PageNumber page);
  void Forget(internal::Frame* frame) noexcept;
  void TouchClean(internal::Frame* frame);
  void Unlink(internal::Frame* frame);
  void EvictClean();
  void SaveBefore(internal::Frame* frame, bool existed);
  void MarkChanged(internal::Frame* frame);
  void ReadFromFile(PageNumber page, PageSpan into);
  void Cipher(PageNumber page, PageSpan bytes) const;
  void RequireWritable() const;
  void RequireWhole() const;
  void BeginScope();
  void CommitScope();
  void EndScope() noexcept;
  void UndoScope() noexcept;
  void Recover();
  // The one place where pages reach the disk.
  void WriteChangedPages(const std::vector<internal::Frame*>& changed);

  std::unique_ptr<File> file_;
  bool writable_;
  PagerLimits limits_;
  FlushMode mode_;
  bool broken_ = false;  // a flush was interrupted; the file and the cache differ
  // Pages whose newest image stands in the tail of an interrupted flush.
  std::unordered_map<PageNumber, std::uint64_t> redirected_;
  std::uint32_t page_key_ = 0;
  std::uint32_t file_pages_ = 0;
  std::uint32_t page_count_ = 0;
  internal::PageFrames frames_;
  // What the file holds from ahead_from_ on, read in one go when pages are asked
  // for one after the other.
  Bytes ahead_;
  PageNumber ahead_from_;
  std::uint32_t ahead_pages_ = 0;
  PageNumber last_miss_;
  std::uint32_t misses_in_order_ = 0;
  internal::Frame* clean_head_ = nullptr;  // most recently used
  internal::Frame* clean_tail_ = nullptr;
  std::size_t clean_count_ = 0;
  std::size_t changed_count_ = 0;
  ScopeLog& scope();  // the innermost

  std::vector<ScopeLog> scopes_;  // the first depth_ are open, the others kept for their room
  std::size_t depth_ = 0;
  std::vector<std::unique_ptr<std::array<std::uint8_t, kPageSize>>> spare_images_;
  std::uint64_t next_scope_ = 1;
  std::uint64_t epoch_ = 0;
  PagerCounters counters_;
};

// An operation: unless Commit() is reached, the destructor puts every page back
// as it was when the scope began. Scopes nest; the inner one's changes belong
// to the outer one once committed.
class Scope {
 public:
  explicit Scope(Pager& pager) : pager_(&pager) { pager.BeginScope(); }
  ~Scope() {
    if (pager_ != nullptr) pager_->UndoScope();
  }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

  void Commit() {
    pager_->CommitScope();
    pager_ = nullptr;
  }

 private:
  Pager* pager_;
};

}  // namespace jet
