#include "jet/table/table_core.h"

namespace jet {

TableCore::TableCore(PageAllocator& allocator, std::string name, std::function<TableState()> load,
                     std::function<DateTime()> now)
    : allocator_(&allocator),
      name_(std::move(name)),
      load_(std::move(load)),
      now_(std::move(now)),
      rows_(allocator, state_.def),
      indexes_(allocator, state_.def) {
  Reload();
}

void TableCore::Reload() {
  state_ = load_();
  shape_ = RowShape(state_.def);
  state_.rules.resize(state_.def.columns.size());
  epoch_ = pager().epoch();
  ++version_;
}

// Column names compare by the sort order that every descriptor repeats.
SortOrder TableCore::name_order() {
  for (const ColumnDef& column : def().columns) {
    if (column.type != ColumnType::kNumeric) return column.order;
  }
  return kGeneral;
}

RowLayout TableCore::LayoutOf(ByteView bytes, RowId at) const {
  try {
    return jet::LayoutOf(shape_, bytes);
  } catch (const Error& error) {
    throw Error::Damaged(at.page, "row " + std::to_string(at.row) + ": " + error.detail());
  }
}

void TableCore::RewriteRows() {
  Named([&] {
    Scope scope(pager());
    const TableDef& now = def();
    for (auto id = rows_.First(); id; id = rows_.Next(*id)) {
      PageRef page;
      RowId at;
      const ByteView bytes = rows_.Find(*id, page, at);
      if (bytes.data() == nullptr) continue;
      encoder_.Begin(now);
      encoder_.SetFrom(ViewOf(bytes, at));
      rows_.Rewrite(*id, encoder_.Finish());
    }
    scope.Commit();
  });
}

}  // namespace jet
