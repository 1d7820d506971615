// The integrity checker on the bytes of single rows.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/check/definition.h"

namespace jet::check {

// Whether stored text, plain or compressed, can be decoded, and how long it is.
// Takes a text in pieces.
class TextScan {
 public:
  void Feed(ByteView piece);
  // In words; empty if the text is whole.
  std::string Fault() const;
  std::size_t units() const { return units_; }

 private:
  enum class Mode { kStart, kStartMark, kPlain, kPlainHalf, kNarrow, kWide, kWideHalf };
  Mode mode_ = Mode::kStart;
  std::size_t units_ = 0;
};

// The stored bytes of each column, by ordinal; nothing for Null. A Boolean has
// one byte, 0 or 1.
using Fields = std::vector<std::optional<ByteView>>;

// Takes the rows of one table apart. A fault is described in words, empty if there
// is none.
class RowSplitter {
 public:
  explicit RowSplitter(const TableDef& def);

  // Leaves out from now on the fields that cannot be wrong and are not of these ordinals.
  void LeaveOutAllBut(const std::vector<bool>& wanted);
  // `fields` look into `row` (after a fault: anywhere). `untidy` gets what is odd but harmless.
  std::string Split(ByteView row, Fields& fields, std::string* untidy) const;
  // Of a row that was split and has all columns of today: bytes between the fixed
  // and the variable fields.
  std::optional<std::int64_t> UnusedBeforeVariables(ByteView row) const;
  // Whether a field can be wrong by itself: of one width, cut from the fixed
  // region, it cannot.
  bool CanBeWrong(std::size_t ordinal) const { return columns_[ordinal].checked; }
  // What is wrong with a field by itself; long values are looked at no further
  // than their descriptor.
  std::string FieldFault(std::size_t ordinal, ByteView stored) const;

 private:
  struct Column {
    std::size_t id = 0, slot = 0, at = 0, size = 0;
    bool known = true, fixed = false, boolean = false, checked = true;
  };
  // Whether a row of so many ids must have offsets of variable fields.
  bool HasVariablePart(std::size_t count) const;

  const TableDef* def_;
  std::vector<Column> columns_;
  std::vector<std::size_t> taken_;    // ordinals of the fields that are not left out
  std::vector<std::size_t> by_slot_;  // ordinals of variable columns
  std::size_t live_ids_ = 0;          // highest column id of today, and one
  std::size_t fixed_end_ = 2;
  std::size_t first_variable_;  // the least id of a variable column that is left
};

}  // namespace jet::check
