// The pages as they were before the open scopes changed them. Only the pager
// uses this.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "jet/base/types.h"
#include "jet/storage/page_frames.h"

namespace jet::internal {

// The state of a page, or of a part of it, before a scope changed that.
struct SavedPage {
  using Image = std::array<std::uint8_t, kPageSize>;
  PageNumber number;
  bool existed = true;  // else it was new: undo forgets it
  bool changed = false;
  std::uint64_t saved_in = 0;    // of a whole page
  std::unique_ptr<Image> image;  // of a whole page that existed
  PagePart part;                 // else this, if it is not empty
  std::size_t part_at = 0;       // in the log's bytes
};

class UndoLog {
 public:
  UndoLog() { spare_images_.reserve(kSpareImages); }

  bool open() const { return depth_ != 0; }
  void Begin(std::uint32_t page_count);
  // Before a page is changed. Keeps it as it is, unless the innermost scope has it
  // already. REQUIRES: a scope is open.
  void Save(Frame* frame, bool existed) {
    if (frame->saved_in != innermost().serial) Keep(frame, existed);
  }
  // The same for a page of which only `parts` are changed now: of the many small changes
  // that make one operation, most copies of pages would be larger than what changes.
  void SaveParts(Frame* frame, std::span<const PagePart> parts) {
    if (frame->saved_in != innermost().serial) KeepParts(frame, parts);
  }
  // The innermost scope ends; what it kept goes to the one around it.
  void Commit(const PageFrames& frames);
  // The innermost scope ends. `restore` gets each page and part that it kept, the last one
  // first, and the bytes of a part. Returns the page count at its beginning.
  template <class Restore>
  std::uint32_t Undo(Restore&& restore) noexcept {
    const Entry& undone = innermost();
    for (auto page = undone.saved.rbegin(); page != undone.saved.rend(); ++page) {
      restore(*page, ByteView(parts_).subspan(page->part_at, page->part.size));
    }
    const std::uint32_t page_count = undone.page_count;
    End();
    return page_count;
  }

 private:
  struct Entry {
    std::uint64_t serial = 0;
    std::uint32_t page_count = 0;
    std::vector<SavedPage> saved;
  };
  static constexpr std::size_t kSpareImages = 16;
  // What a scope keeps of parts; then it keeps whole pages.
  static constexpr std::size_t kPartBytes = 4 * kPageSize;

  Entry& innermost() { return scopes_[depth_ - 1]; }
  void Keep(Frame* frame, bool existed);
  void KeepParts(Frame* frame, std::span<const PagePart> parts);
  void End() noexcept;

  std::vector<Entry> scopes_;  // the first depth_ are open, the others kept for their room
  std::size_t depth_ = 0;
  std::uint64_t next_serial_ = 1;
  std::vector<std::unique_ptr<SavedPage::Image>> spare_images_;
  // Parts of pages, kept by the outermost scope alone.
  Bytes parts_ = Bytes(kPartBytes);
  std::size_t parts_end_ = 0;
};

}  // namespace jet::internal
