// The row of a usage map in hand, and the bits in it and on its bitmap pages: what
// the maps and the allocator of pages share.
#pragma once

#include <algorithm>
#include <optional>

#include "jet/base/bytes.h"
#include "jet/storage/pager.h"

namespace jet {

inline constexpr std::uint8_t kInlineMap = 0;
inline constexpr std::uint8_t kReferenceMap = 1;
inline constexpr std::size_t kInlineBits = 5;  // where the bitmap starts in the row
inline constexpr std::size_t kBitmapBits = 4;  // ... and on a bitmap page
inline constexpr std::uint16_t kBitmapPageType = 0x0105;
inline constexpr std::size_t kListBytes = 1 + 4 * 17;  // 17 bitmap pages

inline bool TestBit(ByteView bits, std::uint32_t bit) {
  return (bits[bit / 8] >> (bit % 8) & 1) != 0;
}
void PutBit(std::span<std::uint8_t> bits, std::uint32_t bit, bool on);
std::optional<std::uint32_t> FirstBit(ByteView bits, std::uint32_t from);
// The highest set bit up to `limit`.
std::optional<std::uint32_t> LastBit(ByteView bits, std::uint32_t limit);

class MapRow {
 public:
  MapRow(Pager& pager, RowId at);

  bool is_inline() const { return row_[0] == kInlineMap; }
  std::uint32_t start() const { return GetU32(row_, 1); }
  ByteView bits() const { return row_.subspan(kInlineBits); }
  std::uint32_t bit_count() const { return static_cast<std::uint32_t>(bits().size() * 8); }
  bool Covers(PageNumber page) const {
    return page.value >= start() && page.value - start() < bit_count();
  }

  std::size_t entries() const { return std::min((row_.size() - 1) / 4, kMaxEntries); }
  PageNumber entry(std::size_t k) const { return {GetU32(row_, 1 + 4 * k)}; }
  PageRef Bitmap(std::size_t k) const;
  std::uint32_t pages_per_bitmap() const { return pager_.pages_per_bitmap(); }
  // The first page of entry k.
  std::uint32_t base(std::size_t k) const {
    return static_cast<std::uint32_t>(k) * pages_per_bitmap();
  }
  std::size_t EntryOf(PageNumber page) const { return page.value / pages_per_bitmap(); }
  ByteView BitsOf(const PageRef& bitmap) const {
    return bitmap.bytes().subspan(kBitmapBits, pages_per_bitmap() / 8);
  }

  // The same bytes, open for editing.
  std::span<std::uint8_t> Edit();
  // False, and nothing changed, if the page of maps has no room; else the map must be
  // taken in hand anew.
  bool Replace(ByteView bytes);
  // Makes an inline map begin at `first`, no later than now, and reach `last`, no
  // earlier. False as above.
  bool Stretch(std::uint32_t first, std::uint32_t last);
  [[noreturn]] void Bad(const char* why) const;

 private:
  static constexpr std::size_t kMaxEntries = 64;
  Pager& pager_;
  RowId at_;
  PageRef page_;
  ByteView row_;
};

// The end of the pages that the map has a bit for.
std::uint32_t PagesCovered(const MapRow& map);

std::span<std::uint8_t> InitBitmap(PageSpan page);

}  // namespace jet
