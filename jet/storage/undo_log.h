// The pages as they were before the open scopes changed them. Only the pager
// uses this.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "jet/base/types.h"
#include "jet/storage/page_frames.h"

namespace jet::internal {

// The state of a page when a scope first changed it.
struct SavedPage {
  using Image = std::array<std::uint8_t, kPageSize>;
  PageNumber number;
  bool existed = true;  // else it was new: undo forgets it
  bool changed = false;
  std::uint64_t saved_in = 0;
  std::unique_ptr<Image> image;  // of pages that existed
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
  // The innermost scope ends; what it kept goes to the one around it.
  void Commit(const PageFrames& frames);
  // The innermost scope ends. `restore` gets each page that it kept, the last one
  // first. Returns the page count at its beginning.
  template <class Restore>
  std::uint32_t Undo(Restore&& restore) noexcept {
    const Entry& undone = innermost();
    for (auto page = undone.saved.rbegin(); page != undone.saved.rend(); ++page) restore(*page);
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

  Entry& innermost() { return scopes_[depth_ - 1]; }
  void Keep(Frame* frame, bool existed);
  void End() noexcept;

  std::vector<Entry> scopes_;  // the first depth_ are open, the others kept for their room
  std::size_t depth_ = 0;
  std::uint64_t next_serial_ = 1;
  std::vector<std::unique_ptr<SavedPage::Image>> spare_images_;
};

}  // namespace jet::internal
