// Putting the bytes of rows together.
#include <algorithm>
#include <array>
#include <utility>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/row/row.h"

namespace jet {
namespace {

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

// A text or bytes, which take room by their length.
void AddSized(const ColumnDef& column, const Value& value, std::u16string_view units, Bytes& out) {
  if (column.type == ColumnType::kBinary) {
    const Bytes& bytes = As<Bytes>(column, value);
    RequireRoom(column.name, bytes.size(), column.length, " bytes");
    return AddBytes(out, bytes);
  }
  RequireRoom(column.name, units.size(), column.max_chars(), " characters");
  if (!column.fixed()) {
    return AddText(units, column.compressed() ? TextForm::kText : TextForm::kPlain, out);
  }
  std::u16string padded(units);
  padded.resize(column.max_chars(), u' ');
  AddPlain(padded, out);
}

constexpr std::size_t kMaxScalarBytes = 17;

// Of every type but texts, bytes and long values. Returns how many bytes it takes.
std::size_t PutScalar(const ColumnDef& column, const Value& value,
                      std::span<std::uint8_t, kMaxScalarBytes> out) {
  switch (column.type) {
    case ColumnType::kBoolean:
      PutU8(out, 0, !IsNull(value) && As<bool>(column, value) ? 1 : 0);
      return 1;
    case ColumnType::kByte:
      PutU8(out, 0, As<std::uint8_t>(column, value));
      return 1;
    case ColumnType::kInteger:
      PutU16(out, 0, static_cast<std::uint16_t>(As<std::int16_t>(column, value)));
      return 2;
    case ColumnType::kLong:
      PutU32(out, 0, static_cast<std::uint32_t>(As<std::int32_t>(column, value)));
      return 4;
    case ColumnType::kCurrency:
      PutU64(out, 0, static_cast<std::uint64_t>(As<Currency>(column, value).ten_thousandths));
      return 8;
    case ColumnType::kSingle:
      PutU32(out, 0, std::bit_cast<std::uint32_t>(As<float>(column, value)));
      return 4;
    case ColumnType::kDouble:
      PutDouble(out, 0, As<double>(column, value));
      return 8;
    case ColumnType::kDateTime:
      PutDouble(out, 0, As<DateTime>(column, value).days);
      return 8;
    case ColumnType::kGuid: {
      const Guid& guid = As<Guid>(column, value);
      PutBytes(out, 0, guid.bytes);
      return guid.bytes.size();
    }
    case ColumnType::kNumeric: {
      const Numeric& number = As<Numeric>(column, value);
      PutU8(out, 0, number.negative ? 0x80 : 0);
      for (std::size_t i = 0; i < 4; ++i) PutU32(out, 1 + 4 * i, number.magnitude[i]);
      return kMaxScalarBytes;
    }
    default:
      throw Error(ErrorCode::kNotSupported, "writing " + TypeName(column.type))
          .OfColumn(column.name);
  }
}

// Of a Boolean the mask holds the value.
bool InFixedRegion(const ColumnDef& column) {
  return column.fixed() && column.type != ColumnType::kBoolean;
}

}  // namespace

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

void RowEncoder::Begin(const TableDef& def) {
  def_ = &def;
  fields_.assign(def.columns.size(), {});
  texts_.Begin(def.columns.size());
  stored_.clear();
  row_.assign(kFixedAt + def.fixed_width(), 0);
  PutU16(row_, 0, def.next_column_id);
}

std::span<std::uint8_t> RowEncoder::FixedField(const ColumnDef& column) {
  return std::span(row_).subspan(kFixedAt + column.fixed_offset, column.fixed_bytes());
}

void RowEncoder::SetStored(std::size_t ordinal, ByteView stored) {
  const ColumnDef& column = def_->columns[ordinal];
  if (InFixedRegion(column)) {
    const std::span<std::uint8_t> place = FixedField(column);
    PutBytes(place, 0, stored);
    std::ranges::fill(place.subspan(stored.size()), std::uint8_t{0});
    fields_[ordinal].set = true;
    return;
  }
  const std::size_t start = stored_.size();
  AddBytes(stored_, stored);
  fields_[ordinal] = {start, stored_.size(), true};
}

void RowEncoder::Set(std::size_t ordinal, const Value& value) {
  const ColumnDef& column = def_->columns[ordinal];
  const bool text = column.type == ColumnType::kText;
  if (!text && column.type != ColumnType::kBinary) {
    std::array<std::uint8_t, kMaxScalarBytes> scalar;
    return SetStored(ordinal, {scalar.data(), PutScalar(column, value, scalar)});
  }
  const std::u16string_view units =
      text ? texts_.Of(ordinal, As<std::string>(column, value)) : std::u16string_view();
  const std::size_t start = stored_.size();
  AddSized(column, value, units, stored_);
  if (!InFixedRegion(column)) {
    fields_[ordinal] = {start, stored_.size(), true};
    return;
  }
  const Bytes fixed(stored_.begin() + static_cast<std::ptrdiff_t>(start), stored_.end());
  stored_.resize(start);
  SetStored(ordinal, fixed);
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
  const ColumnDef& column = def_->columns[ordinal];
  const Field field = std::exchange(fields_[ordinal], {});
  if (!field.set) return {};
  if (!InFixedRegion(column)) {
    const ByteView stored = Stored(field);
    return {stored.begin(), stored.end()};
  }
  const std::span<std::uint8_t> place = FixedField(column);
  Bytes stored(place.begin(), place.end());
  std::ranges::fill(place, std::uint8_t{0});
  return stored;
}

ByteView RowEncoder::Finish() {
  const std::size_t fixed_end = row_.size();
  std::size_t size = fixed_end;
  variables_.assign(def_->next_variable_slot, {});
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    const ColumnDef& column = def_->columns[i];
    if (column.fixed() || column.type == ColumnType::kBoolean) continue;
    variables_[column.variable_slot] = fields_[i];
    size += fields_[i].end - fields_[i].start;
  }
  const std::size_t data_end = size;
  if (!variables_.empty()) size += 2 * (variables_.size() + 2);
  const std::size_t mask_at = size;
  size += (std::size_t{def_->next_column_id} + 7) / 8;
  if (size > kMaxRowBytes) {
    throw Error(ErrorCode::kRowTooLong,
                std::to_string(size) + " bytes, " + std::to_string(kMaxRowBytes) + " fit");
  }
  row_.resize(size);
  if (!variables_.empty()) PutVariables(fixed_end, data_end, mask_at);
  PutMask(mask_at);
  return row_;
}

// The variable values from `at` on, and their offsets backwards before the mask.
void RowEncoder::PutVariables(std::size_t at, std::size_t data_end, std::size_t mask_at) {
  std::size_t offset_at = mask_at - 2;
  PutU16(row_, offset_at, variables_.size());
  for (const Field& variable : variables_) {
    offset_at -= 2;
    PutU16(row_, offset_at, at);
    PutBytes(row_, at, Stored(variable));
    at += variable.end - variable.start;
  }
  PutU16(row_, data_end, data_end);
}

// Bits of dropped columns stay set, as other writers leave them.
void RowEncoder::PutMask(std::size_t at) {
  const std::size_t ids = def_->next_column_id;
  std::fill(row_.begin() + static_cast<std::ptrdiff_t>(at), row_.end(), std::uint8_t{0xFF});
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
