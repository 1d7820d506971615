#include "jet/usage_map.h"

#include <algorithm>

#include "jet/error.h"
#include "jet/map_row.h"
#include "jet/page_allocator.h"

namespace jet {
namespace {

constexpr std::uint32_t kWindow = 512;  // pages of a free-space map

}  // namespace

bool UsageMap::Contains(PageNumber page) const {
  const MapRow map(*pager_, at_);
  if (map.is_inline()) return map.Covers(page) && TestBit(map.bits(), page.value - map.start());
  const std::size_t k = page.value / kPagesPerBitmap;
  if (k >= map.entries() || !map.entry(k)) return false;
  const PageRef bitmap = map.Bitmap(k);
  return TestBit(BitmapBits(bitmap.bytes()), page.value % kPagesPerBitmap);
}

std::optional<PageNumber> UsageMap::FirstFrom(PageNumber from) const {
  const MapRow map(*pager_, at_);
  if (map.is_inline()) {
    const std::uint32_t start = map.start();
    const auto bit = FirstBit(map.bits(), from.value > start ? from.value - start : 0);
    if (!bit) return std::nullopt;
    return PageNumber{start + *bit};
  }
  for (std::size_t k = from.value / kPagesPerBitmap; k < map.entries(); ++k) {
    if (!map.entry(k)) continue;
    const std::uint32_t base = static_cast<std::uint32_t>(k) * kPagesPerBitmap;
    const PageRef bitmap = map.Bitmap(k);
    const auto bit =
        FirstBit(BitmapBits(bitmap.bytes()), from.value > base ? from.value - base : 0);
    if (bit) return PageNumber{base + *bit};
  }
  return std::nullopt;
}

std::optional<PageNumber> UsageMap::LastUpTo(PageNumber limit) const {
  const MapRow map(*pager_, at_);
  if (map.is_inline()) {
    if (limit.value < map.start()) return std::nullopt;
    const auto bit = LastBit(map.bits(), limit.value - map.start());
    if (!bit) return std::nullopt;
    return PageNumber{map.start() + *bit};
  }
  for (std::size_t k = std::min<std::size_t>(map.entries(), limit.value / kPagesPerBitmap + 1);
       k-- > 0;) {
    if (!map.entry(k)) continue;
    const std::uint32_t base = static_cast<std::uint32_t>(k) * kPagesPerBitmap;
    const PageRef bitmap = map.Bitmap(k);
    if (const auto bit = LastBit(BitmapBits(bitmap.bytes()), limit.value - base)) {
      return PageNumber{base + *bit};
    }
  }
  return std::nullopt;
}

std::vector<PageNumber> UsageMap::BitmapPages() const {
  std::vector<PageNumber> pages;
  const MapRow map(*pager_, at_);
  if (map.is_inline()) return pages;
  for (std::size_t k = 0; k < map.entries(); ++k) {
    if (map.entry(k)) pages.push_back(map.entry(k));
  }
  return pages;
}

void UsageMap::AddTo(PageUse& use) const {
  const MapRow map(*pager_, at_);
  if (map.is_inline()) {
    use.taken.AddBits({map.start()}, map.bits(), use.taken_twice);
    return;
  }
  for (std::size_t k = 0; k < map.entries(); ++k) {
    if (map.entry(k)) use.taken.Add(map.entry(k));
  }
  for (std::size_t k = 0; k < map.entries(); ++k) {
    if (!map.entry(k)) continue;
    const PageRef bitmap = map.Bitmap(k);
    use.taken.AddBits({static_cast<std::uint32_t>(k) * kPagesPerBitmap}, BitmapBits(bitmap.bytes()),
                      use.taken_twice);
  }
}

void UsageMap::Add(PageNumber page, PageAllocator& allocator) {
  MapRow map(*pager_, at_);
  if (map.is_inline()) {
    if (map.Covers(page)) {
      PutBit(map.Edit().subspan(kInlineBits), page.value - map.start(), true);
      return;
    }
    if (!GrowInline(page)) TurnIntoList(allocator);
    Add(page, allocator);
    return;
  }
  const std::size_t k = page.value / kPagesPerBitmap;
  if (k >= map.entries()) map.Bad("a usage map is too short for the file");
  PageNumber bitmap = map.entry(k);
  if (!bitmap) {
    bitmap = allocator.Allocate();
    InitBitmap(pager_->Edit(bitmap));
    PutU32(MapRow(*pager_, at_).Edit(), 1 + 4 * k, bitmap.value);
  } else {
    map.Bitmap(k);
  }
  PutBit(pager_->Edit(bitmap).subspan(kBitmapBits), page.value % kPagesPerBitmap, true);
}

// Makes an inline map reach `page`, in steps of 32 pages. A page below the
// window moves its start down.
bool UsageMap::GrowInline(PageNumber page) {
  MapRow map(*pager_, at_);
  const std::uint32_t start = std::min(map.start(), page.value - page.value % kWindow);
  const std::uint32_t end = std::max(page.value + 1, map.start() + map.bit_count());
  const std::size_t bitmap_bytes = std::size_t{4} * ((end - start + 31) / 32);
  if (kInlineBits + bitmap_bytes > kPageSize || (map.start() - start) % 8 != 0) return false;
  Bytes row(kInlineBits + bitmap_bytes);
  PutU32(row, 1, start);
  PutBytes(row, kInlineBits + (map.start() - start) / 8, map.bits());
  return map.Replace(row);
}

void UsageMap::TurnIntoList(PageAllocator& allocator) {
  std::vector<PageNumber> marked;
  for (auto page = FirstFrom({}); page; page = FirstFrom({page->value + 1})) {
    marked.push_back(*page);
  }
  Bytes row(1 + 4 * kReferenceEntries);
  row[0] = kReferenceMap;
  MapRow map(*pager_, at_);
  if (!map.Replace(row)) map.Bad("no room for a usage map");
  for (const PageNumber page : marked) Add(page, allocator);
}

void UsageMap::Remove(PageNumber page) {
  MapRow map(*pager_, at_);
  if (map.is_inline()) {
    if (map.Covers(page)) PutBit(map.Edit().subspan(kInlineBits), page.value - map.start(), false);
    return;
  }
  const std::size_t k = page.value / kPagesPerBitmap;
  if (k >= map.entries() || !map.entry(k)) return;
  map.Bitmap(k);
  PutBit(pager_->Edit(map.entry(k)).subspan(kBitmapBits), page.value % kPagesPerBitmap, false);
}

void UsageMap::MarkOnly(PageNumber page, PageAllocator& allocator) {
  MapRow map(*pager_, at_);
  if (!map.is_inline()) {
    for (auto old = FirstFrom({}); old; old = FirstFrom({old->value + 1})) Remove(*old);
    Add(page, allocator);
    return;
  }
  const std::span<std::uint8_t> row = map.Edit();
  std::fill(row.begin() + kInlineBits, row.end(), std::uint8_t{0});
  if (!map.Covers(page)) PutU32(row, 1, page.value - page.value % kWindow);
  if (!map.Covers(page)) map.Bad("a free-space map is too short");
  PutBit(row.subspan(kInlineBits), page.value - map.start(), true);
}

}  // namespace jet
