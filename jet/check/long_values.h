// The integrity checker on memo and OLE values: every value is whole and alone
// on its rows, and those lie on pages of its column.
#pragma once

#include <array>
#include <string>
#include <unordered_map>
#include <vector>

#include "jet/check/definition.h"
#include "jet/row/long_value.h"

namespace jet::check {

// All long-value columns of one table.
class LongValues {
 public:
  LongValues(const Context& context, std::string_view table, const TableDef& def);

  // Which pages each column owns.
  void ReadMaps();
  // Follows the value of row `row` that `stored` describes; `content`, if given,
  // receives it.
  Fault Follow(std::size_t ordinal, ByteView stored, RowId row, Bytes* content);
  // The content alone, for a value that has been followed already.
  Bytes Reread(ByteView stored) const;
  // After all rows: pages that none of them led to, and long values of no row.
  void CheckRest();

 private:
  using RowBits = std::array<std::uint64_t, 4>;
  // A page that was looked at: its rows, and those that belong to a value.
  struct Page {
    bool usable = false;
    RowBits present{}, used{};
  };
  struct Column {
    bool is_long_value = false;
    bool has_map = false;
    Ledger::OwnerId owner = 0;
    std::optional<MapPages> owned;
    std::unordered_map<std::uint32_t, Page> pages;
  };

  void ReadColumnMaps(std::size_t ordinal);
  Page CheckPage(const Column& column, PageNumber page, PageView bytes);
  Fault FollowChain(Column& column, const LongValueDescriptor& value, bool is_memo, Bytes* content);
  Fault Take(Column& column, RowId at, PageRef& page, ByteView& bytes);
  std::string PlaceText(std::size_t ordinal) const;

  const Context* context_;
  std::string_view table_;
  const TableDef* def_;
  std::vector<Column> columns_;  // by ordinal
};

}  // namespace jet::check
