#include "jet/row/row.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/text.h"

namespace jet {
namespace {

[[noreturn]] void ThrowFixedOutside(const ColumnDef& column) {
  throw Error(ErrorCode::kDamaged, "a fixed field leaves the row").OfColumn(column.name);
}

[[noreturn]] void ThrowNoNumber(const ColumnDef& column) {
  throw Error(ErrorCode::kWrongType, TypeName(column.type) + " is not read as a number")
      .OfColumn(column.name);
}

// Of a number or a date. In line: a sum calls nothing else as often.
inline double DecodeNumber(const ColumnDef& column, ByteView stored) {
  switch (column.type) {
    case ColumnType::kByte:
      return GetU8(stored, 0);
    case ColumnType::kInteger:
      return static_cast<std::int16_t>(GetU16(stored, 0));
    case ColumnType::kLong:
      return static_cast<std::int32_t>(GetU32(stored, 0));
    case ColumnType::kSingle:
      return static_cast<double>(std::bit_cast<float>(GetU32(stored, 0)));
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      return GetDouble(stored, 0);
    default:
      ThrowNoNumber(column);
  }
}

[[noreturn]] void ThrowVariableOutside() {
  throw Error(ErrorCode::kDamaged, "a row's variable fields leave the row");
}

inline std::size_t OffsetOf(ByteView bytes, std::size_t mask_at, std::size_t variables,
                            std::size_t j) {
  const std::size_t table_at = mask_at - 4 - 2 * variables;
  const std::size_t offset = GetU16(bytes, mask_at - 4 - 2 * j);
  if (offset > table_at || offset < kFixedAt) ThrowVariableOutside();
  return offset;
}

}  // namespace

std::size_t DeclaredWidth(const TableDef& def) {
  const std::size_t variables = def.next_variable_slot;
  const std::size_t offsets = variables == 0 ? 4 : 2 * (variables + 1) + 2;
  return kFixedAt + def.fixed_width() + offsets + (std::size_t{def.next_column_id} + 7) / 8;
}

RowShape::RowShape(const TableDef& def)
    : columns(def.next_column_id),
      variables(def.next_variable_slot),
      first_variable(def.next_column_id) {
  for (const ColumnDef& column : def.columns) {
    if (column.fixed() || column.type == ColumnType::kBoolean) continue;
    first_variable = std::min(first_variable, column.id.value);
  }
}

// Put together at its end: a whole that is read right after its parts were written one by
// one makes the processor wait.
RowLayout LayoutOf(const RowShape& shape, ByteView bytes) {
  const std::size_t columns = GetU16(bytes, 0);
  if (columns > shape.columns) {
    throw Error(ErrorCode::kDamaged, "a row has more columns than its table");
  }
  const std::size_t mask_bytes = (columns + 7) / 8;
  if (kFixedAt + mask_bytes > bytes.size()) ThrowOutside(kFixedAt + mask_bytes);
  const std::size_t mask_at = bytes.size() - mask_bytes;
  std::size_t variables = 0, fixed_end = mask_at;
  // It may be from before the first variable column, if that was dropped since.
  const bool is_older = columns < shape.columns && columns <= shape.first_variable;
  if (shape.variables != 0 && !is_older) {
    if (mask_at < kFixedAt + 4) ThrowOutside(mask_at);
    variables = GetU16(bytes, mask_at - 2);
    if (variables > shape.variables || 4 + 2 * variables + kFixedAt > mask_at) {
      throw Error(ErrorCode::kDamaged, "a row has more variable fields than fit");
    }
    fixed_end = OffsetOf(bytes, mask_at, variables, 0);
  }
  return {.columns = static_cast<std::uint16_t>(columns),
          .variables = static_cast<std::uint16_t>(variables),
          .mask_at = static_cast<std::uint16_t>(mask_at),
          .fixed_end = static_cast<std::uint16_t>(fixed_end)};
}

// Offset 0 .. k; the k-th is the end of the data.
std::size_t RowView::VariableOffset(std::size_t j) const {
  return OffsetOf(bytes_, layout_.mask_at, layout_.variables, j);
}

inline bool RowView::HasBit(ColumnId id) const {
  if (id.value >= layout_.columns) return false;
  return (bytes_[layout_.mask_at + id.value / 8] >> (id.value % 8) & 1) != 0;
}

bool RowView::Boolean(const ColumnDef& column) const { return HasBit(column.id); }

inline ByteView RowView::FixedField(const ColumnDef& column) const {
  const std::size_t at = kFixedAt + column.fixed_offset;
  const std::size_t length = column.fixed_bytes();
  if (at + length > layout_.fixed_end) ThrowFixedOutside(column);
  return bytes_.subspan(at, length);
}

bool RowView::Number(const ColumnDef& column, double& out) const {
  const bool has = HasBit(column.id);
  if (column.type == ColumnType::kBoolean) {
    out = has ? -1 : 0;
    return true;
  }
  if (!has) return false;
  out = DecodeNumber(column, column.fixed() ? FixedField(column) : Stored(column));
  return true;
}

ByteView RowView::Stored(const ColumnDef& column) const {
  if (column.type == ColumnType::kBoolean || !HasBit(column.id)) return {};
  if (column.fixed()) return FixedField(column);
  if (column.variable_slot >= layout_.variables) {
    throw Error(ErrorCode::kDamaged, "a variable field leaves the row").OfColumn(column.name);
  }
  const std::size_t start = VariableOffset(column.variable_slot);
  const std::size_t end = VariableOffset(column.variable_slot + std::size_t{1});
  if (end < start) {
    throw Error(ErrorCode::kDamaged, "a row's variable fields overlap").OfColumn(column.name);
  }
  return bytes_.subspan(start, end - start);
}

Value DecodeField(const ColumnDef& column, ByteView stored) {
  switch (column.type) {
    case ColumnType::kBoolean:
      return GetU8(stored, 0) != 0;
    case ColumnType::kByte:
      return GetU8(stored, 0);
    case ColumnType::kInteger:
      return static_cast<std::int16_t>(GetU16(stored, 0));
    case ColumnType::kLong:
      return static_cast<std::int32_t>(GetU32(stored, 0));
    case ColumnType::kCurrency:
      return Currency{static_cast<std::int64_t>(GetU64(stored, 0))};
    case ColumnType::kSingle:
      return std::bit_cast<float>(GetU32(stored, 0));
    case ColumnType::kDouble:
      return GetDouble(stored, 0);
    case ColumnType::kDateTime:
      return DateTime{GetDouble(stored, 0)};
    case ColumnType::kText:
      return DecodeText(stored);
    case ColumnType::kGuid: {
      Guid guid;
      const ByteView bytes = Slice(stored, 0, guid.bytes.size());
      std::copy(bytes.begin(), bytes.end(), guid.bytes.begin());
      return guid;
    }
    case ColumnType::kNumeric: {
      Numeric number;
      number.negative = GetU8(stored, 0) != 0;
      for (std::size_t i = 0; i < 4; ++i) number.magnitude[i] = GetU32(stored, 1 + 4 * i);
      return number;
    }
    case ColumnType::kBinary:
    case ColumnType::kRaw:
      return Bytes(stored.begin(), stored.end());
    default:
      throw Error(ErrorCode::kNotSupported, "a field of " + TypeName(column.type))
          .OfColumn(column.name);
  }
}

}  // namespace jet
