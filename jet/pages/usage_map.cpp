#include "jet/pages/usage_map.h"

#include <algorithm>

#include "jet/base/error.h"
#include "jet/pages/map_row.h"

namespace jet {

bool UsageMap::Contains(PageNumber page) const {
  const MapRow map(*pager_, at_);
  if (map.is_inline()) return map.Covers(page) && TestBit(map.bits(), page.value - map.start());
  const std::size_t k = map.EntryOf(page);
  if (k >= map.entries() || !map.entry(k)) return false;
  const PageRef bitmap = map.Bitmap(k);
  return TestBit(map.BitsOf(bitmap), page.value - map.base(k));
}

std::optional<PageNumber> UsageMap::FirstFrom(PageNumber from) const {
  const MapRow map(*pager_, at_);
  if (map.is_inline()) {
    const std::uint32_t start = map.start();
    const auto bit = FirstBit(map.bits(), from.value > start ? from.value - start : 0);
    if (!bit) return std::nullopt;
    return PageNumber{start + *bit};
  }
  for (std::size_t k = map.EntryOf(from); k < map.entries(); ++k) {
    if (!map.entry(k)) continue;
    const std::uint32_t base = map.base(k);
    const PageRef bitmap = map.Bitmap(k);
    const auto bit = FirstBit(map.BitsOf(bitmap), from.value > base ? from.value - base : 0);
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
  for (std::size_t k = std::min<std::size_t>(map.entries(), map.EntryOf(limit) + 1); k-- > 0;) {
    if (!map.entry(k)) continue;
    const std::uint32_t base = map.base(k);
    const PageRef bitmap = map.Bitmap(k);
    if (const auto bit = LastBit(map.BitsOf(bitmap), limit.value - base)) {
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
    use.taken.AddBits({map.base(k)}, map.BitsOf(bitmap), use.taken_twice);
  }
}

// As the engine of the format does it, whichever way the page lies: what else its maps
// would look like, no other program has met.
void UsageMap::Add(PageNumber page, PageSource& pages) {
  MapRow map(*pager_, at_);
  if (!map.is_inline()) {
    AddToList(page, pages);
    return;
  }
  if (!map.Covers(page) && !FirstFrom({})) PutU32(map.Edit(), 1, page.value - page.value % 8);
  if (map.Covers(page)) {
    PutBit(map.Edit().subspan(kInlineBits), page.value - map.start(), true);
    return;
  }
  const bool behind = page.value >= map.start();
  if (!behind || !map.Stretch(map.start(), page.value)) TurnIntoList(pages);
  Add(page, pages);
}

void UsageMap::AddToList(PageNumber page, PageSource& pages) {
  MapRow map(*pager_, at_);
  const std::size_t k = map.EntryOf(page);
  if (k >= map.entries()) map.Bad("a usage map is too short for the file");
  PageNumber bitmap = map.entry(k);
  if (!bitmap) {
    bitmap = pages.Allocate();
    InitBitmap(pager_->Edit(bitmap));
    PutU32(MapRow(*pager_, at_).Edit(), 1 + 4 * k, bitmap.value);
  } else {
    map.Bitmap(k);
  }
  PutBit(pager_->Edit(bitmap).subspan(kBitmapBits), page.value - map.base(k), true);
}

void UsageMap::TurnIntoList(PageSource& pages) {
  std::vector<PageNumber> marked;
  for (auto page = FirstFrom({}); page; page = FirstFrom({page->value + 1})) {
    marked.push_back(*page);
  }
  Bytes row(kListBytes);
  row[0] = kReferenceMap;
  MapRow map(*pager_, at_);
  if (!map.Replace(row)) map.Bad("no room for a usage map");
  for (const PageNumber page : marked) AddToList(page, pages);
}

void UsageMap::Remove(PageNumber page) {
  MapRow map(*pager_, at_);
  if (map.is_inline()) {
    if (map.Covers(page)) PutBit(map.Edit().subspan(kInlineBits), page.value - map.start(), false);
    return;
  }
  const std::size_t k = map.EntryOf(page);
  if (k >= map.entries() || !map.entry(k)) return;
  map.Bitmap(k);
  PutBit(pager_->Edit(map.entry(k)).subspan(kBitmapBits), page.value - map.base(k), false);
}

// Cleared first: a map of one page moves with it, and never grows.
void UsageMap::MarkOnly(PageNumber page, PageSource& pages) {
  MapRow map(*pager_, at_);
  if (map.is_inline()) {
    std::ranges::fill(map.Edit().subspan(kInlineBits), std::uint8_t{0});
  } else {
    for (auto old = FirstFrom({}); old; old = FirstFrom({old->value + 1})) Remove(*old);
  }
  Add(page, pages);
}

}  // namespace jet
