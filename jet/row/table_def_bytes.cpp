#include "jet/row/table_def_bytes.h"

#include <algorithm>
#include <array>

#include "jet/base/bytes.h"
#include "jet/base/text.h"

namespace jet {
namespace {

// Of the content, counted from the start of the first page.
constexpr std::size_t kLength = 0x08;
constexpr std::size_t kMarker = 0x0C;
constexpr std::size_t kRowCount = 0x10;
constexpr std::size_t kLastAutonumber = 0x14;
constexpr std::size_t kAutonumberStep = 0x18;
constexpr std::size_t kUnknown1C = 0x1C;
constexpr std::size_t kUnknown20 = 0x20;
constexpr std::size_t kKind = 0x28;
constexpr std::size_t kNextColumnId = 0x29;
constexpr std::size_t kNextVariableSlot = 0x2B;
constexpr std::size_t kColumnCount = 0x2D;
constexpr std::size_t kLogicalCount = 0x2F;
constexpr std::size_t kRealCount = 0x33;
constexpr std::size_t kOwnedMap = 0x37;
constexpr std::size_t kFreeMap = 0x3B;
constexpr std::size_t kStatistics = 0x3F;
constexpr std::size_t kStatisticsBytes = 12;
constexpr std::size_t kIndexParts = 10;
constexpr std::uint16_t kEnd = 0xFFFF;

constexpr std::uint32_t kDefMarker = 0x659;
constexpr std::uint32_t kIndexMarker = 0x783;

constexpr std::size_t kMaxColumnsRead = 1024;
constexpr std::size_t kMaxIndexesRead = 1024;

// Reads one field after the other.
class Reader {
 public:
  Reader(ByteView bytes, std::size_t at) : bytes_(bytes), at_(at) {}
  std::uint8_t U8() { return GetU8(bytes_, Advance(1)); }
  std::uint16_t U16() { return GetU16(bytes_, Advance(2)); }
  std::uint32_t U32() { return GetU32(bytes_, Advance(4)); }
  ByteView Take(std::size_t length) { return Slice(bytes_, Advance(length), length); }
  std::string Name() { return DecodePlain(Take(U16())); }

 private:
  std::size_t Advance(std::size_t by) {
    CheckRange(bytes_.size(), at_, by);
    at_ += by;
    return at_ - by;
  }
  ByteView bytes_;
  std::size_t at_;
};

ColumnDef ReadColumn(Reader& in) {
  ColumnDef column;
  column.type = static_cast<ColumnType>(in.U8());
  in.U32();
  column.id = {in.U16()};
  column.variable_slot = in.U16();
  column.position = in.U16();
  if (column.type == ColumnType::kNumeric) {
    column.precision = in.U8();
    column.scale = in.U8();
    in.U16();
  } else {
    column.order.language = in.U16();
    column.order.sort_id = in.U8();
    column.order.version = in.U8();
  }
  column.flags = in.U8();
  column.text_flags = in.U8();
  column.unknown17 = in.U32();
  const std::uint16_t offset = in.U16();
  (column.fixed() ? column.fixed_offset : column.unknown21) = offset;
  column.length = in.U16();
  return column;
}

void WriteColumn(const ColumnDef& column, Bytes& out) {
  AddU8(out, static_cast<std::uint8_t>(column.type));
  AddU32(out, kDefMarker);
  AddU16(out, column.id.value);
  AddU16(out, column.variable_slot);
  AddU16(out, column.position);
  if (column.type == ColumnType::kNumeric) {
    AddU8(out, column.precision);
    AddU8(out, column.scale);
    AddU16(out, 0);
  } else {
    AddU16(out, column.order.language);
    AddU8(out, column.order.sort_id);
    AddU8(out, column.order.version);
  }
  AddU8(out, column.flags);
  AddU8(out, column.text_flags);
  AddU32(out, column.unknown17);
  AddU16(out, column.fixed() ? column.fixed_offset : column.unknown21);
  AddU16(out, column.length);
}

void ReadRealIndex(Reader& in, RealIndex& index) {
  in.U32();
  const ByteView parts = in.Take(index.column_bytes.size());
  std::copy(parts.begin(), parts.end(), index.column_bytes.begin());
  for (std::size_t i = 0; i < kIndexParts; ++i) {
    const std::uint16_t id = GetU16(parts, 3 * i);
    if (id != kEnd) index.columns.push_back({{id}, (parts[3 * i + 2] & 1) != 0});
  }
  index.page_map = RowId::FromPacked(in.U32());
  index.root = {in.U32()};
  index.unknown42 = in.U32();
  index.flags = in.U8();
  in.Take(5);
}

void WriteRealIndex(const RealIndex& index, Bytes& out) {
  AddU32(out, kIndexMarker);
  std::array<std::uint8_t, 3 * kIndexParts> parts = index.column_bytes;
  std::size_t at = 0;
  for (std::size_t i = 0; i < kIndexParts; ++i) {
    if (i < index.columns.size()) {
      PutU16(parts, at, index.columns[i].column.value);
      PutU8(parts, at + 2, index.columns[i].ascending ? 1 : 0);
    } else {
      PutU16(parts, at, kEnd);
    }
    at += 3;
  }
  AddBytes(out, parts);
  AddU32(out, index.page_map.packed());
  AddU32(out, index.root.value);
  AddU32(out, index.unknown42);
  AddU8(out, index.flags);
  out.resize(out.size() + 5);
}

LogicalIndex ReadLogicalIndex(Reader& in) {
  LogicalIndex index;
  in.U32();
  index.number = in.U32();
  index.real = in.U32();
  index.relation_side = in.U8();
  index.related_index = in.U32();
  index.related_table = in.U32();
  index.cascade_update = in.U8();
  index.cascade_delete = in.U8();
  index.kind = in.U8();
  index.unknown24 = in.U32();
  return index;
}

void WriteLogicalIndex(const LogicalIndex& index, Bytes& out) {
  AddU32(out, kDefMarker);
  AddU32(out, index.number);
  AddU32(out, index.real);
  AddU8(out, index.relation_side);
  AddU32(out, index.related_index);
  AddU32(out, index.related_table);
  AddU8(out, index.cascade_update);
  AddU8(out, index.cascade_delete);
  AddU8(out, index.kind);
  AddU32(out, index.unknown24);
}

void WriteName(const std::string& name, Bytes& out) {
  const Bytes bytes = EncodePlain(ToUtf16(name));
  AddU16(out, bytes.size());
  AddBytes(out, bytes);
}

void ReadHeader(ByteView content, TableDef& def) {
  def.row_count = GetU32(content, kRowCount);
  def.last_autonumber = GetU32(content, kLastAutonumber);
  def.autonumber_step = GetU32(content, kAutonumberStep);
  def.unknown1C = GetU32(content, kUnknown1C);
  def.unknown20 = GetU64(content, kUnknown20);
  def.kind = GetU8(content, kKind);
  def.next_column_id = GetU16(content, kNextColumnId);
  def.next_variable_slot = GetU16(content, kNextVariableSlot);
  def.owned_map = RowId::FromPacked(GetU32(content, kOwnedMap));
  def.free_map = RowId::FromPacked(GetU32(content, kFreeMap));
}

void ReadLongValueMaps(Reader& in, TableDef& def) {
  for (std::uint16_t id = in.U16(); id != kEnd; id = in.U16()) {
    const RowId owned = RowId::FromPacked(in.U32());
    const RowId free = RowId::FromPacked(in.U32());
    if (const auto at = def.FindColumn(ColumnId{id})) {
      def.columns[*at].owned_map = owned;
      def.columns[*at].free_map = free;
    } else {
      def.stray_maps.push_back({ColumnId{id}, owned, free});
    }
  }
}

// A change to one of two columns in the same place would change the other.
void RequireApart(const TableDef& def, std::vector<const ColumnDef*>& fixed) {
  std::sort(fixed.begin(), fixed.end(), [](const ColumnDef* a, const ColumnDef* b) {
    return a->fixed_offset < b->fixed_offset;
  });
  for (std::size_t i = 1; i < fixed.size(); ++i) {
    if (fixed[i - 1]->fixed_offset + fixed[i - 1]->fixed_bytes() <= fixed[i]->fixed_offset)
      continue;
    throw Error::Damaged(def.page,
                         "columns " + fixed[i - 1]->name + " and " + fixed[i]->name + " overlap");
  }
}

void CheckColumns(const TableDef& def) {
  std::vector<bool> seen(def.next_column_id), slots(def.next_variable_slot);
  std::vector<const ColumnDef*> fixed;
  for (const ColumnDef& column : def.columns) {
    const bool id_ok = column.id.value < def.next_column_id && !seen[column.id.value];
    const bool place_ok = column.fixed() ? column.fixed_offset + column.fixed_bytes() <= kPageSize
                                         : column.variable_slot < def.next_variable_slot &&
                                               !slots[column.variable_slot];
    if (!id_ok || !place_ok) {
      throw Error::Damaged(def.page, "column " + column.name + " contradicts the definition");
    }
    seen[column.id.value] = true;
    if (!column.fixed()) {
      slots[column.variable_slot] = true;
    } else if (column.fixed_bytes() != 0) {
      fixed.push_back(&column);
    }
  }
  RequireApart(def, fixed);
}

}  // namespace

void ReadDefinition(ByteView content, TableDef& def) {
  ReadHeader(content, def);
  const std::size_t columns = GetU16(content, kColumnCount);
  const std::size_t logical = GetU32(content, kLogicalCount);
  const std::size_t real = GetU32(content, kRealCount);
  if (columns > kMaxColumnsRead || logical > kMaxIndexesRead || real > kMaxIndexesRead) {
    throw Error::Damaged(def.page, "counts that no definition has");
  }
  Reader in(content, kStatistics);
  def.real_indexes.resize(real);
  for (RealIndex& index : def.real_indexes) {
    index.rows_at_compact = in.U32();
    index.distinct_keys = in.U32();
    index.statistic8 = in.U32();
  }
  for (std::size_t i = 0; i < columns; ++i) def.columns.push_back(ReadColumn(in));
  for (ColumnDef& column : def.columns) column.name = in.Name();
  for (RealIndex& index : def.real_indexes) ReadRealIndex(in, index);
  for (std::size_t i = 0; i < logical; ++i) def.logical_indexes.push_back(ReadLogicalIndex(in));
  for (LogicalIndex& index : def.logical_indexes) {
    index.name = in.Name();
    if (index.real >= real) throw Error::Damaged(def.page, "index " + index.name + " has no tree");
  }
  ReadLongValueMaps(in, def);
  CheckColumns(def);
}

Bytes WriteDefinition(const TableDef& def) {
  Bytes out(kStatistics);
  PutU32(out, kMarker, kDefMarker);
  PutU32(out, kRowCount, def.row_count);
  PutU32(out, kLastAutonumber, def.last_autonumber);
  PutU32(out, kAutonumberStep, def.autonumber_step);
  PutU32(out, kUnknown1C, def.unknown1C);
  PutU64(out, kUnknown20, def.unknown20);
  PutU8(out, kKind, def.kind);
  PutU16(out, kNextColumnId, def.next_column_id);
  PutU16(out, kNextVariableSlot, def.next_variable_slot);
  PutU16(out, kColumnCount, def.columns.size());
  PutU32(out, kLogicalCount, static_cast<std::uint32_t>(def.logical_indexes.size()));
  PutU32(out, kRealCount, static_cast<std::uint32_t>(def.real_indexes.size()));
  PutU32(out, kOwnedMap, def.owned_map.packed());
  PutU32(out, kFreeMap, def.free_map.packed());
  for (const RealIndex& index : def.real_indexes) {
    AddU32(out, index.rows_at_compact);
    AddU32(out, index.distinct_keys);
    AddU32(out, index.statistic8);
  }
  for (const ColumnDef& column : def.columns) WriteColumn(column, out);
  for (const ColumnDef& column : def.columns) WriteName(column.name, out);
  for (const RealIndex& index : def.real_indexes) WriteRealIndex(index, out);
  for (const LogicalIndex& index : def.logical_indexes) WriteLogicalIndex(index, out);
  for (const LogicalIndex& index : def.logical_indexes) WriteName(index.name, out);
  const auto add_maps = [&](ColumnId column, RowId owned, RowId free) {
    AddU16(out, column.value);
    AddU32(out, owned.packed());
    AddU32(out, free.packed());
  };
  for (const TableDef::StrayMaps& stray : def.stray_maps) {
    add_maps(stray.column, stray.owned_map, stray.free_map);
  }
  for (const ColumnDef& column : def.columns) {
    if (column.owned_map) add_maps(column.id, column.owned_map, column.free_map);
  }
  AddU16(out, kEnd);
  PutU32(out, kLength, static_cast<std::uint32_t>(out.size()));
  return out;
}

PagePart PartOfCounters(const TableDef& def) {
  const std::size_t end = kStatistics + kStatisticsBytes * def.real_indexes.size();
  return {kRowCount, std::min(end, kPageSize) - kRowCount};
}

void PutCounters(const TableDef& def, PageSpan first_page) {
  PutU32(first_page, kRowCount, def.row_count);
  PutU32(first_page, kLastAutonumber, def.last_autonumber);
  for (std::size_t i = 0; i < def.real_indexes.size(); ++i) {
    PutU32(first_page, kStatistics + kStatisticsBytes * i + 4, def.real_indexes[i].distinct_keys);
  }
}

}  // namespace jet
