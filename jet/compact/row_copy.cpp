#include "jet/compact/row_copy.h"

#include <utility>

#include "jet/base/bytes.h"
#include "jet/pages/slotted_page.h"
#include "jet/row/row.h"
#include "jet/table/row_store.h"

namespace jet::compact {
namespace {

// A row in hand: its bytes, to be changed, and the view that finds the fields in them.
class EditedRow {
 public:
  EditedRow(const RowShape& shape, Bytes& bytes)
      : bytes_(&bytes), view_(bytes, LayoutOf(shape, bytes)) {}
  // The stored bytes of a column; none for Null.
  std::span<std::uint8_t> Field(const ColumnDef& column) {
    const std::optional<ByteView> stored = view_.Raw(column);
    if (!stored || stored->empty()) return {};
    const auto at = static_cast<std::size_t>(stored->data() - bytes_->data());
    return std::span(*bytes_).subspan(at, stored->size());
  }

 private:
  Bytes* bytes_;
  RowView view_;
};

void CopyLongValues(const RowCopyJob& job, EditedRow& row, LongValueKind kind) {
  for (std::size_t i = 0; i < job.long_values.size(); ++i) {
    const ColumnDef& column = job.def.columns[i];
    if (!IsLongValue(column.type)) continue;
    const std::span<std::uint8_t> stored = row.Field(column);
    if (stored.empty()) continue;
    const LongValueDescriptor value = ParseLongValue(stored);
    if (value.kind != kind) continue;
    job.long_values[i]->Copy(value, stored);
  }
}

void MapIds(const RowCopyJob& job, EditedRow& row) {
  for (const std::size_t ordinal : job.id_columns) {
    const std::span<std::uint8_t> stored = row.Field(job.def.columns[ordinal]);
    if (stored.empty()) continue;
    const auto id = static_cast<std::int32_t>(GetU32(stored, 0));
    PutU32(stored, 0, static_cast<std::uint32_t>(job.ids.Map(id)));
  }
}

}  // namespace

void RowPages::Begin() {
  page_ = take_();
  InitRowPage(image_, owner_.value);
}

RowPages::Run RowPages::AddRun(const RowPage& rows, std::size_t first) {
  if (!page_) Begin();
  for (const bool is_fresh : {false, true}) {
    const auto slot = static_cast<std::uint8_t>(RowPage(page_, image_).row_count());
    const std::size_t count = AddRows(page_, image_, rows, first);
    if (count != 0) return {{page_, slot}, count};
    if (is_fresh) break;
    Finish();
    Begin();
  }
  throw Error::Damaged(owner_, "a row that no page has room for");
}

RowId RowPages::Add(ByteView row) {
  if (page_ && !FitsNewRow(page_, image_, row.size())) Finish();
  if (!page_) Begin();
  return {page_, AddRow(page_, image_, row, SlotKind::kLive)};
}

PageNumber RowPages::Finish() {
  if (page_) out_->Put(page_, image_);
  return std::exchange(page_, {});
}

// Chains come first, then values that share pages, then the row: so do they stand in
// files that other programs wrote in one go.
void CopyRows(const RowCopyJob& job, RowPages& pages, RowIdMap& rows) {
  const RowStore store(job.from, job.def);
  const RowShape shape(job.def);
  const bool plain = job.id_columns.empty() && job.long_values.empty();
  Bytes bytes;
  for (RowWalk walk(store); walk.Next();) {
    if (plain && walk.at() == walk.id()) {
      const RowPages::Run run = pages.AddRun(walk.page(), walk.id().row);
      for (std::size_t i = 0; i < run.count; ++i) {
        const auto step = static_cast<std::uint8_t>(i);
        rows.Add({walk.id().page, static_cast<std::uint8_t>(walk.id().row + step)},
                 {run.first.page, static_cast<std::uint8_t>(run.first.row + step)});
      }
      walk.Skip(run.count - 1);
      continue;
    }
    bytes.assign(walk.bytes().begin(), walk.bytes().end());
    EditedRow row(shape, bytes);
    MapIds(job, row);
    CopyLongValues(job, row, LongValueKind::kChain);
    CopyLongValues(job, row, LongValueKind::kSingle);
    rows.Add(walk.id(), pages.Add(bytes));
  }
}

std::uint32_t CountRowPages(PageAllocator& from, const TableDef& def) {
  std::uint32_t pages = 0;
  std::array<std::uint8_t, kPageSize> image{};
  const RowStore store(from, def);
  for (RowWalk walk(store); walk.Next();) {
    if (pages == 0 || !FitsNewRow({pages}, image, walk.bytes().size())) {
      InitRowPage(image, def.page.value);
      ++pages;
    }
    AddRow({pages}, image, walk.bytes(), SlotKind::kLive);
  }
  return pages;
}

}  // namespace jet::compact
