#include "jet/compact/table_copy.h"

#include <algorithm>
#include <array>

#include "jet/base/bytes.h"
#include "jet/base/system_ids.h"
#include "jet/compact/tree_copy.h"
#include "jet/row/table_def_bytes.h"
#include "jet/row/table_def_chain.h"

namespace jet::compact {
namespace {

// Of other indexes the field means nothing.
bool NamesTable(const LogicalIndex& index) {
  return index.kind == LogicalIndex::kRelation && index.related_table != 0;
}

bool IsBase(PageNumber definition) { return definition <= kRelationshipsPage; }

}  // namespace

TableCopy::TableCopy(const CopyContext& context, Source source)
    : context_(&context),
      source_(std::move(source)),
      old_(LoadTableDef(context.from, source_.page)),
      def_(old_),
      id_columns_(IdColumns(old_, source_.name, source_.system)) {
  // Where a column has long values and lost its maps, it gets new ones. No definition can
  // hold the second map alone.
  constexpr RowId kToBeTaken{PageNumber{1}, 0};
  for (ColumnDef& column : def_.columns) {
    if (column.owned_map) continue;
    column.owned_map = column.free_map = IsLongValue(column.type) ? kToBeTaken : RowId{};
  }
}

std::size_t TableCopy::map_count() const {
  std::size_t maps = 2 + def_.real_indexes.size();
  const auto count = [&](RowId owned, RowId free) { maps += (owned ? 1U : 0U) + (free ? 1U : 0U); };
  for (const TableDef::StrayMaps& stray : def_.stray_maps) count(stray.owned_map, stray.free_map);
  for (const ColumnDef& column : def_.columns) count(column.owned_map, column.free_map);
  return maps;
}

bool TableCopy::is_related() const { return std::ranges::any_of(def_.logical_indexes, NamesTable); }

void TableCopy::TakeDefinition(PageNumber first) {
  def_.page = first;
  def_.pages.assign(1, first);
  context_->ids.Add(old_.page, first);
}

void TableCopy::TakeContinuation() {
  const std::size_t count = DefinitionPages(WriteDefinition(def_).size());
  while (def_.pages.size() < count) def_.pages.push_back(context_->out.Take());
}

void TableCopy::TakeMaps() {
  own_book_.emplace(context_->out, map_count(), context_->from.pages_per_bitmap());
  TakeMaps(*own_book_);
}

void TableCopy::TakeMaps(MapBook& book) {
  book_ = &book;
  def_.owned_map = book.Add();
  def_.free_map = book.Add();
  const auto take = [&](RowId& map) {
    if (map) map = book.Add();
  };
  for (TableDef::StrayMaps& stray : def_.stray_maps) {
    take(stray.owned_map);
    take(stray.free_map);
  }
  std::vector<ColumnDef*> columns;
  for (ColumnDef& column : def_.columns) columns.push_back(&column);
  std::ranges::sort(columns, {}, &ColumnDef::id);
  for (ColumnDef* column : columns) {
    take(column->owned_map);
    take(column->free_map);
  }
  for (RealIndex& index : def_.real_indexes) {
    index.page_map = book.Add();
    index.root = {};
  }
}

void TableCopy::TakeRoots() {
  for (RealIndex& index : def_.real_indexes) index.root = context_->out.Take();
}

void TableCopy::TakeRowPages() {
  row_pages_left_ = CountRowPages(context_->allocator, old_);
  row_page_ = {context_->out.page_count()};
  for (std::uint32_t i = 0; i < row_pages_left_; ++i) context_->out.Take();
}

PageNumber TableCopy::NextRowPage() {
  PageNumber page = row_page_;
  if (row_pages_left_ != 0) {
    ++row_page_.value;
    --row_pages_left_;
  } else {
    page = context_->out.Take();
  }
  PagesOf(def_.owned_map).Add(page);
  return page;
}

void TableCopy::CopyRows() {
  RowPages pages(context_->out, def_.page, [this] { return NextRowPage(); });
  std::vector<std::optional<LongValueCopy>> values(def_.columns.size());
  RowCopyJob job{context_->allocator, old_, id_columns_, context_->ids, {}};
  for (std::size_t i = 0; i < values.size(); ++i) {
    const ColumnDef& column = def_.columns[i];
    if (!IsLongValue(column.type)) continue;
    job.long_values.resize(values.size());
    PageRuns* free = column.free_map ? &PagesOf(column.free_map) : nullptr;
    job.long_values[i] =
        &values[i].emplace(context_->from, context_->out, PagesOf(column.owned_map), free);
  }
  context_->rows.Clear();
  compact::CopyRows(job, pages, context_->rows);
  for (std::optional<LongValueCopy>& value : values) {
    if (value) value->Finish();
  }
  if (const PageNumber last = pages.Finish()) PagesOf(def_.free_map).Add(last);
  def_.row_count = context_->rows.size();
}

void TableCopy::CopyIndexes() {
  const TreeCopyJob job{context_->from, old_, id_columns_, context_->ids, context_->rows};
  for (std::size_t i = 0; i < def_.real_indexes.size(); ++i) {
    RealIndex& index = def_.real_indexes[i];
    if (!index.root) index.root = context_->out.Take();
    TreeWriter tree(context_->out, def_.page, index.root, PagesOf(index.page_map));
    CopyTree(job, i, tree);
    tree.Finish();
    index_entries_ += tree.entries();
    index.rows_at_compact = IsBase(old_.page) ? 0 : def_.row_count;
    index.distinct_keys = tree.distinct_keys();
  }
}

void TableCopy::FinishMaps() {
  if (own_book_) own_book_->Finish();
  own_book_.reset();
  book_ = nullptr;
}

void TableCopy::PutDefinition() {
  for (LogicalIndex& index : def_.logical_indexes) {
    if (!NamesTable(index)) continue;
    const PageNumber other = context_->ids.Find({index.related_table});
    if (!other) throw Error::Damaged(old_.page, "a relationship to a table that is not there");
    index.related_table = other.value;
  }
  PutContent(WriteDefinition(def_));
}

void TableCopy::PutContent(const Bytes& content) {
  for (std::size_t i = 0; i < def_.pages.size(); ++i) {
    std::array<std::uint8_t, kPageSize> image{};
    PutDefinitionPage(content, def_.pages, i, image);
    context_->out.Put(def_.pages[i], image);
  }
}

}  // namespace jet::compact
