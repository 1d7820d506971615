#include "jet/check/pages.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "jet/base/bytes.h"
#include "jet/pages/usage_map.h"

namespace jet::check {

namespace {

constexpr Ledger::OwnerId kNobody = 0, kHeaderOwner = 1;
constexpr std::string_view kMaps = "usage maps";  // one owner: tables share their pages

constexpr std::size_t kFreeBytes = 2;
constexpr std::size_t kRowCount = 12;
constexpr std::size_t kSlots = 14;

constexpr std::uint8_t kReleased = 9;  // second byte of a page whose last row is gone

constexpr PageNumber kGlobalMapPage{1};
constexpr std::uint8_t kInlineMap = 0, kMapOfBitmaps = 1;
constexpr std::size_t kMapHead = 5;     // of an inline map: type and first page
constexpr std::size_t kBitmapHead = 4;  // of a bitmap page

}  // namespace

std::string Slots::Parse(PageView page) {
  count_ = 0;
  if (page[0] != 1 || (page[1] != 1 && page[1] != kReleased)) {
    return fmt::format("is not a page of rows: it starts {:02X} {:02X}", page[0], page[1]);
  }
  const std::size_t rows = GetU16(page, kRowCount);
  if (rows > kMaxRowsOnPage) return fmt::format("claims {} rows", rows);
  const std::size_t top = kSlots + kSlotSize * rows;
  std::size_t end = kPageSize;
  for (std::size_t row = 0; row < rows; ++row) {
    slots_[row] = GetU16(page, kSlots + kSlotSize * row);
    if (start(row) > end || start(row) < top) {
      return fmt::format("has row {} at {}, outside {} to {}", row, start(row), top, end);
    }
    end = start(row);
  }
  count_ = rows;
  free_ = end - top;
  return {};
}

ByteView Slots::Bytes(PageView page, std::size_t row) {
  const std::size_t start = GetU16(page, kSlots + kSlotSize * row) & 0x1FFFU;
  const std::size_t end =
      row == 0 ? kPageSize : GetU16(page, kSlots + kSlotSize * (row - 1)) & 0x1FFFU;
  return Slice(page, start, end - start);
}

bool Slots::has_rows() const {
  for (std::size_t row = 0; row < count_; ++row) {
    if (kind(row) != SlotKind::kDeleted) return true;
  }
  return false;
}

Ledger::Ledger(Pager& pager, Report& report)
    : pager_(&pager),
      report_(&report),
      page_count_(pager.page_count()),
      owner_(page_count_, kNobody),
      names_(1),
      spare_(page_count_) {
  Claim(PageNumber{0}, Register("the file's header"), {});
}

Ledger::OwnerId Ledger::Register(std::string text, std::string_view table) {
  names_.push_back({std::move(text), std::string(table)});
  return static_cast<OwnerId>(names_.size() - 1);
}

Ledger::Claimed Ledger::Claim(PageNumber page, OwnerId owner, const Place& place) {
  if (!Exists(page)) {
    report_->Problem(place, Code::kBeyondEnd,
                     fmt::format("page {} of {} lies beyond the end of the file", page.value,
                                 names_[owner].text));
    return Claimed::kOutside;
  }
  OwnerId& current = owner_[page.value];
  if (current == owner && !spare_[page.value]) return Claimed::kAgain;
  if (current != kNobody && current != owner) {
    report_->Problem(
        {place.table, page, std::nullopt, names_[current].table}, Code::kTwoOwners,
        fmt::format("belongs to {} and to {}", names_[current].text, names_[owner].text));
    return Claimed::kForeign;
  }
  current = owner;
  spare_[page.value] = false;
  return Claimed::kNew;
}

bool Ledger::ClaimSpare(PageNumber page, OwnerId owner) {
  if (owner_[page.value] != kNobody) return owner_[page.value] == owner;
  owner_[page.value] = owner;
  spare_[page.value] = true;
  has_spare_ = true;
  return true;
}

std::optional<Ledger::Claims> Ledger::TakeClaims() {
  if (has_spare_) return std::nullopt;
  Claims claims;
  for (std::uint32_t page = 0; page < page_count_; ++page) {
    const OwnerId owner = owner_[page];
    if (owner == kNobody || owner == kHeaderOwner) continue;
    if (claims.runs.empty() || claims.runs.back().owner != owner ||
        claims.runs.back().last.value + 1 != page) {
      claims.runs.push_back({PageNumber{page}, PageNumber{page}, owner});
    }
    claims.runs.back().last.value = page;
  }
  claims.owners = std::move(names_);
  claims.map_rows = std::move(map_rows_);
  return claims;
}

bool Ledger::TakeOver(const Claims& claims) {
  for (const Claims::Run& run : claims.runs) {
    const bool maps = claims.owners[run.owner].text == kMaps;
    for (std::uint32_t page = run.first.value; page <= run.last.value; ++page) {
      const bool shared = maps && OwnerOf(PageNumber{page}) == kMaps;
      if (owner_[page] != kNobody && !shared) return false;
    }
  }
  for (const auto& [row, user] : claims.map_rows) {
    if (map_rows_.contains(row)) return false;
  }
  const auto first = static_cast<OwnerId>(names_.size());
  names_.insert(names_.end(), claims.owners.begin(), claims.owners.end());
  for (const Claims::Run& run : claims.runs) {
    std::fill(owner_.begin() + run.first.value, owner_.begin() + run.last.value + 1,
              first + run.owner);
  }
  map_rows_.insert(claims.map_rows.begin(), claims.map_rows.end());
  return true;
}

std::string_view Ledger::OwnerOf(PageNumber page) const { return names_[owner_[page.value]].text; }

std::string_view Ledger::TableOf(PageNumber page) const { return names_[owner_[page.value]].table; }

bool Ledger::ReadSlots(PageNumber page, PageView bytes, const Place& place, Slots& slots) {
  const Place here{place.table, page};
  if (std::string fault = slots.Parse(bytes); !fault.empty()) {
    report_->Problem(here, Code::kPageKind, std::move(fault));
    return false;
  }
  if (bytes[1] == kReleased) {
    // Readers pass such a page over.
    if (slots.has_rows()) {
      report_->Problem(here, Code::kReleasedPage, "is marked as released although it holds rows");
    } else {
      report_->Warning(here, Code::kReleasedPage, "is marked as released although it is in use");
    }
  }
  if (const std::size_t stated = GetU16(bytes, kFreeBytes); stated != slots.free_bytes()) {
    report_->Problem(
        here, Code::kFreeBytes,
        fmt::format("says that {} bytes are free; {} are", stated, slots.free_bytes()));
  }
  for (std::size_t row = 0; row < slots.size(); ++row) {
    if (!slots.has_unknown_flag(row)) continue;
    report_->See({place.table, page, static_cast<std::uint8_t>(row)}, Field::kSlotFlag, 1);
  }
  return true;
}

std::optional<MapPages> Ledger::ReadMap(RowId at, const Place& place, const std::string& what) {
  const Place here{place.table, at.page, at.row};
  if (!Exists(at.page) || at.page.value == 0) {
    report_->Problem(place, Exists(at.page) ? Code::kMapPlace : Code::kBeyondEnd,
                     fmt::format("the {} is said to be on page {}", what, at.page.value));
    return std::nullopt;
  }
  const PageRef page = pager_->Read(at.page);
  Slots slots;
  if (at.page == kGlobalMapPage) {
    if (place.page != kGlobalMapPage) {
      report_->Problem(place, Code::kMapPlace, fmt::format("the {} is said to be on page 1", what));
      return std::nullopt;
    }
    if (!slots.Parse(page.bytes()).empty()) return std::nullopt;  // reported by the caller
  } else {
    const std::string fault = slots.Parse(page.bytes());
    if (!fault.empty()) {
      report_->Problem(here, Code::kMapPlace,
                       fmt::format("{}, but the {} should be there", fault, what));
      return std::nullopt;
    }
    if (OwnerOf(at.page) != kMaps) {
      if (Claim(at.page, Register(std::string(kMaps)), place) == Claimed::kNew) {
        ReadSlots(at.page, page.bytes(), {{}, at.page}, slots);
        report_->See({{}, at.page}, Field::kMapPageOwner, GetU32(page.bytes(), kOwner));
        report_->See({{}, at.page}, Field::kRowPageWord8, GetU32(page.bytes(), kWord8));
      }
    }
    const std::string user = fmt::format("{} of {}", what, place.table);
    const auto [seen, is_new] = map_rows_.try_emplace(at.packed(), user);
    if (!is_new) {
      report_->Problem(here, Code::kMapShared,
                       fmt::format("is used twice: as {} and as {}", seen->second, user));
    }
  }
  if (at.row >= slots.size()) {
    report_->Problem(here, Code::kMapPlace,
                     fmt::format("does not exist, but the {} should be there", what));
    return std::nullopt;
  }
  if (slots.kind(at.row) != SlotKind::kLive) {
    report_->Problem(here, Code::kMapPlace,
                     fmt::format("is deleted or moved, but the {} should be there", what));
    return std::nullopt;
  }
  const std::size_t start = slots.start(at.row);
  return DecodeMap(Slice(page.bytes(), start, slots.end(at.row) - start), at, place, what);
}

std::optional<MapPages> Ledger::DecodeMap(ByteView row, RowId at, const Place& place,
                                          const std::string& what) {
  const Place here{place.table, at.page, at.row};
  MapPages map{PageSet(page_count_)};
  if (row.size() < kMapHead) {
    report_->Problem(here, Code::kMapForm,
                     fmt::format("the {} has only {} bytes", what, row.size()));
    return std::nullopt;
  }
  if (row[0] == kInlineMap) {
    const std::uint32_t first = GetU32(row, 1);
    if (first >= kMaxPages) {
      report_->Problem(here, Code::kMapForm,
                       fmt::format("the {} starts at page {}, behind all pages", what, first));
      return std::nullopt;
    }
    report_->See(here, Field::kMapOddStart, first % 8, what);
    report_->See(here, Field::kMapBytes, static_cast<std::int64_t>(row.size()), what);
    report_->See(here, Field::kMapOddBytes, static_cast<std::int64_t>((row.size() - kMapHead) % 4),
                 what);
    map.first = first;
    map.bytes = row.size();
    AddBits(row.subspan(kMapHead), first, map);
    return map;
  }
  if (row[0] != kMapOfBitmaps) {
    report_->Problem(here, Code::kMapForm,
                     fmt::format("the {} is of the unknown type {}", what, row[0]));
    return std::nullopt;
  }
  report_->See(here, Field::kListBytes, static_cast<std::int64_t>(row.size()), what);
  bool whole = true;
  const std::size_t entries = (row.size() - 1) / 4;
  for (std::size_t i = 0; i < entries; ++i) {
    const PageNumber bitmap{GetU32(row, 1 + 4 * i)};
    if (!bitmap) continue;
    const auto first = static_cast<std::uint32_t>(i) * kPagesPerBitmap;
    if (!AddBitmapPage(bitmap, first, here, what, map)) whole = false;
  }
  if (!whole) return std::nullopt;
  return map;
}

bool Ledger::AddBitmapPage(PageNumber bitmap, std::uint32_t first, const Place& place,
                           const std::string& what, MapPages& into) {
  if (!Exists(bitmap)) {
    report_->Problem(
        place, Code::kBeyondEnd,
        fmt::format("the {} names page {} beyond the end of the file", what, bitmap.value));
    return false;
  }
  const PageRef page = pager_->Read(bitmap);
  if (page.bytes()[0] != 5 || page.bytes()[1] != 1) {
    report_->Problem({place.table, bitmap}, Code::kPageKind,
                     fmt::format("should hold bits of the {} but starts {:02X} {:02X}", what,
                                 page.bytes()[0], page.bytes()[1]));
    return false;
  }
  report_->See({place.table, bitmap}, Field::kBitmapWord2, GetU16(page.bytes(), 2));
  const Claimed claimed =
      Claim(bitmap, Register(fmt::format("the {} of {}", what, place.table), place.table), place);
  if (claimed != Claimed::kNew) return false;
  AddBits(page.bytes().subspan(kBitmapHead), first, into);
  return true;
}

void Ledger::AddBits(ByteView bits, std::uint64_t first, MapPages& into) const {
  for (std::size_t i = 0; i < bits.size(); ++i) {
    for (unsigned left = bits[i]; left != 0; left &= left - 1) {
      const std::uint64_t page = first + 8 * i + static_cast<std::size_t>(std::countr_zero(left));
      if (page < page_count_) {
        into.pages.Add(PageNumber{static_cast<std::uint32_t>(page)});
      } else if (into.outside++ == 0) {
        into.first_outside = static_cast<std::uint32_t>(page);
      }
    }
  }
}

void Ledger::SeeFirstMark(const MapPages& map, RowId at, const Place& place,
                          const std::string& what) {
  const auto marked = map.pages.FirstFrom(0);
  if (map.bytes <= kNewMapBytes || !marked || marked->value < map.first) return;
  report_->See(At(place.table, at), Field::kMapFirstMark,
               std::int64_t{marked->value} - std::int64_t{map.first}, what);
}

void Ledger::ReadGlobalMap() {
  const Place here{{}, kGlobalMapPage};
  if (!Exists(kGlobalMapPage)) {
    report_->Problem(here, Code::kBeyondEnd, "the file ends before the map of free pages");
    return;
  }
  Claim(kGlobalMapPage, Register("the map of free pages"), here);
  const PageRef page = pager_->Read(kGlobalMapPage);
  Slots slots;
  if (!ReadSlots(kGlobalMapPage, page.bytes(), here, slots)) return;
  if (GetU32(page.bytes(), kOwner) != kGlobalMapPage.value) {
    report_->Problem(
        here, Code::kPageOwner,
        fmt::format("names page {} as owner instead of itself", GetU32(page.bytes(), kOwner)));
  }
  report_->See(here, Field::kRowPageWord8, GetU32(page.bytes(), kWord8));
  report_->See(here, Field::kGlobalRows, static_cast<std::int64_t>(slots.size()));
  free_ = ReadMap({kGlobalMapPage, 0}, here, "map of free pages");
  if (free_ && free_->bytes != 0) {
    const std::size_t words = std::max<std::size_t>(16, (page_count_ + 31) / 32);
    report_->See(here, Field::kGlobalStart, free_->first);
    report_->See(
        here, Field::kGlobalBytes,
        static_cast<std::int64_t>(free_->bytes) - static_cast<std::int64_t>(kMapHead + 4 * words));
  }
  if (slots.size() > 1) {
    const auto second = ReadMap({kGlobalMapPage, 1}, here, "second map of page 1");
    if (second && (second->outside != 0 || second->pages.FirstFrom(0))) {
      report_->Warning({{}, kGlobalMapPage, std::uint8_t{1}}, Code::kMapStray, "is not empty");
    }
  }
}

void Ledger::CompareWithFreeMap(bool complete) {
  if (!free_) {
    report_->NotChecked(At({}, kGlobalMapPage), "which pages are free");
    return;
  }
  for (auto page = free_->pages.FirstFrom(0); page;
       page = free_->pages.FirstFrom(page->value + 1)) {
    if (owner_[page->value] != kNobody) {
      report_->Problem({{}, page, std::nullopt, TableOf(*page)}, Code::kFreeInUse,
                       fmt::format("belongs to {} but is marked as free", OwnerOf(*page)));
    }
  }
  if (!complete) return;
  const auto is_lost = [this](std::uint32_t page) {
    return owner_[page] == kNobody && !free_->pages.Contains(PageNumber{page});
  };
  for (std::uint32_t page = 0; page < page_count_; ++page) {
    if (!is_lost(page)) continue;
    std::uint32_t last = page;
    while (last + 1 < page_count_ && is_lost(last + 1)) ++last;
    report_->Warning({{}, PageNumber{page}}, Code::kLostPage,
                     last == page ? std::string("belongs to nothing and is not free")
                                  : fmt::format("and the pages up to {} belong to nothing and are "
                                                "not free",
                                                last));
    page = last;
  }
}

}  // namespace jet::check
