// Keys of rows as the integrity checker expects them in an index.
#pragma once

#include <vector>

#include "jet/check/rows.h"

namespace jet::check {

// A row taken apart: its fields and, for those columns that were asked for, the
// content of long values.
struct RowFields {
  Fields stored;
  std::vector<Bytes> contents;  // by ordinal
  PageRef page;                 // keeps what `stored` looks into, where needed
};

class KeyMaker {
 public:
  KeyMaker(const TableDef& def, const RealIndex& index);

  // Whether the row's entry is known byte by byte; else a part of it has no
  // proven key, or the key is longer than entries can be.
  bool Build(const RowFields& row, Bytes& key);
  // Of the row built last.
  bool all_null() const { return nulls_ == parts_.size(); }
  bool some_null() const { return nulls_ != 0; }

  // For a row that Build refused: whether `key` has everything that is known.
  bool MayBe(const RowFields& row, ByteView key);
  // Ordinals of the columns of the parts, and of the memo columns among them.
  std::vector<std::size_t> ordinals() const;
  std::vector<std::size_t> memos() const;

 private:
  struct Part {
    const ColumnDef* column = nullptr;
    std::size_t ordinal = 0;
    bool ascending = true;
    bool provable = true;
  };
  bool Append(const Part& part, const RowFields& row, Bytes& key);
  void AppendText(const Part& part, ByteView stored, Bytes& key);

  std::vector<Part> parts_;
  std::u16string units_;
  std::size_t nulls_ = 0;
};

}  // namespace jet::check
