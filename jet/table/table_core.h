// What stands behind a Table: its definition and rules as they are now, and the parts
// that read and change its rows.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "jet/base/error.h"
#include "jet/base/value.h"
#include "jet/row/row.h"
#include "jet/row/table_def.h"
#include "jet/storage/pager.h"
#include "jet/table/row_store.h"
#include "jet/table/table_indexes.h"

namespace jet {

// What the properties of a table say about a column.
struct ColumnRules {
  bool required = false;
  bool allow_zero_length = true;
  std::string default_expression;  // empty: none
};

// What a table is, as its pages and its properties say together.
struct TableState {
  TableDef def;
  std::vector<ColumnRules> rules;  // by ordinal, or empty
};

class TableCore {
 public:
  // `load` gives the state as it is now: at once, and again whenever pages went
  // back to an older one. `now` for Date() and Now() in defaults. REQUIRES: the
  // allocator outlives the table.
  TableCore(PageAllocator& allocator, std::string name, std::function<TableState()> load,
            std::function<DateTime()> now);
  TableCore(const TableCore&) = delete;
  TableCore& operator=(const TableCore&) = delete;

  const std::string& name() const { return name_; }
  PageAllocator& allocator() { return *allocator_; }
  Pager& pager() { return allocator_->pager(); }
  DateTime now() const { return now_(); }

  // Both stay valid until the table or its definition is changed.
  const TableDef& def() {
    if (epoch_ != pager().epoch()) Reload();
    return state_.def;
  }
  const std::vector<ColumnRules>& rules() {
    def();
    return state_.rules;
  }
  // As def() was last, whatever became of the pages since. Counters that are raised
  // here must be stored, too.
  TableDef& loaded() { return state_.def; }
  const std::vector<ColumnRules>& loaded_rules() const { return state_.rules; }
  // The order by which column names compare.
  SortOrder name_order();
  // After the stored definition or the properties were changed.
  void Reload();
  // Counts the loads.
  std::uint64_t version() const { return version_; }

  RowStore& rows() { return rows_; }
  TableIndexes& indexes() { return indexes_; }
  RowEncoder& encoder() { return encoder_; }
  // The bytes that stand at `at`; kDamaged with that place.
  RowView ViewOf(ByteView bytes, RowId at) const { return {bytes, LayoutOf(bytes, at)}; }
  RowLayout LayoutOf(ByteView bytes, RowId at) const;
  // Writes every row again as the definition stands now; values stay.
  void RewriteRows();

  // Whether the counter of autonumbers was found not to be below a number in use.
  bool counter_is_sound() { return sound_epoch_ == pager().epoch(); }
  void SetCounterSound() { sound_epoch_ = pager().epoch(); }

  // Runs `body`; its errors name the table and the file.
  template <class Body>
  auto Named(Body&& body) -> decltype(body()) {
    try {
      return body();
    } catch (Error& error) {
      error.In(pager().path()).OfTable(name_);
      throw;
    }
  }

 private:
  PageAllocator* allocator_;
  std::string name_;
  std::function<TableState()> load_;
  std::function<DateTime()> now_;
  TableState state_;
  RowShape shape_;           // of state_
  std::uint64_t epoch_ = 0;  // of state_
  std::uint64_t version_ = 0;
  RowStore rows_;
  TableIndexes indexes_;
  RowEncoder encoder_;
  std::optional<std::uint64_t> sound_epoch_;  // of the counter
};

}  // namespace jet
