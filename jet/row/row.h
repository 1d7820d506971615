// A row's bytes and its values.
//
//   u16 n  highest column id + 1 when the row was written
//   fixed region, variable values
//   u16 x (k + 1) offsets backwards: end of data first, variable 0 last; u16 k
//   null mask of ceil(n / 8) bytes: bit = column id, 1 = has a value;
//   of a Boolean the bit is the value
// Of a row that is older than the table's first variable column the part from the offsets
// to k is absent. It need not be known where no variable column of the row is left.
#pragma once

#include <optional>
#include <vector>

#include "jet/base/value.h"
#include "jet/row/row_texts.h"
#include "jet/row/table_def.h"

namespace jet {

inline constexpr std::size_t kMaxRowBytes = 4060;
inline constexpr std::size_t kFixedAt = 2;  // where the fixed region of a row begins
// The bytes of a row without any text. Other programs refuse a file that has a table
// over kMaxRowBytes.
std::size_t DeclaredWidth(const TableDef& def);

// What the bytes of all rows of a table depend on: found once for many of them.
struct RowShape {
  RowShape() = default;
  explicit RowShape(const TableDef& def);
  std::uint16_t columns = 0;         // highest column id + 1
  std::uint16_t variables = 0;       // slots
  std::uint16_t first_variable = 0;  // lowest id of a variable column; `columns` if none
};

// kDamaged where the bytes contradict themselves or the table.
RowLayout LayoutOf(const RowShape& shape, ByteView bytes);

// Looks into the bytes of a row, without copying. Throws kDamaged where they
// contradict themselves. Columns younger than the row answer Null (Boolean
// columns False).
class RowView {
 public:
  RowView() = default;
  RowView(const TableDef& def, ByteView bytes) : RowView(bytes, LayoutOf(RowShape(def), bytes)) {}
  // Bytes that were looked into before.
  RowView(ByteView bytes, RowLayout layout) : bytes_(bytes), layout_(layout) {}

  // The stored bytes of a column; nothing for Null and for Booleans.
  std::optional<ByteView> Raw(const ColumnDef& column) const {
    const ByteView stored = Stored(column);
    return stored.data() == nullptr ? std::nullopt : std::optional(stored);
  }
  // The same, with null data instead of nothing: it comes back in registers.
  ByteView Stored(const ColumnDef& column) const;
  bool Boolean(const ColumnDef& column) const;
  // A number, a date in days or a Boolean (true is -1); false for Null. kWrongType for
  // columns of other types.
  bool Number(const ColumnDef& column, double& out) const;
  ByteView bytes() const { return bytes_; }
  RowLayout layout() const { return layout_; }

 private:
  bool HasBit(ColumnId id) const;
  // REQUIRES: a fixed column that is not Null.
  ByteView FixedField(const ColumnDef& column) const;
  std::size_t VariableOffset(std::size_t j) const;
  ByteView bytes_;
  RowLayout layout_;
};

// Whether a column of `length` bytes is wide enough for a text or bytes; other values
// always fit. kTextTooLong, kBadText, with the name in it.
void RequireFits(std::string_view name, ColumnType type, std::size_t length, const Value& value);

// Stored bytes -> value, for every type but long values.
Value DecodeField(const ColumnDef& column, ByteView stored);

// Puts the bytes of a row together; keeps its buffers from row to row.
class RowEncoder {
 public:
  // A row in which every field is Null. REQUIRES: `def` outlives Finish().
  void Begin(const TableDef& def);
  // A field as it is stored: of Booleans one byte, 0 or 1; of long values the
  // descriptor and what follows it.
  void SetStored(std::size_t ordinal, ByteView stored);
  // A value of any other type, which must be of the column's own alternative (Null
  // and Boolean excepted). kWrongType, kTextTooLong, kBadText.
  void Set(std::size_t ordinal, const Value& value);
  // Of the row's texts, for its keys and long values.
  RowTexts& texts() { return texts_; }
  // All that a row holds, as SetStored takes it.
  void SetFrom(const RowView& row);
  // Makes a field Null; what it was, empty for Null.
  Bytes Take(std::size_t ordinal);
  // The row, until the next Begin(). kRowTooLong over kMaxRowBytes.
  ByteView Finish();

 private:
  struct Field {
    std::size_t start = 0, end = 0;  // in stored_, unless it lies in the fixed region
    bool set = false;
  };
  ByteView Stored(const Field& field) const {
    return ByteView(stored_).subspan(field.start, field.end - field.start);
  }
  std::span<std::uint8_t> FixedField(const ColumnDef& column);
  void PutVariables(std::size_t at, std::size_t data_end, std::size_t mask_at);
  void PutMask(std::size_t at);
  const TableDef* def_ = nullptr;
  std::vector<Field> fields_;  // by ordinal
  Bytes stored_;               // what does not lie in the fixed region
  RowTexts texts_;
  std::vector<Field> variables_;  // by variable slot
  Bytes row_;                     // the fixed region; from Finish() on all of it
};

}  // namespace jet
