#include "jet/row.h"

#include <algorithm>

#include "jet/bytes.h"
#include "jet/text.h"

namespace jet {
namespace {

constexpr std::size_t kFixedAt = 2;
constexpr std::size_t kNumericBytes = 17;

// Variable slots that existed when a row with ids below `columns` was written:
// every column knows how many there were before it.
std::size_t SlotsBefore(const TableDef& def, std::size_t columns) {
  std::size_t slots = def.next_variable_slot;
  for (const ColumnDef& column : def.columns) {
    if (column.id.value >= columns) {
      slots = std::min<std::size_t>(slots, column.variable_slot);
    }
  }
  return slots;
}

template <class T>
const T& As(const ColumnDef& column, const Value& value) {
  if (const T* exact = std::get_if<T>(&value)) return *exact;
  throw Error(ErrorCode::kWrongType, "the column takes " + TypeName(column.type))
      .OfColumn(column.name);
}

Bytes EncodeTextField(const ColumnDef& column, const std::string& text) {
  const std::u16string units = ToUtf16(text);
  if (units.size() > column.max_chars()) {
    throw Error(ErrorCode::kTextTooLong, std::to_string(units.size()) + " characters, " +
                                             std::to_string(column.max_chars()) + " fit")
        .OfColumn(column.name);
  }
  if (!column.fixed()) {
    return EncodeText(units, column.compressed() ? TextForm::kText : TextForm::kPlain);
  }
  std::u16string padded = units;
  padded.resize(column.max_chars(), u' ');
  return EncodePlain(padded);
}

Bytes EncodeNumeric(const Numeric& number) {
  Bytes out(1, number.negative ? std::uint8_t{0x80} : std::uint8_t{0});
  for (const std::uint32_t word : number.magnitude) AddU32(out, word);
  return out;
}

Bytes EncodeBinary(const ColumnDef& column, const Bytes& bytes) {
  if (bytes.size() > column.length) {
    throw Error(ErrorCode::kTextTooLong,
                std::to_string(bytes.size()) + " bytes, " + std::to_string(column.length) + " fit")
        .OfColumn(column.name);
  }
  Bytes out = bytes;
  if (column.fixed()) out.resize(column.length);
  return out;
}

}  // namespace

std::size_t FixedBytes(const ColumnDef& column) {
  switch (column.type) {
    case ColumnType::kBoolean:
      return 0;
    case ColumnType::kByte:
      return 1;
    case ColumnType::kInteger:
      return 2;
    case ColumnType::kLong:
    case ColumnType::kSingle:
      return 4;
    case ColumnType::kCurrency:
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      return 8;
    case ColumnType::kGuid:
      return 16;
    case ColumnType::kNumeric:
      return kNumericBytes;
    default:
      return column.length;
  }
}

RowView::RowView(const TableDef& def, ByteView bytes) : bytes_(bytes) {
  columns_ = GetU16(bytes, 0);
  if (columns_ > def.next_column_id) {
    throw Error(ErrorCode::kDamaged, "a row has more columns than its table");
  }
  const std::size_t mask_bytes = (columns_ + 7) / 8;
  if (kFixedAt + mask_bytes > bytes.size()) ThrowOutside(kFixedAt + mask_bytes);
  mask_at_ = bytes.size() - mask_bytes;
  fixed_end_ = mask_at_;
  if (def.next_variable_slot == 0) return;
  if (columns_ < def.next_column_id && SlotsBefore(def, columns_) == 0) return;
  if (mask_at_ < kFixedAt + 4) ThrowOutside(mask_at_);
  variables_ = GetU16(bytes, mask_at_ - 2);
  if (variables_ > def.next_variable_slot || 4 + 2 * variables_ + kFixedAt > mask_at_) {
    throw Error(ErrorCode::kDamaged, "a row has more variable fields than fit");
  }
  fixed_end_ = VariableOffset(0);
}

// Offset 0 .. k; the k-th is the end of the data.
std::size_t RowView::VariableOffset(std::size_t j) const {
  const std::size_t table_at = mask_at_ - 4 - 2 * variables_;
  const std::size_t offset = GetU16(bytes_, mask_at_ - 4 - 2 * j);
  if (offset > table_at || offset < kFixedAt) {
    throw Error(ErrorCode::kDamaged, "a row's variable fields leave the row");
  }
  return offset;
}

bool RowView::HasBit(ColumnId id) const {
  if (id.value >= columns_) return false;
  return (bytes_[mask_at_ + id.value / 8] >> (id.value % 8) & 1) != 0;
}

bool RowView::Boolean(const ColumnDef& column) const { return HasBit(column.id); }

std::optional<ByteView> RowView::Raw(const ColumnDef& column) const {
  if (column.type == ColumnType::kBoolean || !HasBit(column.id)) return std::nullopt;
  if (column.fixed()) {
    const std::size_t at = kFixedAt + column.fixed_offset;
    const std::size_t length = FixedBytes(column);
    if (at + length > fixed_end_) {
      throw Error(ErrorCode::kDamaged, "a fixed field leaves the row").OfColumn(column.name);
    }
    return bytes_.subspan(at, length);
  }
  if (column.variable_slot >= variables_) {
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

Bytes EncodeField(const ColumnDef& column, const Value& value) {
  Bytes out;
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
    case ColumnType::kText:
      return EncodeTextField(column, As<std::string>(column, value));
    case ColumnType::kGuid:
      AddBytes(out, As<Guid>(column, value).bytes);
      break;
    case ColumnType::kNumeric:
      return EncodeNumeric(As<Numeric>(column, value));
    case ColumnType::kBinary:
      return EncodeBinary(column, As<Bytes>(column, value));
    default:
      throw Error(ErrorCode::kNotSupported, "writing " + TypeName(column.type))
          .OfColumn(column.name);
  }
  return out;
}

Bytes EncodeRow(const TableDef& def, std::span<const std::optional<Bytes>> fields) {
  const std::size_t ids = def.next_column_id;
  const std::size_t slots = def.next_variable_slot;
  Bytes out;
  AddU16(out, ids);
  out.resize(kFixedAt + def.fixed_width());
  // Bits of dropped columns stay set, as other writers leave them.
  Bytes mask((ids + 7) / 8, 0);
  for (std::size_t id = 0; id < ids; ++id) mask[id / 8] |= static_cast<std::uint8_t>(1 << id % 8);

  std::vector<const Bytes*> variables(slots, nullptr);
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const ColumnDef& column = def.columns[i];
    const std::size_t id = column.id.value;
    const std::optional<Bytes>& field = fields[i];
    bool bit = field.has_value();
    if (column.type == ColumnType::kBoolean) bit = field && GetU8(*field, 0) != 0;
    if (!bit) mask[id / 8] &= static_cast<std::uint8_t>(~(1u << id % 8));
    if (!field || column.type == ColumnType::kBoolean) continue;
    if (column.fixed()) {
      PutBytes(out, kFixedAt + column.fixed_offset, *field);
    } else {
      variables[column.variable_slot] = &*field;
    }
  }
  if (slots != 0) {
    std::vector<std::size_t> offsets;
    for (const Bytes* variable : variables) {
      offsets.push_back(out.size());
      if (variable != nullptr) AddBytes(out, *variable);
    }
    offsets.push_back(out.size());
    for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset) AddU16(out, *offset);
    AddU16(out, slots);
  }
  AddBytes(out, mask);
  if (out.size() > kMaxRowBytes) {
    throw Error(ErrorCode::kRowTooLong,
                std::to_string(out.size()) + " bytes, " + std::to_string(kMaxRowBytes) + " fit");
  }
  return out;
}

StoredFields DecodeRow(const TableDef& def, const RowView& row) {
  StoredFields fields(def.columns.size());
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const ColumnDef& column = def.columns[i];
    if (column.type == ColumnType::kBoolean) {
      fields[i] = Bytes(1, row.Boolean(column) ? std::uint8_t{1} : std::uint8_t{0});
    } else if (const auto raw = row.Raw(column)) {
      fields[i] = Bytes(raw->begin(), raw->end());
    }
  }
  return fields;
}

}  // namespace jet
