#include "jet/pages/map_row.h"

#include <bit>

#include "jet/base/error.h"
#include "jet/pages/slotted_page.h"

namespace jet {

void PutBit(std::span<std::uint8_t> bits, std::uint32_t bit, bool on) {
  const auto mask = static_cast<std::uint8_t>(1u << (bit % 8));
  if (on) {
    bits[bit / 8] = static_cast<std::uint8_t>(bits[bit / 8] | mask);
  } else {
    bits[bit / 8] = static_cast<std::uint8_t>(bits[bit / 8] & ~mask);
  }
}

std::optional<std::uint32_t> FirstBit(ByteView bits, std::uint32_t from) {
  constexpr std::size_t kWordBytes = sizeof(std::uint64_t);
  for (std::size_t at = from / 8; at < bits.size(); ++at) {
    // Most of a large map is clear.
    while (at + kWordBytes < bits.size() && GetU64(bits, at) == 0) at += kWordBytes;
    unsigned byte = bits[at];
    if (at == from / 8) byte &= 0xFFu << (from % 8);
    if (byte != 0) {
      return static_cast<std::uint32_t>(at * 8) +
             static_cast<std::uint32_t>(std::countr_zero(byte));
    }
  }
  return std::nullopt;
}

// The highest set bit up to `limit`.
std::optional<std::uint32_t> LastBit(ByteView bits, std::uint32_t limit) {
  for (std::size_t at = std::min<std::size_t>(bits.size(), limit / 8 + std::size_t{1}); at-- > 0;) {
    unsigned byte = bits[at];
    if (at == limit / 8) byte &= 0xFFu >> (7 - limit % 8);
    if (byte != 0) {
      return static_cast<std::uint32_t>(at * 8 + std::bit_width(byte) - 1);
    }
  }
  return std::nullopt;
}

MapRow::MapRow(Pager& pager, RowId at) : pager_(pager), at_(at), page_(pager.Read(at.page)) {
  const RowPage rows(at.page, page_.bytes());
  if (rows.kind(at.row) != SlotKind::kLive) Bad("a usage map's row is not live");
  row_ = rows.row(at.row);
  if (row_.size() < kInlineBits || row_[0] > kReferenceMap) Bad("not a usage map");
  if (is_inline() && start() >= kMaxPages) Bad("a usage map begins behind all pages");
}

PageRef MapRow::Bitmap(std::size_t k) const {
  PageRef page = pager_.Read(entry(k));
  if (GetU16(page.bytes(), 0) != kBitmapPageType) {
    throw Error::Damaged(entry(k), "not a bitmap page of a usage map");
  }
  return page;
}

std::span<std::uint8_t> MapRow::Edit() {
  const std::size_t offset = static_cast<std::size_t>(row_.data() - page_.bytes().data());
  return pager_.Edit(at_.page).subspan(offset, row_.size());
}

bool MapRow::Replace(ByteView bytes) {
  return ReplaceRow(at_.page, pager_.Edit(at_.page), at_.row, bytes, SlotKind::kLive);
}

bool MapRow::Stretch(std::uint32_t first, std::uint32_t last) {
  const std::size_t words = (std::size_t{last} - first) / 32 + 1;
  const std::size_t shift = start() - first;
  const std::size_t bitmap_bytes = std::max(4 * words, shift / 8 + bits().size());
  if (shift % 8 != 0 || kInlineBits + bitmap_bytes > kPageSize) return false;
  Bytes row(kInlineBits + bitmap_bytes);
  PutU32(row, 1, first);
  PutBytes(row, kInlineBits + shift / 8, bits());
  return Replace(row);
}

void MapRow::Bad(const char* why) const { throw Error::Damaged(at_.page, why); }

std::uint32_t PagesCovered(const MapRow& map) {
  if (map.is_inline()) return map.start() + map.bit_count();
  std::size_t k = map.entries();
  while (k > 0 && !map.entry(k - 1)) --k;
  return map.base(k);
}

std::span<std::uint8_t> InitBitmap(PageSpan page) {
  PutU16(page, 0, kBitmapPageType);
  return page.subspan(kBitmapBits);
}

}  // namespace jet
