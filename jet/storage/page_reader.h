// How pages come out of the file: in clear, several at a time where they are
// asked for one after the other. Only the pager uses this.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "jet/base/types.h"
#include "jet/storage/file.h"

namespace jet::internal {

class PageReader {
 public:
  // REQUIRES: `file` outlives the reader.
  explicit PageReader(File& file) : file_(&file) {}

  // 0: pages in clear.
  void SetKey(std::uint32_t key) { key_ = key; }
  // From now on the page is read from this place, counted in bytes.
  void Redirect(PageNumber page, std::uint64_t at) { redirected_[page] = at; }

  // One page, of a file of `file_pages`. Returns how many pages were read from the
  // file for it: none if it was read ahead.
  std::uint32_t Read(PageNumber page, std::uint32_t file_pages, PageSpan into);
  // The page in its place and nothing else.
  void ReadOne(PageNumber page, PageSpan into) const;
  // Pages were asked for in order for some time.
  bool scanning() const;
  // Forgets what was read ahead. The file may change after it.
  void DropAhead() { ahead_pages_ = 0; }

  // Both ways. Pages that were never written may stand as plain zeros.
  void Cipher(PageNumber page, PageSpan bytes) const;

 private:
  std::uint32_t ReadStored(PageNumber page, std::uint32_t file_pages, PageSpan into);

  File* file_;
  std::uint32_t key_ = 0;
  // Pages whose newest image stands in the tail of an interrupted flush.
  std::unordered_map<PageNumber, std::uint64_t> redirected_;
  // What the file holds from ahead_from_ on, as stored.
  Bytes ahead_;
  PageNumber ahead_from_;
  std::uint32_t ahead_pages_ = 0;
  PageNumber last_miss_;
  std::uint32_t misses_in_order_ = 0;
};

}  // namespace jet::internal
