// The atomic flush: changed pages reach the file all together or not at all,
// whatever happens meanwhile.
//
// The new images are first appended behind the last page of the file, as a tail:
//
//   head page   magic, u32 pages before, u32 pages after, u32 images
//   images      one page each, as they will stand in place (encoded)
//   trailer     per image: u32 page number, 8 x u64 checksum of the sectors of
//               the page as it stood before; then zeros; in the last 40 bytes:
//               u16 commit slot before, u16 0, u32 head page, u32 images,
//               u32 pages before, u64 checksum of all of the above, 16 bytes magic
//
// then sync; commit slot 0 of page 0 says "in the middle of a write"; sync; the
// pages go to their places; sync; the slot goes back; sync; the tail is cut off.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "jet/base/types.h"
#include "jet/storage/file.h"

namespace jet {

inline constexpr std::size_t kSectorSize = 512;
inline constexpr std::size_t kSectorsPerPage = kPageSize / kSectorSize;

struct FlushJob {
  std::uint32_t pages_before = 0;
  std::uint32_t pages_after = 0;
  std::vector<PageNumber> pages;  // ascending
  // The bytes of pages[i] as they shall stand in the file.
  std::function<void(std::size_t i, PageSpan out)> image;
};

// Throws kDiskFull, kFileTooLarge or kIo. `began` is set once old pages may have
// been touched: then the next open finishes the work. Before that, an error
// leaves the file as it was.
void FlushAtomically(File& file, const FlushJob& job, bool& began);

// A tail whose checksum is right.
struct FlushTail {
  struct Entry {
    PageNumber page;
    std::array<std::uint64_t, kSectorsPerPage> sectors_before{};
  };
  PageNumber head;
  std::uint32_t pages_before = 0;
  std::uint32_t pages_after = 0;
  std::uint16_t slot_before = 0;
  std::vector<Entry> entries;

  // Where the image of entries[i] stands.
  std::uint64_t ImageAt(std::size_t i) const {
    return (std::uint64_t{head.value} + 1 + i) * kPageSize;
  }
};

// The complete tail at the end of the file, if there is one.
std::optional<FlushTail> FindTail(File& file);
// Whether every sector in place is that of the old or of the new image: nobody
// else has worked on the file since.
bool TailFits(File& file, const FlushTail& tail);
// Puts the images in place and cuts the tail off. May be interrupted and done
// again.
void FinishFlush(File& file, const FlushTail& tail);

// The head page of a tail, complete or not, among the pages from `from` on;
// looks at no more than `max_pages` of them, and for a trailer at the end of the
// file. Returns it with the page count
// before the flush.
struct TailHead {
  PageNumber head;
  std::uint32_t pages_before = 0;
};
std::optional<TailHead> FindTailHead(File& file, PageNumber from, std::uint32_t max_pages);

}  // namespace jet
