// The page cache: pages in clear, changed pages kept until Flush(), and the
// scopes that undo an operation that failed. One thread at a time.
//
// Encoded files hold every page but the first as the RC4 stream of
// (page key XOR page number); the cache holds them decoded.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "jet/base/types.h"
#include "jet/storage/file.h"
#include "jet/storage/page_frames.h"
#include "jet/storage/page_reader.h"
#include "jet/storage/page_ref.h"
#include "jet/storage/pager_limits.h"
#include "jet/storage/undo_log.h"

namespace jet {

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
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  // Pages in the file as this process sees it, changes included.
  std::uint32_t page_count() const { return page_count_; }
  bool writable() const { return writable_; }
  std::uint32_t pages_per_bitmap() const { return limits_.pages_per_bitmap; }
  const std::string& path() const { return file_->path(); }
  std::optional<FileId> file_id() const { return file_->Id(); }
  // 0: pages in clear. REQUIRES: no page but the first was read yet.
  void SetPageKey(std::uint32_t key) { reader_.SetKey(key); }

  // Throws kDamaged for a page outside the file.
  PageRef Read(PageNumber page) { return PageRef(Load(page)); }

  // Write access, valid until the next Flush or Discard. REQUIRES: a Scope.
  // `parts`: all that the caller changes now; empty: anything.
  PageSpan Edit(PageNumber page, std::span<const PagePart> parts = {});
  // The same for a page whose old content does not matter: zeroed, and the
  // file grows to it (pages in the gap are zero).
  PageSpan EditNew(PageNumber page);

  // Writes all changed pages, whole or not at all. After an error in the middle of
  // it the pager refuses all further work: the next open finishes the flush.
  // REQUIRES: no Scope.
  void Flush();
  // Cuts off what an interrupted flush left behind the pages in use, of which
  // `highest_taken` is the last.
  void CutLeftovers(PageNumber highest_taken);
  // Forgets all changed pages. REQUIRES: no Scope.
  void Discard();
  bool changed() const { return changed_count_ != 0 || page_count_ != file_pages_; }

  // Counts up whenever cached pages went back to an older state: what was
  // derived from pages must be derived anew.
  std::uint64_t epoch() const { return epoch_; }
  const PagerCounters& counters() const { return counters_; }

 private:
  friend class Scope;

  internal::Frame* Load(PageNumber page);
  void Forget(internal::Frame* frame) noexcept;
  void EvictClean();
  void MarkChanged(internal::Frame* frame);
  void RequireWritable() const;
  void RequireWhole() const;
  void UndoScope() noexcept;
  // The one place where pages reach the disk.
  void WriteChangedPages(const std::vector<internal::Frame*>& changed);

  std::unique_ptr<File> file_;
  bool writable_;
  PagerLimits limits_;
  FlushMode mode_;
  bool broken_ = false;  // a flush was interrupted; the file and the cache differ
  internal::PageReader reader_;
  std::uint32_t file_pages_ = 0;
  std::uint32_t page_count_ = 0;
  internal::PageFrames frames_;
  internal::FrameList clean_;
  std::size_t changed_count_ = 0;
  internal::UndoLog undo_;
  std::uint64_t epoch_ = 0;
  PagerCounters counters_;
};

// An operation: unless Commit() is reached, the destructor puts every page back
// as it was when the scope began. Scopes nest; the inner one's changes belong
// to the outer one once committed.
class Scope {
 public:
  explicit Scope(Pager& pager) : pager_(&pager) { pager.undo_.Begin(pager.page_count_); }
  ~Scope() {
    if (pager_ != nullptr) pager_->UndoScope();
  }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

  void Commit() {
    pager_->undo_.Commit(pager_->frames_);
    pager_ = nullptr;
  }

 private:
  Pager* pager_;
};

}  // namespace jet
