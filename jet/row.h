// A row's bytes and its values.
//
//   u16 n  highest column id + 1 when the row was written
//   fixed region, variable values
//   u16 x (k + 1) offsets backwards: end of data first, variable 0 last; u16 k
//   null mask of ceil(n / 8) bytes: bit = column id, 1 = has a value;
//   of a Boolean the bit is the value
// Without variable columns in the table the part from the offsets to k is absent.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "jet/table_def.h"
#include "jet/value.h"

namespace jet {

inline constexpr std::size_t kMaxRowBytes = 4060;
inline constexpr std::size_t kMaxTextChars = 255;
inline constexpr std::size_t kMaxBinaryBytes = 510;

// Looks into the bytes of a row, without copying. Throws kDamaged where they
// contradict themselves. Columns younger than the row answer Null (Boolean
// columns False).
class RowView {
 public:
  RowView() = default;
  RowView(const TableDef& def, ByteView bytes);

  // The stored bytes of a column; nothing for Null and for Booleans.
  std::optional<ByteView> Raw(const ColumnDef& column) const;
  bool Boolean(const ColumnDef& column) const;
  ByteView bytes() const { return bytes_; }

 private:
  bool HasBit(ColumnId id) const;
  std::size_t VariableOffset(std::size_t j) const;
  ByteView bytes_;
  std::size_t columns_ = 0;    // n
  std::size_t variables_ = 0;  // k
  std::size_t mask_at_ = 0;
  std::size_t fixed_end_ = 0;
};

// Bytes of a fixed column in the fixed region: 0 for Boolean.
std::size_t FixedBytes(const ColumnDef& column);

// Stored bytes -> value, for every type but long values.
Value DecodeField(const ColumnDef& column, ByteView stored);
// Value -> stored bytes; kWrongType, kTextTooLong, kOutOfRange, kBadText. The
// value must be of the column's own alternative (Null and Boolean excepted).
Bytes EncodeField(const ColumnDef& column, const Value& value);

// The stored form of each column of a row, by ordinal; nothing = Null. For
// Boolean columns one byte, 0 or 1; for long values the 12-byte descriptor and
// what follows it.
using StoredFields = std::vector<std::optional<Bytes>>;
// kRowTooLong over kMaxRowBytes.
Bytes EncodeRow(const TableDef& def, std::span<const std::optional<Bytes>> fields);
// The stored fields of a row as they are (an update carries them over unread).
StoredFields DecodeRow(const TableDef& def, const RowView& row);

}  // namespace jet
