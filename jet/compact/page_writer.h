// The pages of a file that is written anew, mostly one after the other.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "jet/base/types.h"
#include "jet/storage/file.h"

namespace jet::compact {

class PageWriter {
 public:
  // `key` is the header's: 0 for pages in clear. REQUIRES: the file is empty; it and
  // `stop` outlive the writer.
  PageWriter(File& file, std::uint32_t key, const std::atomic<bool>& stop)
      : file_(&file), key_(key), stop_(&stop) {}

  // The next page of the file, to be put later. kFileTooLarge at 2 GB; kDamaged once
  // `stop` is set.
  PageNumber Take();
  // Pages taken.
  std::uint32_t page_count() const { return page_count_; }
  // The bytes of a page, in clear. REQUIRES: it was taken.
  void Put(PageNumber page, PageView bytes);
  // Everything reaches the file. kIo where a page was taken but not put.
  void Finish();

 private:
  static constexpr std::uint32_t kWindow = 128;

  void Encode(PageNumber page, PageSpan bytes) const;
  // Writes what the window holds, and moves it to `from`.
  void MoveWindow(std::uint32_t from);
  std::span<std::uint8_t> Window(std::uint32_t slot) {
    return std::span(window_).subspan(std::size_t{slot} * kPageSize);
  }

  File* file_;
  std::uint32_t key_;
  const std::atomic<bool>* stop_;
  std::uint32_t page_count_ = 0, pages_put_ = 0;
  // Pages in file order that wait for their neighbours, as they shall stand in the file.
  Bytes window_ = Bytes(kWindow * kPageSize);
  std::vector<bool> filled_ = std::vector<bool>(kWindow);
  std::uint32_t window_from_ = 0;
};

}  // namespace jet::compact
