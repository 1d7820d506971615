#include "jet/table/row_store.h"

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/pages/usage_map.h"
#include "jet/storage/pager.h"

namespace jet {
namespace {

constexpr std::size_t kPointerBytes = 4;  // of a moved row, in its slot

bool IsHome(SlotKind kind) { return kind == SlotKind::kLive || kind == SlotKind::kMoved; }

}  // namespace

// Pages that are listed by the map but are not this table's rows are skipped:
// some writers list definition pages.
bool RowStore::IsDataPage(PageView bytes) const {
  return RowPage::IsRowPage(bytes) && RowPage::OwnerOf(bytes) == def_->page.value;
}

std::optional<PageNumber> RowStore::NextDataPage(PageNumber from) const {
  const UsageMap owned(pager(), def_->owned_map);
  for (auto page = owned.FirstFrom(from); page; page = owned.FirstFrom({page->value + 1})) {
    const PageRef ref = pager().Read(*page);
    if (IsDataPage(ref.bytes())) return page;
  }
  return std::nullopt;
}

std::optional<PageNumber> RowStore::LastDataPage(PageNumber limit) const {
  const UsageMap owned(pager(), def_->owned_map);
  for (auto page = owned.LastUpTo(limit); page; page = owned.LastUpTo({page->value - 1})) {
    const PageRef ref = pager().Read(*page);
    if (IsDataPage(ref.bytes())) return page;
    if (page->value == 0) break;
  }
  return std::nullopt;
}

std::optional<RowId> RowStore::First() const {
  for (auto page = NextDataPage({}); page; page = NextDataPage({page->value + 1})) {
    const PageRef ref = pager().Read(*page);
    if (const auto slot = RowPage(*page, ref.bytes()).FirstHome(0)) {
      return RowId{*page, static_cast<std::uint8_t>(*slot)};
    }
  }
  return std::nullopt;
}

std::optional<RowId> RowStore::Next(RowId row) const {
  std::size_t from = row.row + std::size_t{1};
  for (std::optional<PageNumber> page = row.page; page; page = NextDataPage({page->value + 1})) {
    const PageRef ref = pager().Read(*page);
    if (const auto slot = RowPage(*page, ref.bytes()).FirstHome(from)) {
      return RowId{*page, static_cast<std::uint8_t>(*slot)};
    }
    from = 0;
  }
  return std::nullopt;
}

std::optional<RowId> RowStore::Last() const {
  for (auto page = LastDataPage({0xFFFFFFFF}); page; page = LastDataPage({page->value - 1})) {
    const PageRef ref = pager().Read(*page);
    const RowPage rows(*page, ref.bytes());
    for (std::size_t slot = rows.row_count(); slot-- > 0;) {
      if (IsHome(rows.kind(slot))) return RowId{*page, static_cast<std::uint8_t>(slot)};
    }
  }
  return std::nullopt;
}

ByteView RowStore::Find(RowId id, PageRef& page, RowId& at) const {
  at = id;
  page = pager().Read(id.page);
  if (!IsDataPage(page.bytes())) return {};
  const std::optional<FoundRow> home = FindRow(id.page, page.bytes(), id.row);
  if (!home) return {};
  if (home->kind == SlotKind::kLive) return home->bytes;
  if (home->kind != SlotKind::kMoved) return {};
  if (home->bytes.size() < kPointerBytes) {
    throw Error::Damaged(id.page, "a moved row points nowhere");
  }
  at = RowId::FromPacked(GetU32(home->bytes, 0));
  page = pager().Read(at.page);
  if (!IsDataPage(page.bytes())) {
    throw Error::Damaged(id.page, "a moved row points to a page of another owner");
  }
  const std::optional<FoundRow> body = FindRow(at.page, page.bytes(), at.row);
  if (!body || body->kind != SlotKind::kBody) {
    throw Error::Damaged(id.page, "a moved row points to no row");
  }
  return body->bytes;
}

// Above `above`, so that stored order stays insertion order; for pages whose
// rows are hidden from walks any page will do.
PageNumber RowStore::NewDataPage(PageNumber above, bool mark) {
  const PageNumber page = mark && above ? allocator_->AllocateAbove(above) : allocator_->Allocate();
  InitRowPage(pager().Edit(page), def_->page.value);
  UsageMap(pager(), def_->owned_map).Add(page, *allocator_);
  if (mark) UsageMap(pager(), def_->free_map).MarkOnly(page, *allocator_);
  return page;
}

RowId RowStore::Append(ByteView bytes) {
  if (!last_ || last_epoch_ != pager().epoch()) {
    last_ = LastDataPage({0xFFFFFFFF}).value_or(PageNumber{});
    last_epoch_ = pager().epoch();
    if (last_) RowPage(last_, pager().Read(last_).bytes());  // its slots hold together
  }
  if (!last_ || !FitsNewRow(last_, pager().Read(last_).bytes(), bytes.size())) {
    last_ = NewDataPage(last_, true);
  }
  const auto parts = PartsOfNewRow(pager().Read(last_).bytes(), bytes.size());
  return {last_, AddRow(last_, pager().Edit(last_, parts), bytes, SlotKind::kLive)};
}

// The bytes of a row that has outgrown its page.
RowId RowStore::AppendBody(ByteView bytes) {
  const auto last = LastDataPage({0xFFFFFFFF});
  PageNumber page = last.value_or(PageNumber{});
  if (!last || !FitsNewRow(page, pager().Read(page).bytes(), bytes.size())) {
    page = NewDataPage(page, false);
    last_ = {};  // the new page may lie behind it
  }
  return {page, AddRow(page, pager().Edit(page), bytes, SlotKind::kBody)};
}

// Deletes a row's bytes; a page that holds none any more goes back to the file,
// unless it is the table's last one.
void RowStore::RemoveBytes(RowId at) {
  DeleteRow(at.page, pager().Edit(at.page), at.row);
  const PageRef page = pager().Read(at.page);
  const RowPage rows(at.page, page.bytes());
  for (std::size_t slot = 0; slot < rows.row_count(); ++slot) {
    if (rows.kind(slot) != SlotKind::kDeleted) return;
  }
  const auto first = NextDataPage({});
  const auto last = LastDataPage({0xFFFFFFFF});
  if (first == last) return;
  last_ = {};
  UsageMap(pager(), def_->free_map).Remove(at.page);
  MarkReleased(pager().Edit(at.page));
  allocator_->Free(at.page, def_->owned_map);
}

void RowStore::Rewrite(RowId id, ByteView bytes) {
  RowId at;
  PageRef page;
  if (Find(id, page, at).data() == nullptr) throw Error::Damaged(id.page, "the row is gone");
  const bool moved = at != id;
  if (ReplaceRow(at.page, pager().Edit(at.page), at.row, bytes,
                 moved ? SlotKind::kBody : SlotKind::kLive)) {
    return;
  }
  if (moved) RemoveBytes(at);
  const RowId body = AppendBody(bytes);
  Bytes pointer;
  AddU32(pointer, body.packed());
  if (!ReplaceRow(id.page, pager().Edit(id.page), id.row, pointer, SlotKind::kMoved)) {
    throw Error(ErrorCode::kRowTooLong, "no room for the row's new address");
  }
}

void RowStore::Remove(RowId id) {
  RowId at;
  PageRef page;
  if (Find(id, page, at).data() == nullptr) throw Error::Damaged(id.page, "the row is gone");
  if (at != id) RemoveBytes(at);
  RemoveBytes(id);
}

// Looks at each page once, so that the cache can pass it on.
bool RowWalk::NextPage() {
  Pager& pager = store_->pager();
  const UsageMap owned(pager, store_->def_->owned_map);
  rows_.reset();
  for (auto page = owned.FirstFrom(from_); page; page = owned.FirstFrom(from_)) {
    from_ = {page->value + 1};
    page_ = PageRef();
    page_ = pager.Read(*page);
    if (!store_->IsDataPage(page_.bytes())) continue;
    rows_.emplace(*page, page_.bytes());
    slot_ = 0;
    return true;
  }
  return false;
}

bool RowWalk::Next() {
  for (;;) {
    const auto slot = rows_ ? rows_->FirstHome(slot_) : std::nullopt;
    if (!slot) {
      if (!NextPage()) return false;
      continue;
    }
    slot_ = *slot + 1;
    id_ = at_ = {page_.number(), static_cast<std::uint8_t>(*slot)};
    if (rows_->kind(*slot) == SlotKind::kLive) {
      bytes_ = rows_->row(*slot);
      return true;
    }
    bytes_ = store_->Find(id_, body_page_, at_);
    if (bytes_.data() != nullptr) return true;
  }
}

}  // namespace jet
