#include "jet/check/definition.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/check/definition_rules.h"
#include "jet/check/definition_seen.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/name.h"

namespace jet::check {

namespace {

constexpr std::uint32_t kMarker = 0x659, kIndexMarker = 0x783;
constexpr std::size_t kChainHead = 8;  // of every page of a definition
constexpr std::size_t kReserved = 8;   // behind the end of a definition
constexpr std::size_t kMaxChain = 64;  // pages; 255 columns with long names need 14
constexpr std::size_t kFixedPart = 63;
constexpr std::size_t kMaxLogicalIndexes = 1000;
constexpr std::uint16_t kNoColumn = 0xFFFF;
constexpr std::size_t kStatisticBytes = 12, kColumnBytes = 25, kRealIndexBytes = 52,
                      kLogicalIndexBytes = 28;

class DefinitionReader {
 public:
  DefinitionReader(const Context& context, PageNumber page, std::string_view table)
      : context_(&context), table_(table) {
    def_.page = page;
  }

  std::optional<TableDef> Read() {
    if (!ReadChain()) return std::nullopt;
    try {
      Decode();
    } catch (const Error& error) {
      Problem(Code::kDefinitionLength,
              fmt::format("the definition contradicts its length: {}", error.detail()));
      return std::nullopt;
    }
    if (refused_) return std::nullopt;
    CheckDefinition(*context_, table_, def_, mapped_);
    SeeDefinition(*context_, table_, def_);
    return std::move(def_);
  }

 private:
  void Problem(Code code, std::string text) {
    context_->report.Problem(At(table_, def_.page), code, std::move(text));
  }
  void Warning(Code code, std::string text) {
    context_->report.Warning(At(table_, def_.page), code, std::move(text));
  }

  bool ReadChain();
  bool AppendPage(PageNumber page, PageNumber& next);
  void CheckFreeFields();
  void Decode();
  void DecodeColumns(std::size_t count);
  void DecodeRealIndexes(std::size_t count);
  void DecodeLogicalIndexes(std::size_t count);
  void DecodeLongValueMaps();
  void PutLongValueMaps(ColumnId id, RowId owned, RowId free);
  std::string TakeName();
  ByteView Take(std::size_t length) {
    const ByteView part = Slice(content_, at_, length);
    at_ += length;
    return part;
  }

  const Context* context_;
  std::string_view table_;
  TableDef def_;
  Bytes content_;
  std::vector<std::uint16_t> free_fields_;
  std::set<std::uint16_t> mapped_;  // columns with maps of long values
  std::size_t length_ = 0;
  std::size_t at_ = 0;
  bool refused_ = false;
};

bool DefinitionReader::AppendPage(PageNumber page, PageNumber& next) {
  if (!context_->ledger.Exists(page)) {
    Problem(
        Code::kBeyondEnd,
        fmt::format("the definition goes on at page {} beyond the end of the file", page.value));
    return false;
  }
  const PageRef ref = context_->pager.Read(page);
  const PageView bytes = ref.bytes();
  if (bytes[0] != 2 || bytes[1] != 1) {
    context_->report.Problem(
        At(table_, page), Code::kPageKind,
        fmt::format("should hold the definition but starts {:02X} {:02X}", bytes[0], bytes[1]));
    return false;
  }
  AddBytes(content_, def_.pages.empty() ? ByteView(bytes) : bytes.subspan(kChainHead));
  free_fields_.push_back(GetU16(bytes, 2));
  def_.pages.push_back(page);
  next = PageNumber{GetU32(bytes, 4)};
  return true;
}

bool DefinitionReader::ReadChain() {
  const Ledger::OwnerId owner =
      context_->ledger.Register(fmt::format("the definition of {}", table_), table_);
  for (PageNumber page = def_.page, next; page || def_.pages.empty(); page = next) {
    if (def_.pages.size() == kMaxChain) {
      Problem(Code::kDefinitionChain, "the chain of definition pages does not end");
      return false;
    }
    if (std::find(def_.pages.begin(), def_.pages.end(), page) != def_.pages.end()) {
      Problem(Code::kDefinitionChain,
              fmt::format("the chain of definition pages returns to page {}", page.value));
      return false;
    }
    if (!AppendPage(page, next)) return false;
    context_->ledger.Claim(page, owner, At(table_, page));
  }
  length_ = GetU32(content_, 8);
  if (length_ > content_.size() || length_ < kFixedPart) {
    Problem(
        Code::kDefinitionLength,
        fmt::format("the definition says it has {} bytes; {} are there", length_, content_.size()));
    return false;
  }
  CheckFreeFields();
  const ByteView behind =
      ByteView(content_).subspan(length_).first(std::min(kReserved, content_.size() - length_));
  context_->report.See(At(table_, def_.page), Field::kBytesBehind,
                       std::ranges::count_if(behind, [](std::uint8_t byte) { return byte != 0; }));
  content_.resize(length_);
  return true;
}

void DefinitionReader::CheckFreeFields() {
  const auto pages_for = [](std::size_t bytes) {
    return bytes <= kPageSize ? 1 : 2 + (bytes - kPageSize - 1) / (kPageSize - kChainHead);
  };
  if (def_.pages.size() < pages_for(length_) ||
      def_.pages.size() > pages_for(length_ + kReserved)) {
    Warning(Code::kDefinitionLength,
            fmt::format("{} bytes of definition lie on {} pages", length_, def_.pages.size()));
    return;
  }
  std::size_t left = length_ - kChainHead;
  for (std::size_t i = 0; i < def_.pages.size(); ++i) {
    const std::size_t room = kPageSize - kChainHead;
    const std::size_t used = std::min(left, room);
    left -= used;
    const std::size_t free = room - std::min(room, used + kReserved);
    if (free_fields_[i] != free && used != 0) {
      context_->report.Problem(
          At(table_, def_.pages[i]), Code::kFreeBytes,
          fmt::format("the definition page says that {} bytes are free; {} are", free_fields_[i],
                      free));
    }
  }
}

void DefinitionReader::Decode() {
  const ByteView head = Take(kFixedPart);
  if (GetU32(head, 0x0C) != kMarker) Problem(Code::kMarker, "the definition lacks its marker");
  def_.row_count = GetU32(head, 0x10);
  def_.last_autonumber = GetU32(head, 0x14);
  def_.autonumber_step = GetU32(head, 0x18);
  def_.unknown1C = GetU32(head, 0x1C);
  def_.unknown20 = GetU64(head, 0x20);
  def_.kind = head[0x28];
  def_.next_column_id = GetU16(head, 0x29);
  def_.next_variable_slot = GetU16(head, 0x2B);
  const std::size_t columns = GetU16(head, 0x2D);
  const std::size_t logical = GetU32(head, 0x2F), real = GetU32(head, 0x33);
  def_.owned_map = RowId::FromPacked(GetU32(head, 0x37));
  def_.free_map = RowId::FromPacked(GetU32(head, 0x3B));
  if (def_.kind != TableDef::kUser && def_.kind != TableDef::kSystem) {
    Problem(Code::kTableKind, fmt::format("the table is of the unknown kind {:02X}", def_.kind));
  }
  if (columns > kMaxColumns || real > kMaxIndexes || logical > kMaxLogicalIndexes) {
    Problem(Code::kLimit, fmt::format("the definition claims {} columns and {} and {} indexes",
                                      columns, real, logical));
    refused_ = true;
    return;
  }
  if (def_.next_column_id < columns) {
    Problem(Code::kColumnNumber,
            fmt::format("the next column number is {} although there are {} columns",
                        def_.next_column_id, columns));
  }
  def_.real_indexes.resize(real);
  for (RealIndex& index : def_.real_indexes) {
    const ByteView block = Take(kStatisticBytes);
    index.rows_at_compact = GetU32(block, 0);
    index.distinct_keys = GetU32(block, 4);
    index.statistic8 = GetU32(block, 8);
  }
  DecodeColumns(columns);
  DecodeRealIndexes(real);
  DecodeLogicalIndexes(logical);
  DecodeLongValueMaps();
}

void DefinitionReader::DecodeColumns(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const ByteView block = Take(kColumnBytes);
    ColumnDef column;
    column.type = static_cast<ColumnType>(block[0]);
    if (GetU32(block, 1) != kMarker)
      Problem(Code::kMarker, fmt::format("column {} lacks its marker", i));
    column.id = ColumnId{GetU16(block, 5)};
    column.variable_slot = GetU16(block, 7);
    column.position = GetU16(block, 9);
    if (column.type == ColumnType::kNumeric) {
      column.precision = block[11];
      column.scale = block[12];
    } else {
      column.order = {GetU16(block, 11), block[13], block[14]};
    }
    column.flags = block[15];
    column.text_flags = block[16];
    column.unknown17 = GetU32(block, 17);
    (column.fixed() ? column.fixed_offset : column.unknown21) = GetU16(block, 21);
    column.length = GetU16(block, 23);
    def_.columns.push_back(std::move(column));
  }
  for (ColumnDef& column : def_.columns) column.name = TakeName();
}

std::string DefinitionReader::TakeName() {
  const std::size_t bytes = GetU16(Take(2), 0);
  const ByteView name = Take(bytes);
  if (bytes % 2 != 0) {
    Problem(Code::kNameForm, fmt::format("a name has the odd length of {} bytes", bytes));
    refused_ = true;
    return {};
  }
  if (bytes == 0 || bytes > 2 * kMaxNameChars) {
    Problem(Code::kNameForm, fmt::format("a name has {} characters", bytes / 2));
  }
  for (std::size_t at = 0; at < bytes; at += 2) {
    const bool lead = (GetU16(name, at) & 0xFC00) == 0xD800;
    const bool paired = lead && at + 2 < bytes && (GetU16(name, at + 2) & 0xFC00) == 0xDC00;
    if ((GetU16(name, at) & 0xF800) == 0xD800 && !paired) {
      Problem(Code::kNameForm, "a name holds half of a surrogate pair");
    }
    if (paired) at += 2;
  }
  return DecodePlain(name);
}

void DefinitionReader::DecodeRealIndexes(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const ByteView block = Take(kRealIndexBytes);
    RealIndex& index = def_.real_indexes[i];
    if (GetU32(block, 0) != kIndexMarker)
      Problem(Code::kMarker, fmt::format("index tree {} lacks its marker", i));
    for (std::size_t part = 0; part < kMaxIndexColumns; ++part) {
      const std::uint16_t id = GetU16(block, 4 + 3 * part);
      if (id == kNoColumn) continue;
      const std::uint8_t order = block[6 + 3 * part];
      context_->report.See(At(table_, def_.page), Field::kPartOrder, order,
                           fmt::format("index tree {}", i));
      index.columns.push_back({ColumnId{id}, (order & 1) != 0});
    }
    index.page_map = RowId::FromPacked(GetU32(block, 34));
    index.root = PageNumber{GetU32(block, 38)};
    index.unknown42 = GetU32(block, 42);
    index.flags = block[46];
    const ByteView tail = block.subspan(47);
    context_->report.See(At(table_, def_.page), Field::kTreeTail,
                         std::ranges::count_if(tail, [](std::uint8_t byte) { return byte != 0; }),
                         fmt::format("index tree {}", i));
  }
}

void DefinitionReader::DecodeLogicalIndexes(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const ByteView block = Take(kLogicalIndexBytes);
    LogicalIndex index;
    if (GetU32(block, 0) != kMarker)
      Problem(Code::kMarker, fmt::format("index {} lacks its marker", i));
    index.number = GetU32(block, 4);
    index.real = GetU32(block, 8);
    index.relation_side = block[12];
    index.related_index = GetU32(block, 13);
    index.related_table = GetU32(block, 17);
    index.cascade_update = block[21];
    index.cascade_delete = block[22];
    index.kind = block[23];
    index.unknown24 = GetU32(block, 24);
    def_.logical_indexes.push_back(std::move(index));
  }
  for (LogicalIndex& index : def_.logical_indexes) index.name = TakeName();
}

void DefinitionReader::DecodeLongValueMaps() {
  // Every turn takes ten bytes, so the length bounds the loop.
  for (;;) {
    const std::uint16_t id = GetU16(Take(2), 0);
    if (id == kNoColumn) break;
    const ByteView maps = Take(8);
    PutLongValueMaps(ColumnId{id}, RowId::FromPacked(GetU32(maps, 0)),
                     RowId::FromPacked(GetU32(maps, 4)));
  }
  if (at_ != content_.size()) {
    Problem(Code::kDefinitionLength,
            fmt::format("the definition ends {} bytes before its stated length",
                        content_.size() - at_));
  }
}

void DefinitionReader::PutLongValueMaps(ColumnId id, RowId owned, RowId free) {
  const auto column = std::find_if(def_.columns.begin(), def_.columns.end(),
                                   [id](const ColumnDef& other) { return other.id == id; });
  if (column == def_.columns.end() || !IsLongValue(column->type)) {
    Warning(Code::kMapStray,
            fmt::format("there are maps of long values for column number {}, which has none",
                        id.value));
    return;
  }
  if (!mapped_.insert(id.value).second) {
    Problem(Code::kMapShared,
            fmt::format("column {} has its maps of long values twice", column->name));
  }
  if (!owned)
    Problem(Code::kMapPlace,
            fmt::format("column {} has no page for the map of its pages", column->name));
  column->owned_map = owned;
  column->free_map = free;
}

}  // namespace

std::optional<TableDef> ReadDefinition(const Context& context, PageNumber page,
                                       std::string_view table) {
  const std::uint64_t before = context.report.problems();
  std::optional<TableDef> def = DefinitionReader(context, page, table).Read();
  if (!def) {
    context.report.NotChecked(At(table, page), "the rows, long values and indexes of the table");
  }
  if (!def || context.report.problems() != before) return def;
  // What the engine refuses is damage even where the rules above are silent.
  try {
    LoadTableDef(context.pager, page);
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo) throw;
    context.report.Problem(At(table, page), Code::kUnreadable, error.detail());
  }
  return def;
}

}  // namespace jet::check
