#include "jet/row/row.h"

#include <algorithm>
#include <utility>

#include "jet/base/bytes.h"
#include "jet/base/text.h"

namespace jet {
namespace {

constexpr std::size_t kFixedAt = 2;

// Whether a row with ids below `columns` can have a variable field that is still there.
// If not, it may be from before the first variable column, which was dropped since.
bool HasVariableBelow(const TableDef& def, std::size_t columns) {
  return std::ranges::any_of(def.columns, [columns](const ColumnDef& column) {
    return column.id.value < columns && !column.fixed() && column.type != ColumnType::kBoolean;
  });
}

template <class T>
const T& As(const ColumnDef& column, const Value& value) {
  if (const T* exact = std::get_if<T>(&value)) return *exact;
  throw Error(ErrorCode::kWrongType, "the column takes " + TypeName(column.type))
      .OfColumn(column.name);
}

void RequireRoom(std::string_view column, std::size_t size, std::size_t room, const char* of) {
  if (size <= room) return;
  throw Error(ErrorCode::kTextTooLong,
              std::to_string(size) + of + ", " + std::to_string(room) + " fit")
      .OfColumn(column);
}

void AddTextField(const ColumnDef& column, std::u16string_view units, Bytes& out) {
  RequireRoom(column.name, units.size(), column.max_chars(), " characters");
  if (!column.fixed()) {
    return AddText(units, column.compressed() ? TextForm::kText : TextForm::kPlain, out);
  }
  std::u16string padded(units);
  padded.resize(column.max_chars(), u' ');
  AddPlain(padded, out);
}

void AddNumeric(const Numeric& number, Bytes& out) {
  AddU8(out, number.negative ? 0x80 : 0);
  for (const std::uint32_t word : number.magnitude) AddU32(out, word);
}

void AddBinary(const ColumnDef& column, const Bytes& bytes, Bytes& out) {
  RequireRoom(column.name, bytes.size(), column.length, " bytes");
  const std::size_t start = out.size();
  AddBytes(out, bytes);
  if (column.fixed()) out.resize(start + column.length);
}

// Of every type but texts and long values.
void AddField(const ColumnDef& column, const Value& value, Bytes& out) {
  switch (column.type) {
    case ColumnType::kBoolean:
      AddU8(out, !IsNull(value) && As<bool>(column, value) ? 1 : 0);
      break;
    case ColumnType::kByte:
      AddU8(out, As<std::uint8_t>(column, value));
      break;
    case ColumnType::kInteger:
      AddU16(out, static_cast<std::uint16_t>(As<std::int16_t>(column, value)));
      break;
    case ColumnType::kLong:
      AddU32(out, static_cast<std::uint32_t>(As<std::int32_t>(column, value)));
      break;
    case ColumnType::kCurrency:
      AddU64(out, static_cast<std::uint64_t>(As<Currency>(column, value).ten_thousandths));
      break;
    case ColumnType::kSingle:
      AddU32(out, std::bit_cast<std::uint32_t>(As<float>(column, value)));
      break;
    case ColumnType::kDouble:
      AddU64(out, std::bit_cast<std::uint64_t>(As<double>(column, value)));
      break;
    case ColumnType::kDateTime:
      AddU64(out, std::bit_cast<std::uint64_t>(As<DateTime>(column, value).days));
      break;
    case ColumnType::kGuid:
      AddBytes(out, As<Guid>(column, value).bytes);
      break;
    case ColumnType::kNumeric:
      return AddNumeric(As<Numeric>(column, value), out);
    case ColumnType::kBinary:
      return AddBinary(column, As<Bytes>(column, value), out);
    default:
      throw Error(ErrorCode::kNotSupported, "writing " + TypeName(column.type))
          .OfColumn(column.name);
  }
}

}  // namespace

std::size_t DeclaredWidth(const TableDef& def) {
  const std::size_t variables = def.next_variable_slot;
  const std::size_t offsets = variables == 0 ? 4 : 2 * (variables + 1) + 2;
  return kFixedAt + def.fixed_width() + offsets + (std::size_t{def.next_column_id} + 7) / 8;
}

RowView::RowView(const TableDef& def, ByteView bytes) : bytes_(bytes) {
  const std::size_t columns = GetU16(bytes, 0);
  if (columns > def.next_column_id) {
    throw Error(ErrorCode::kDamaged, "a row has more columns than its table");
  }
  const std::size_t mask_bytes = (columns + 7) / 8;
  if (kFixedAt + mask_bytes > bytes.size()) ThrowOutside(kFixedAt + mask_bytes);
  const std::size_t mask_at = bytes.size() - mask_bytes;
  layout_.columns = static_cast<std::uint16_t>(columns);
  layout_.mask_at = layout_.fixed_end = static_cast<std::uint16_t>(mask_at);
  if (def.next_variable_slot == 0) return;
  if (columns < def.next_column_id && !HasVariableBelow(def, columns)) return;
  if (mask_at < kFixedAt + 4) ThrowOutside(mask_at);
  layout_.variables = GetU16(bytes, mask_at - 2);
  if (layout_.variables > def.next_variable_slot ||
      4 + 2 * std::size_t{layout_.variables} + kFixedAt > mask_at) {
    throw Error(ErrorCode::kDamaged, "a row has more variable fields than fit");
  }
  layout_.fixed_end = static_cast<std::uint16_t>(VariableOffset(0));
}

// Offset 0 .. k; the k-th is the end of the data.
std::size_t RowView::VariableOffset(std::size_t j) const {
  const std::size_t table_at = layout_.mask_at - 4 - 2 * std::size_t{layout_.variables};
  const std::size_t offset = GetU16(bytes_, layout_.mask_at - 4 - 2 * j);
  if (offset > table_at || offset < kFixedAt) {
    throw Error(ErrorCode::kDamaged, "a row's variable fields leave the row");
  }
  return offset;
}

bool RowView::HasBit(ColumnId id) const {
  if (id.value >= layout_.columns) return false;
  return (bytes_[layout_.mask_at + id.value / 8] >> (id.value % 8) & 1) != 0;
}

bool RowView::Boolean(const ColumnDef& column) const { return HasBit(column.id); }

std::optional<ByteView> RowView::Raw(const ColumnDef& column) const {
  if (column.type == ColumnType::kBoolean || !HasBit(column.id)) return std::nullopt;
  if (column.fixed()) {
    const std::size_t at = kFixedAt + column.fixed_offset;
    const std::size_t length = column.fixed_bytes();
    if (at + length > layout_.fixed_end) {
      throw Error(ErrorCode::kDamaged, "a fixed field leaves the row").OfColumn(column.name);
    }
    return bytes_.subspan(at, length);
  }
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

void RequireFits(std::string_view name, ColumnType type, std::size_t length, const Value& value) {
  if (const auto* text = std::get_if<std::string>(&value)) {
    Named({.column = name}, [&] {
      const std::size_t units = Utf16Length(*text);
      if (type == ColumnType::kText) RequireRoom(name, units, length / 2, " characters");
    });
  } else if (const auto* bytes = std::get_if<Bytes>(&value)) {
    if (type == ColumnType::kBinary) RequireRoom(name, bytes->size(), length, " bytes");
  }
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

double DecodeNumber(const ColumnDef& column, ByteView stored) {
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
      throw Error(ErrorCode::kWrongType, TypeName(column.type) + " is not read as a number")
          .OfColumn(column.name);
  }
}

void RowEncoder::Begin(const TableDef& def) {
  def_ = &def;
  fields_.assign(def.columns.size(), {});
  texts_.Begin(def.columns.size());
  stored_.clear();
}

void RowEncoder::SetStored(std::size_t ordinal, ByteView stored) {
  const std::size_t start = stored_.size();
  AddBytes(stored_, stored);
  fields_[ordinal] = {start, stored_.size(), true};
}

void RowEncoder::Set(std::size_t ordinal, const Value& value) {
  const std::size_t start = stored_.size();
  const ColumnDef& column = def_->columns[ordinal];
  if (column.type == ColumnType::kText) {
    AddTextField(column, texts_.Of(ordinal, As<std::string>(column, value)), stored_);
  } else {
    AddField(column, value, stored_);
  }
  fields_[ordinal] = {start, stored_.size(), true};
}

void RowEncoder::SetFrom(const RowView& row) {
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const ColumnDef& column = def_->columns[i];
    if (column.type == ColumnType::kBoolean) {
      const std::uint8_t bit = row.Boolean(column) ? 1 : 0;
      SetStored(i, {&bit, 1});
    } else if (const auto raw = row.Raw(column)) {
      SetStored(i, *raw);
    }
  }
}

Bytes RowEncoder::Take(std::size_t ordinal) {
  const ByteView stored = Stored(std::exchange(fields_[ordinal], {}));
  return {stored.begin(), stored.end()};
}

ByteView RowEncoder::Finish() {
  row_.clear();
  AddU16(row_, def_->next_column_id);
  variables_.assign(def_->next_variable_slot, {});
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const ColumnDef& column = def_->columns[i];
    if (column.type == ColumnType::kBoolean) continue;
    if (!column.fixed()) {
      variables_[column.variable_slot] = fields_[i];
      continue;
    }
    const std::size_t at = kFixedAt + column.fixed_offset;
    row_.resize(std::max(row_.size(), at + column.fixed_bytes()));
    if (fields_[i].set) PutBytes(row_, at, Stored(fields_[i]));
  }
  if (!variables_.empty()) AddVariables();
  AddMask();
  if (row_.size() > kMaxRowBytes) {
    throw Error(ErrorCode::kRowTooLong,
                std::to_string(row_.size()) + " bytes, " + std::to_string(kMaxRowBytes) + " fit");
  }
  return row_;
}

void RowEncoder::AddVariables() {
  for (Field& variable : variables_) {
    const std::size_t start = row_.size();
    if (variable.set) AddBytes(row_, Stored(variable));
    variable.start = start;  // from here on, in the row
  }
  AddU16(row_, row_.size());
  for (auto variable = variables_.rbegin(); variable != variables_.rend(); ++variable) {
    AddU16(row_, variable->start);
  }
  AddU16(row_, variables_.size());
}

// Bits of dropped columns stay set, as other writers leave them.
void RowEncoder::AddMask() {
  const std::size_t ids = def_->next_column_id;
  const std::size_t at = row_.size();
  row_.resize(at + (ids + 7) / 8, 0xFF);
  if (ids % 8 != 0) row_.back() = static_cast<std::uint8_t>((1 << ids % 8) - 1);
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const ColumnDef& column = def_->columns[i];
    bool bit = fields_[i].set;
    if (column.type == ColumnType::kBoolean) bit = bit && GetU8(Stored(fields_[i]), 0) != 0;
    if (bit) continue;
    std::uint8_t& byte = row_[at + column.id.value / 8];
    byte = static_cast<std::uint8_t>(byte & ~(1u << column.id.value % 8));
  }
}

}  // namespace jet
