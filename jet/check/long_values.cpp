#include "jet/check/long_values.h"

#include <fmt/format.h>

#include "jet/base/bytes.h"
#include "jet/check/rows.h"

namespace jet::check {

namespace {

constexpr std::size_t kStamp = 8;
constexpr std::uint32_t kLengthBits = 0x3FFF'FFFF, kKindBits = 0xC000'0000;
constexpr std::uint32_t kInlineBits = 0x8000'0000, kSingleBits = 0x4000'0000;

Fault TextFault(const TextScan& scan, bool is_memo) {
  return {Code::kFieldForm, is_memo ? scan.Fault() : std::string()};
}

// That are not deleted.
std::int64_t CountRows(PageView page) {
  Slots slots;
  slots.Parse(page);
  std::int64_t count = 0;
  for (std::size_t row = 0; row < slots.size(); ++row) {
    if (slots.kind(row) != SlotKind::kDeleted) ++count;
  }
  return count;
}

template <class... Args>
Fault Malformed(fmt::format_string<Args...> text, Args&&... args) {
  return {Code::kLongValueForm, fmt::format(text, std::forward<Args>(args)...)};
}

}  // namespace

LongValues::LongValues(const Context& context, std::string_view table, const TableDef& def)
    : context_(&context), table_(table), def_(&def), columns_(def.columns.size()) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].is_long_value = IsLongValue(def.columns[i].type);
    columns_[i].has_map = static_cast<bool>(def.columns[i].owned_map);
  }
}

std::string LongValues::PlaceText(std::size_t ordinal) const {
  return fmt::format("the long values of {}.{}", table_, def_->columns[ordinal].name);
}

void LongValues::ReadMaps() {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!columns_[i].is_long_value) continue;
    columns_[i].owner = context_->ledger.Register(PlaceText(i), table_);
    if (columns_[i].has_map) ReadColumnMaps(i);
  }
}

void LongValues::ReadColumnMaps(std::size_t ordinal) {
  const ColumnDef& def = def_->columns[ordinal];
  const Place here = At(table_, def_->page);
  Column& column = columns_[ordinal];
  column.owned = context_->ledger.ReadMap(def.owned_map, here,
                                          fmt::format("map of the pages of column {}", def.name));
  if (!column.owned) return;
  if (column.owned->outside != 0) {
    context_->report.Problem(At(table_, def.owned_map), Code::kBeyondEnd,
                             fmt::format("{} include page {} beyond the end of the file",
                                         PlaceText(ordinal), column.owned->first_outside));
  }
  if (def.free_map.packed() == 0) {
    context_->report.Warning(here, Code::kMapMissing,
                             fmt::format("column {} has no map of free space", def.name));
    return;
  }
  const auto free = context_->ledger.ReadMap(
      def.free_map, here, fmt::format("map of the free space of column {}", def.name));
  if (!free) return;
  if (free->outside != 0) {
    context_->report.Problem(At(table_, def.free_map), Code::kBeyondEnd,
                             fmt::format("marks page {} beyond the end of the file as having room",
                                         free->first_outside));
  }
  if (const auto stray = free->pages.FirstMissingIn(column.owned->pages)) {
    context_->report.Warning(At(table_, def.free_map), Code::kMapStray,
                             fmt::format("marks page {}, which is not in the map of the pages of "
                                         "column {}",
                                         stray->value, def.name));
  }
}

LongValues::Page LongValues::CheckPage(const Column& column, PageNumber page, PageView bytes) {
  Page checked;
  const Place here = At(table_, page);
  const std::string_view owner_text = context_->ledger.TextOf(column.owner);
  Slots slots;
  if (std::string fault = slots.Parse(bytes); !fault.empty()) {
    context_->report.Problem(here, Code::kPageKind,
                             fmt::format("{}, but should be one of {}", fault, owner_text));
    return checked;
  }
  if (const std::uint32_t owner = GetU32(bytes, kOwner); owner != kLvalOwner) {
    context_->report.Problem(
        here, Code::kPageOwner,
        fmt::format("names {:X} as owner, but should be one of {}", owner, owner_text));
    return checked;
  }
  if (context_->ledger.Claim(page, column.owner, here) != Ledger::Claimed::kNew) return checked;
  checked.usable = context_->ledger.ReadSlots(page, bytes, here, slots);
  for (std::size_t row = 0; row < slots.size(); ++row) {
    if (slots.kind(row) == SlotKind::kLive) {
      checked.present[row / 64] |= std::uint64_t{1} << (row % 64);
    } else if (slots.kind(row) != SlotKind::kDeleted) {
      context_->report.Warning({table_, page, static_cast<std::uint8_t>(row)}, Code::kLongValueForm,
                               "is marked as moved, which long values cannot be");
    }
  }
  return checked;
}

Fault LongValues::Take(Column& column, RowId at, PageRef& page, ByteView& bytes) {
  if (!context_->ledger.Exists(at.page) || !at.page) {
    return {Code::kBeyondEnd,
            fmt::format("points to page {}, which does not exist", at.page.value)};
  }
  if (column.owned && !column.owned->pages.Contains(at.page)) {
    return Malformed("points to page {}, which is not in the column's map", at.page.value);
  }
  page = context_->pager.Read(at.page);
  const auto [found, is_new] = column.pages.try_emplace(at.page.value);
  Page& state = found->second;
  if (is_new) state = CheckPage(column, at.page, page.bytes());
  if (!state.usable) {
    return Malformed("points to page {}, which is not a page of its column", at.page.value);
  }
  const std::uint64_t bit = std::uint64_t{1} << (at.row % 64);
  if ((state.present[at.row / 64] & bit) == 0) {
    return Malformed("points to row {} of page {}, which is not there", at.row, at.page.value);
  }
  if ((state.used[at.row / 64] & bit) != 0) {
    return Malformed("points to row {} of page {}, which is in use already", at.row, at.page.value);
  }
  state.used[at.row / 64] |= bit;
  bytes = Slots::Bytes(page.bytes(), at.row);
  return {};
}

Fault LongValues::Follow(std::size_t ordinal, ByteView stored, RowId row, Bytes* content) {
  Column& column = columns_[ordinal];
  const bool is_memo = def_->columns[ordinal].type == ColumnType::kMemo;
  const auto see = [&](Field field, std::size_t value) {
    context_->report.See(At(table_, row), field, static_cast<std::int64_t>(value),
                         def_->columns[ordinal].name);
  };
  const std::uint32_t word = GetU32(stored, 0);
  const LongValueDescriptor value{.kind = LongValueKind::kChain,
                                  .length = word & kLengthBits,
                                  .at = RowId::FromPacked(GetU32(stored, 4)),
                                  .stamp = GetU32(stored, 8)};
  TextScan scan;
  if ((word & kKindBits) == kInlineBits) {
    const ByteView bytes = stored.subspan(kLongValueDescriptorBytes);
    if (bytes.size() != value.length) {
      return Malformed("says it has {} bytes, but {} are in the row", value.length, bytes.size());
    }
    see(Field::kInlineBytes, bytes.size());
    see(Field::kInlineAddress, value.at.packed() | value.stamp);
    scan.Feed(bytes);
    if (content != nullptr) content->assign(bytes.begin(), bytes.end());
    return TextFault(scan, is_memo);
  }
  if (stored.size() != kLongValueDescriptorBytes) {
    return Malformed("has a descriptor of {} bytes", stored.size());
  }
  if ((word & kKindBits) == kSingleBits) {
    PageRef page;
    ByteView bytes;
    if (Fault fault = Take(column, value.at, page, bytes)) return fault;
    if (bytes.size() < value.length) {
      return Malformed("says it has {} bytes, but its row holds {}", value.length, bytes.size());
    }
    see(Field::kSingleBytes, value.length);
    see(Field::kSingleSpare, bytes.size() - value.length);
    see(Field::kSingleStamp, value.stamp);
    bytes = bytes.first(value.length);
    scan.Feed(bytes);
    if (content != nullptr) content->assign(bytes.begin(), bytes.end());
    return TextFault(scan, is_memo);
  }
  if ((word & kKindBits) != 0) return Malformed("is of an unknown kind");
  if (value.at) see(Field::kChainStamp, value.stamp);
  return FollowChain(column, value, is_memo, content);
}

Fault LongValues::FollowChain(Column& column, const LongValueDescriptor& value, bool is_memo,
                              Bytes* content) {
  TextScan scan;
  std::size_t length = 0;
  if (content != nullptr) content->clear();
  // Every row can be taken once, which ends a chain that returns to itself.
  for (RowId at = value.at; at.packed() != 0;) {
    PageRef page;
    ByteView bytes;
    if (Fault fault = Take(column, at, page, bytes)) return fault;
    if (at == value.at && GetU32(page.bytes(), kStamp) != value.stamp) {
      return Malformed("has the stamp {:X}, but its chain on page {} has {:X}", value.stamp,
                       at.page.value, GetU32(page.bytes(), kStamp));
    }
    if (bytes.size() < 4) return Malformed("has a piece of {} bytes", bytes.size());
    const PageNumber page_number = at.page;
    at = RowId::FromPacked(GetU32(bytes, 0));
    const ByteView piece = bytes.subspan(4);
    if (at.packed() != 0) {
      context_->report.See(At(table_, page_number), Field::kChainPiece,
                           static_cast<std::int64_t>(piece.size()));
    }
    context_->report.See(At(table_, page_number), Field::kChainRows, CountRows(page.bytes()));
    length += piece.size();
    if (length > value.length) break;
    if (is_memo) scan.Feed(piece);
    if (content != nullptr) AddBytes(*content, piece);
  }
  if (length != value.length) {
    return Malformed("says it has {} bytes, but its chain holds {}{}", value.length,
                     length > value.length ? "at least " : "", length);
  }
  return TextFault(scan, is_memo);
}

Bytes LongValues::Reread(ByteView stored) const { return ReadLongValue(context_->pager, stored); }

void LongValues::CheckRest() {
  for (Column& column : columns_) {
    if (!column.owned) continue;
    const PageSet& pages = column.owned->pages;
    for (auto page = pages.FirstFrom(0); page; page = pages.FirstFrom(page->value + 1)) {
      const auto [found, is_new] = column.pages.try_emplace(page->value);
      Page& state = found->second;
      if (is_new) state = CheckPage(column, *page, context_->pager.Read(*page).bytes());
      for (std::size_t row = 0; row < kMaxRowsOnPage; ++row) {
        if (((state.present[row / 64] & ~state.used[row / 64]) >> row % 64 & 1) == 0) continue;
        context_->report.Warning({table_, *page, static_cast<std::uint8_t>(row)},
                                 Code::kLongValueLost,
                                 fmt::format("is a piece of {} that belongs to no row",
                                             context_->ledger.TextOf(column.owner)));
      }
    }
  }
}

}  // namespace jet::check
