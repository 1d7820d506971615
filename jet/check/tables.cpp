#include "jet/check/tables.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/base/bytes.h"

namespace jet::check {

namespace {
constexpr std::size_t kPointerBytes = 4;

std::int32_t NextAutonumber(const TableDef& def) {
  return static_cast<std::int32_t>(def.last_autonumber + def.autonumber_step);
}
}  // namespace

TableCheck::TableCheck(const Context& context, std::string name, TableDef def)
    : context_(&context),
      name_(std::move(name)),
      def_(std::move(def)),
      splitter_(def_),
      long_values_(context, name_, def_),
      rows_owner_(context.ledger.Register(fmt::format("the rows of {}", name_), name_)),
      wants_content_(def_.columns.size()) {
  for (std::size_t i = 0; i < def_.real_indexes.size(); ++i) {
    const IndexCheck& index = indexes_.emplace_back(context, name_, def_, i);
    for (const std::size_t memo : index.keys().memos()) wants_content_[memo] = true;
  }
  for (std::size_t i = 0; i < def_.columns.size(); ++i) {
    const ColumnDef& column = def_.columns[i];
    if (column.auto_number() && column.type == ColumnType::kLong) autonumber_ = i;
    if (splitter_.CanBeWrong(i)) can_be_wrong_.push_back(i);
  }
}

void TableCheck::Run(const std::vector<std::size_t>& contents_of, const Visitor& visit) {
  for (const std::size_t ordinal : contents_of) wants_content_[ordinal] = true;
  if (!visit) LeaveOutFields();
  ++context_->result.tables;
  long_values_.ReadMaps();
  if (!ReadMaps()) {
    context_->report.NotChecked(At(name_, def_.page), "the rows and indexes of the table");
    return;
  }
  for (auto page = owned_->pages.FirstFrom(0); page;
       page = owned_->pages.FirstFrom(page->value + 1)) {
    const PageRef ref = context_->pager.Read(*page);
    Slots slots;
    if (!CheckPage(*page, ref.bytes(), slots)) continue;
    data_pages_.push_back(*page);
    CheckRows(*page, ref.bytes(), slots, visit);
  }
  CompareBodies();
  CompareCounters();
  long_values_.CheckRest();
  for (IndexCheck& index : indexes_) index.CompareWithTree(*this);
}

// What nobody looks at is not taken out of the rows.
void TableCheck::LeaveOutFields() {
  std::vector<bool> wanted(def_.columns.size());
  for (const IndexCheck& index : indexes_) {
    for (const std::size_t ordinal : index.keys().ordinals()) wanted[ordinal] = true;
  }
  if (autonumber_) wanted[*autonumber_] = true;
  splitter_.LeaveOutAllBut(wanted);
}

bool TableCheck::ReadMaps() {
  Ledger& ledger = context_->ledger;
  const Place here = At(name_, def_.page);
  owned_ = ledger.ReadMap(def_.owned_map, here, "map of its pages");
  const auto free = ledger.ReadMap(def_.free_map, here, "map of its free space");
  if (!owned_) return false;
  ledger.SeeFirstMark(*owned_, def_.owned_map, here, "map of its pages");
  if (free) ledger.SeeFirstMark(*free, def_.free_map, here, "map of its free space");
  if (owned_->outside != 0) {
    context_->report.Problem(At(name_, def_.owned_map), Code::kBeyondEnd,
                             fmt::format("the map of the table's pages names page {} beyond the "
                                         "end of the file",
                                         owned_->first_outside));
  }
  if (free && free->outside != 0) {
    context_->report.Problem(At(name_, def_.free_map), Code::kBeyondEnd,
                             fmt::format("the map of free space names page {} beyond the end of "
                                         "the file",
                                         free->first_outside));
  }
  if (free) {
    if (const auto stray = free->pages.FirstMissingIn(owned_->pages)) {
      context_->report.Warning(At(name_, def_.free_map), Code::kMapStray,
                               fmt::format("the map of free space names page {}, which the table "
                                           "does not own",
                                           stray->value));
    }
  }
  return true;
}

// Whether rows of the table are to be looked for on a page of its map.
bool TableCheck::CheckPage(PageNumber page, PageView bytes, Slots& slots) {
  if (std::find(def_.pages.begin(), def_.pages.end(), page) != def_.pages.end()) return false;
  const Place here = At(name_, page);
  if (std::string fault = slots.Parse(bytes); !fault.empty()) {
    context_->report.Problem(here, Code::kPageKind,
                             fmt::format("{}, but is in the map of the table's pages", fault));
    return false;
  }
  const std::uint32_t owner = GetU32(bytes, kOwner);
  if (owner == kLvalOwner) {
    if (context_->ledger.ClaimSpare(page, rows_owner_)) {
      context_->report.Warning(here, Code::kMapStray,
                               "is a page of long values in the map of the table's pages");
    } else {
      context_->report.Problem({name_, page, std::nullopt, context_->ledger.TableOf(page)},
                               Code::kTwoOwners,
                               fmt::format("is in the map of the table's pages but belongs "
                                           "to {}",
                                           context_->ledger.OwnerOf(page)));
    }
    return false;
  }
  if (owner != def_.page.value) {
    context_->report.Problem(here, Code::kPageOwner,
                             fmt::format("names page {} as owner, but is in the map of the "
                                         "table of page {}",
                                         owner, def_.page.value));
    return false;
  }
  if (context_->ledger.Claim(page, rows_owner_, here) != Ledger::Claimed::kNew) return false;
  context_->report.See(here, Field::kRowPageWord8, GetU32(bytes, kWord8));
  return context_->ledger.ReadSlots(page, bytes, here, slots);
}

void TableCheck::CheckRows(PageNumber page, PageView bytes, const Slots& slots,
                           const Visitor& visit) {
  for (std::size_t row = 0; row < slots.size(); ++row) {
    const RowId id{page, static_cast<std::uint8_t>(row)};
    const ByteView stored = bytes.subspan(slots.start(row), slots.end(row) - slots.start(row));
    switch (slots.kind(row)) {
      case SlotKind::kDeleted:
        continue;
      case SlotKind::kBody:
        bodies_.push_back(id.packed());
        continue;
      case SlotKind::kLive:
        ++live_rows_;
        if (!CheckRow(id, stored, visit)) unreadable_.push_back(id.packed());
        continue;
      case SlotKind::kMoved:
        break;
    }
    ++live_rows_;
    PageRef body_page;
    ByteView body;
    if (const Fault fault = FollowMoved(stored, body_page, body)) {
      context_->report.Problem(At(name_, id), fault.code, fault.text);
      unreadable_.push_back(id.packed());
      continue;
    }
    targets_.push_back(GetU32(stored, 0));
    if (!CheckRow(id, body, visit)) unreadable_.push_back(id.packed());
  }
}

Fault TableCheck::FollowMoved(ByteView pointer, PageRef& body, ByteView& bytes) const {
  if (pointer.size() < kPointerBytes) {
    return {Code::kMovedRow,
            fmt::format("is a moved row with a pointer of {} bytes", pointer.size())};
  }
  const RowId at = RowId::FromPacked(GetU32(pointer, 0));
  const auto fault = [at](std::string_view why, Code code = Code::kMovedRow) {
    return Fault{
        code, fmt::format("was moved to row {} of page {}, which {}", at.row, at.page.value, why)};
  };
  if (!context_->ledger.Exists(at.page)) return fault("does not exist", Code::kBeyondEnd);
  if (!owned_->pages.Contains(at.page)) return fault("is not a page of the table");
  body = context_->pager.Read(at.page);
  Slots slots;
  if (!slots.Parse(body.bytes()).empty()) return fault("is not a page of rows");
  if (GetU32(body.bytes(), kOwner) != def_.page.value) return fault("is not a page of the table");
  if (at.row >= slots.size()) return fault("does not exist");
  if (slots.kind(at.row) != SlotKind::kBody) return fault("is not the body of a moved row");
  bytes = body.bytes().subspan(slots.start(at.row), slots.end(at.row) - slots.start(at.row));
  return {};
}

bool TableCheck::CheckRow(RowId id, ByteView bytes, const Visitor& visit) {
  const Place here = At(name_, id);
  ++context_->result.rows;
  std::string untidy;
  if (std::string fault = splitter_.Split(bytes, row_.stored, &untidy); !fault.empty()) {
    context_->report.Problem(here, Code::kRowForm, std::move(fault));
    return false;
  }
  context_->report.See(here, Field::kRowBytes, static_cast<std::int64_t>(bytes.size()));
  if (const auto unused = splitter_.UnusedBeforeVariables(bytes)) {
    context_->report.See(here, Field::kVariableStart, *unused);
  }
  if (!untidy.empty()) context_->report.Warning(here, Code::kRowForm, std::move(untidy));
  bool readable = true;
  row_.contents.resize(def_.columns.size());
  for (const std::size_t i : can_be_wrong_) {
    const std::optional<ByteView>& stored = row_.stored[i];
    if (!stored) continue;
    Fault fault{Code::kFieldForm, splitter_.FieldFault(i, *stored)};
    if (!fault && IsLongValue(def_.columns[i].type)) {
      fault = long_values_.Follow(i, *stored, id, wants_content_[i] ? &row_.contents[i] : nullptr);
    }
    if (fault) {
      context_->report.Problem(here, fault.code,
                               fmt::format("column {} {}", def_.columns[i].name, fault.text));
      readable = false;
    }
  }
  if (!readable) return false;
  if (autonumber_ && row_.stored[*autonumber_]) {
    const auto number = static_cast<std::int32_t>(GetU32(*row_.stored[*autonumber_], 0));
    greatest_autonumber_ = std::max<std::int64_t>(greatest_autonumber_, number);
    if (number == NextAutonumber(def_)) has_next_autonumber_ = id;
  }
  for (IndexCheck& index : indexes_) index.Expect(id, row_);
  if (visit) visit(id, row_);
  return true;
}

// Every body has one row that was moved to it.
void TableCheck::CompareBodies() {
  std::sort(targets_.begin(), targets_.end());
  for (std::size_t i = 1; i < targets_.size(); ++i) {
    if (targets_[i] == targets_[i - 1]) {
      context_->report.Problem(At(name_, RowId::FromPacked(targets_[i])), Code::kMovedRow,
                               "is the body of two moved rows");
    }
  }
  for (const std::uint32_t body : bodies_) {
    if (!std::binary_search(targets_.begin(), targets_.end(), body)) {
      context_->report.Warning(At(name_, RowId::FromPacked(body)), Code::kMovedRow,
                               "is the body of a moved row that no row was moved to");
    }
  }
}

void TableCheck::CompareCounters() {
  const Place here = At(name_, def_.page);
  if (live_rows_ != def_.row_count) {
    std::string text =
        fmt::format("the definition counts {} rows; {} are there", def_.row_count, live_rows_);
    // Real system tables are off by a few now and then.
    if (def_.kind == TableDef::kSystem) {
      context_->report.Warning(here, Code::kRowCount, std::move(text));
    } else {
      context_->report.Problem(here, Code::kRowCount, std::move(text));
    }
  }
  if (def_.autonumber_step == 1 &&
      greatest_autonumber_ > static_cast<std::int32_t>(def_.last_autonumber)) {
    context_->report.Warning(here, Code::kAutonumber, AutonumberText());
  }
}

// Copied tables are like this: a program that goes on counting repeats a number.
std::string TableCheck::AutonumberText() const {
  std::string text = fmt::format(
      "the last number given is {}, but {} is in use: counted on, the "
      "next row gets {}, ",
      static_cast<std::int32_t>(def_.last_autonumber), greatest_autonumber_, NextAutonumber(def_));
  if (!has_next_autonumber_) return text + "which is free, and later ones meet those in use";
  return text + fmt::format("which row {} of page {} has", has_next_autonumber_->row,
                            has_next_autonumber_->page.value);
}

bool TableCheck::Load(PageRef page, std::size_t slot, RowFields& row) const {
  Slots slots;
  if (!slots.Parse(page.bytes()).empty() || slot >= slots.size()) return false;
  ByteView bytes = page.bytes().subspan(slots.start(slot), slots.end(slot) - slots.start(slot));
  if (slots.kind(slot) == SlotKind::kMoved) {
    PageRef body;
    const ByteView pointer = bytes;
    if (FollowMoved(pointer, body, bytes)) return false;
    page = std::move(body);
  } else if (slots.kind(slot) != SlotKind::kLive) {
    return false;
  }
  row.contents.resize(def_.columns.size());
  if (!splitter_.Split(bytes, row.stored, nullptr).empty()) return false;
  row.page = std::move(page);
  for (std::size_t i = 0; i < row.stored.size(); ++i) {
    if (!wants_content_[i] || !row.stored[i]) continue;
    try {
      row.contents[i] = long_values_.Reread(*row.stored[i]);
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
      return false;
    }
  }
  return true;
}

bool TableCheck::Fetch(RowId id, RowFields& row) {
  if (!std::binary_search(data_pages_.begin(), data_pages_.end(), id.page)) return false;
  return Load(context_->pager.Read(id.page), id.row, row);
}

void TableCheck::Walk(const std::function<void(RowId, const RowFields&)>& visit) {
  RowFields row;
  for (const PageNumber page : data_pages_) {
    Slots slots;
    slots.Parse(context_->pager.Read(page).bytes());
    for (std::size_t i = 0; i < slots.size(); ++i) {
      const RowId id{page, static_cast<std::uint8_t>(i)};
      if (std::binary_search(unreadable_.begin(), unreadable_.end(), id.packed())) continue;
      if (Load(context_->pager.Read(page), i, row)) visit(id, row);
    }
  }
}

}  // namespace jet::check
