// Whether the bytes of a row are a whole row of a table, and what they hold.
#pragma once

#include <optional>
#include <vector>

#include "jet/check/rows.h"
#include "jet/recover/long_value_source.h"

namespace jet::recover {

struct OldRow {
  RowId id;
  ByteView bytes;  // that were judged
  // By ordinal, as stored; nothing for Null. Of long values the descriptor. They look
  // into `bytes`.
  check::Fields fields;
  std::vector<Bytes> contents;    // by ordinal: of long values that are there
  std::vector<std::size_t> gone;  // ordinals of long values that cannot be read
  bool tidy = true;               // `bytes` hold nothing but the row
  bool doubtful = false;
};

class RowJudge {
 public:
  // REQUIRES: `def` outlives the judge.
  explicit RowJudge(const TableDef& def);

  const TableDef& def() const { return *def_; }
  // What the bytes of a row are. An untidy one holds bytes that mean nothing.
  enum class Verdict { kBroken, kUntidy, kTidy };
  // Takes the row apart. kBroken if it contradicts itself or the table. Long values are
  // not followed.
  Verdict Split(ByteView bytes, check::Fields& fields) const;
  bool IsWhole(ByteView bytes, check::Fields& fields) const {
    return Split(bytes, fields) != Verdict::kBroken;
  }
  // The same, and it has as many columns as the table had when one of them was made.
  bool HasWidthOf(ByteView bytes) const;
  // Follows the long values of a row that was split.
  void Complete(LongValueSource& source, OldRow& row) const;
  // The value of a field, for keys.
  Value ValueOf(const OldRow& row, std::size_t ordinal) const;

 private:
  bool FieldHolds(std::size_t ordinal, ByteView stored) const;
  const TableDef* def_;
  check::RowSplitter splitter_;
  std::vector<std::size_t> long_values_;  // ordinals
};

}  // namespace jet::recover
