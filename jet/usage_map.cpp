#include "jet/usage_map.h"

#include <algorithm>
#include <bit>

#include "jet/bytes.h"
#include "jet/error.h"
#include "jet/slotted_page.h"

namespace jet {
namespace {

constexpr std::uint8_t kInline = 0;
constexpr std::uint8_t kReference = 1;
constexpr std::size_t kInlineBits = 5;  // where the bitmap starts in the row
constexpr std::size_t kBitmapBits = 4;  // ... and on a bitmap page
constexpr std::uint16_t kBitmapPageType = 0x0105;
constexpr std::size_t kReferenceEntries = 17;
constexpr std::uint32_t kWindow = 512;  // pages of a free-space map
constexpr PageNumber kGlobalPage = kGlobalMap.page;

bool TestBit(ByteView bits, std::uint32_t bit) { return (bits[bit / 8] >> (bit % 8) & 1) != 0; }

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

// A map's row in hand.
class MapRow {
 public:
  MapRow(Pager& pager, RowId at) : pager_(pager), at_(at), page_(pager.Read(at.page)) {
    const RowPage rows(at.page, page_.bytes());
    if (rows.kind(at.row) != SlotKind::kLive) Bad("a usage map's row is not live");
    row_ = rows.row(at.row);
    if (row_.size() < kInlineBits || row_[0] > kReference) Bad("not a usage map");
    if (is_inline() && start() >= kMaxPages) Bad("a usage map begins behind all pages");
  }

  bool is_inline() const { return row_[0] == kInline; }
  std::uint32_t start() const { return GetU32(row_, 1); }
  ByteView bits() const { return row_.subspan(kInlineBits); }
  std::uint32_t bit_count() const { return static_cast<std::uint32_t>(bits().size() * 8); }
  bool Covers(PageNumber page) const {
    return page.value >= start() && page.value - start() < bit_count();
  }

  std::size_t entries() const { return std::min((row_.size() - 1) / 4, kMaxEntries); }
  PageNumber entry(std::size_t k) const { return {GetU32(row_, 1 + 4 * k)}; }
  PageRef Bitmap(std::size_t k) const {
    PageRef page = pager_.Read(entry(k));
    if (GetU16(page.bytes(), 0) != kBitmapPageType) {
      throw Error::Damaged(entry(k), "not a bitmap page of a usage map");
    }
    return page;
  }

  // The same bytes, open for editing.
  std::span<std::uint8_t> Edit() {
    const std::size_t offset = static_cast<std::size_t>(row_.data() - page_.bytes().data());
    return pager_.Edit(at_.page).subspan(offset, row_.size());
  }
  bool Replace(ByteView bytes) {
    return ReplaceRow(at_.page, pager_.Edit(at_.page), at_.row, bytes, SlotKind::kLive);
  }
  [[noreturn]] void Bad(const char* why) const { throw Error::Damaged(at_.page, why); }

 private:
  static constexpr std::size_t kMaxEntries = 64;
  Pager& pager_;
  RowId at_;
  PageRef page_;
  ByteView row_;
};

// The end of the pages that the map has a bit for.
std::uint32_t PagesCovered(const MapRow& map) {
  if (map.is_inline()) return map.start() + map.bit_count();
  std::size_t k = map.entries();
  while (k > 0 && !map.entry(k - 1)) --k;
  return static_cast<std::uint32_t>(k) * kPagesPerBitmap;
}

ByteView BitmapBits(PageView page) { return page.subspan(kBitmapBits); }

std::span<std::uint8_t> InitBitmap(PageSpan page) {
  PutU16(page, 0, kBitmapPageType);
  return page.subspan(kBitmapBits);
}

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
  row[0] = kReference;
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

PageNumber PageAllocator::Allocate() { return Take({}); }

PageNumber PageAllocator::AllocateAbove(PageNumber floor) { return Take({floor.value + 1}); }

PageNumber PageAllocator::Take(PageNumber from) {
  if (search_epoch_ != pager_->epoch()) {
    search_epoch_ = pager_->epoch();
    search_from_ = 0;
  }
  TakeCensus();
  UsageMap global(*pager_, kGlobalMap);
  const PageNumber start{std::max({from.value, search_from_, trusted_from_})};
  std::optional<PageNumber> page = global.FirstFrom(start);
  // What no table has behind the end is free, whatever the map says: a page that
  // it marks far behind would make a file of gigabytes.
  const PageNumber end{std::max(start.value, pager_->page_count())};
  if (page ? *page > end : end.value < PagesCovered(MapRow(*pager_, kGlobalMap))) page = end;
  // Each round adds pages to the map, and the file's limit bounds the rounds.
  while (!page) {
    Extend();
    page = global.FirstFrom(start);
  }
  if (page->value >= kMaxPages) {
    throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
  }
  RequireUnused(*page);
  global.Remove(*page);
  pager_->EditNew(*page);
  if (start.value == search_from_) search_from_ = page->value + 1;
  return *page;
}

void PageAllocator::TakeCensus() {
  if (use_ || !census_) return;
  use_ = census_();
  file_limit_ = use_->taken.FirstFrom(pager_->page_count());
  if (!use_->complete) trusted_from_ = pager_->page_count();
}

void PageAllocator::RequireUnused(PageNumber page) {
  TakeCensus();
  if (use_ && use_->taken.Contains(page)) {
    throw Error::Damaged(page, "a page in use is marked free");
  }
  if (file_limit_ && page > *file_limit_) {
    throw Error::Damaged(*file_limit_, "a page in use lies behind the end of the file");
  }
}

// More free pages behind those that the map knows.
void PageAllocator::Extend() {
  MapRow map(*pager_, kGlobalMap);
  if (!map.is_inline()) {
    ExtendList();
    return;
  }
  const std::uint32_t covered = map.start() + map.bit_count();
  if (covered >= kMaxPages) {
    throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
  }
  const ByteView bits = map.bits();
  Bytes row(kInlineBits);
  PutU32(row, 1, map.start());
  AddBytes(row, bits);
  AddU32(row, 0xFFFFFFFF);
  if (covered + 32 <= kPagesPerBitmap && map.Replace(row)) return;

  // The bitmap page that takes over lies behind everything that is taken.
  const PageNumber bitmap{std::max(covered, pager_->page_count())};
  if (map.start() != 0 || bitmap.value >= kPagesPerBitmap) {
    map.Bad("the map of free pages does not cover the file");
  }
  const Bytes old_bits(bits.begin(), bits.end());
  Bytes list(1 + 4 * kReferenceEntries);
  list[0] = kReference;
  PutU32(list, 1, bitmap.value);
  RequireUnused(bitmap);
  if (!map.Replace(list)) map.Bad("no room for the map of free pages");
  const std::span<std::uint8_t> new_bits = InitBitmap(pager_->EditNew(bitmap));
  PutBytes(new_bits, 0, old_bits);
  for (std::uint32_t i = covered; i < kPagesPerBitmap; ++i) {
    PutBit(new_bits, i, i > bitmap.value);
  }
}

void PageAllocator::ExtendList() {
  MapRow map(*pager_, kGlobalMap);
  for (std::size_t k = 0; k < map.entries(); ++k) {
    if (map.entry(k)) continue;
    const std::uint32_t base = static_cast<std::uint32_t>(k) * kPagesPerBitmap;
    const PageNumber bitmap{std::max(base, pager_->page_count())};
    if (bitmap.value >= kMaxPages) break;
    if (bitmap.value - base >= kPagesPerBitmap) {
      map.Bad("the map of free pages does not cover the file");
    }
    RequireUnused(bitmap);
    PutU32(map.Edit(), 1 + 4 * k, bitmap.value);
    const std::span<std::uint8_t> bits = InitBitmap(pager_->EditNew(bitmap));
    for (std::uint32_t i = 0; i < kPagesPerBitmap; ++i) {
      PutBit(bits, i, base + i > bitmap.value);
    }
    return;
  }
  throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
}

void PageAllocator::Free(PageNumber page, RowId owned_map) {
  TakeCensus();  // as long as both maps have it
  if (owned_map) UsageMap(*pager_, owned_map).Remove(page);
  if (page.value >= pager_->page_count() || page.value <= kGlobalPage.value) {
    throw Error::Damaged(page, "a page that cannot be freed");
  }
  UsageMap global(*pager_, kGlobalMap);
  if (global.Contains(page)) throw Error::Damaged(page, "a page in use is marked free");
  if (use_ && use_->taken_twice.Contains(page)) return;
  global.Add(page, *this);
  if (use_) use_->taken.Remove(page);
  search_from_ = std::min(search_from_, page.value);
}

bool PageAllocator::IsFree(PageNumber page) const {
  return UsageMap(*pager_, kGlobalMap).Contains(page);
}

PageNumber PageAllocator::HighestTaken() const {
  const UsageMap global(*pager_, kGlobalMap);
  std::uint32_t page = std::min(pager_->page_count(), PagesCovered(MapRow(*pager_, kGlobalMap)));
  while (page > 0 && global.Contains({page - 1})) --page;
  return {page == 0 ? 0 : page - 1};
}

RowId PageAllocator::NewMap(PageNumber page_of_maps) {
  const Bytes row(kNewMapBytes);
  if (page_of_maps) {
    const PageRef page = pager_->Read(page_of_maps);
    if (RowPage::IsRowPage(page.bytes()) && FitsNewRow(page_of_maps, page.bytes(), row.size())) {
      return {page_of_maps, AddRow(page_of_maps, pager_->Edit(page_of_maps), row, SlotKind::kLive)};
    }
  }
  const PageNumber fresh = Allocate();
  const PageSpan page = pager_->Edit(fresh);
  InitRowPage(page, 0);
  return {fresh, AddRow(fresh, page, row, SlotKind::kLive)};
}

}  // namespace jet
