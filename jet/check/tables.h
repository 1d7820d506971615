// The integrity checker on one table: its maps, its pages, its rows and its
// counters, with long values and indexes by the parts made for them.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "jet/check/indexes.h"
#include "jet/check/long_values.h"

namespace jet::check {

class TableCheck : private RowSource {
 public:
  // Receives every row that can be read.
  using Visitor = std::function<void(RowId, const RowFields&)>;

  TableCheck(const Context& context, std::string name, TableDef def);

  const TableDef& def() const { return def_; }
  // `contents_of`: ordinals of long values whose content the visitor wants.
  void Run(const std::vector<std::size_t>& contents_of = {}, const Visitor& visit = {});

 private:
  bool Fetch(RowId id, RowFields& row) override;
  void Walk(const std::function<void(RowId, const RowFields&)>& visit) override;
  const std::vector<std::uint32_t>& unreadable() const override { return unreadable_; }

  void LeaveOutFields();
  bool ReadMaps();
  bool CheckPage(PageNumber page, PageView bytes, Slots& slots);
  void CheckRows(PageNumber page, PageView bytes, const Slots& slots, const Visitor& visit);
  bool CheckRow(RowId id, ByteView bytes, const Visitor& visit);
  // The bytes of a live row, wherever they are; `body` keeps their page.
  Fault FollowMoved(ByteView pointer, PageRef& body, ByteView& bytes) const;
  bool Load(PageRef page, std::size_t slot, RowFields& row) const;
  void CompareBodies();
  void CompareCounters();
  std::string AutonumberText() const;

  const Context* context_;
  std::string name_;
  TableDef def_;
  RowSplitter splitter_;
  std::vector<std::size_t> can_be_wrong_;  // ordinals
  LongValues long_values_;
  std::deque<IndexCheck> indexes_;
  Ledger::OwnerId rows_owner_;
  std::optional<MapPages> owned_;
  std::vector<PageNumber> data_pages_;
  std::vector<bool> wants_content_;              // by ordinal
  std::vector<std::uint32_t> unreadable_;        // packed
  std::vector<std::uint32_t> bodies_, targets_;  // of moved rows, packed
  std::uint64_t live_rows_ = 0;
  std::int64_t greatest_autonumber_ = 0;
  std::optional<RowId> has_next_autonumber_;  // a row with the number that is next
  std::optional<std::size_t> autonumber_;     // ordinal
  RowFields row_;
};

}  // namespace jet::check
