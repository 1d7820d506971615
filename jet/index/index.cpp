#include "jet/index/index.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "jet/base/error.h"
#include "jet/index/index_entries.h"

namespace jet {
namespace {

bool StartsWith(ByteView bytes, ByteView start) {
  return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
}

}  // namespace

IndexPlace DescendIndex(Pager& pager, PageNumber root, PageNumber owner, ByteView bytes,
                        IndexPath* path, bool from_end) {
  IndexPlace place;
  PageNumber number = root;
  for (std::size_t depth = 0; depth < IndexPath::kMaxDepth; ++depth) {
    place.leaf.Read(pager, number, owner);
    place.slot = place.leaf.page.LowerBound(bytes, from_end);
    if (path != nullptr) {
      path->steps[depth] = {number, place.slot};
      path->depth = depth + 1;
    }
    if (place.leaf.page.leaf()) return place;
    number = place.leaf.page.Child(place.slot);
  }
  throw Error::Damaged(root, "an index deeper than any can be");
}

Index::Index(Pager& pager, const TableDef& def, std::size_t ordinal)
    : pager_(&pager), def_(&def), ordinal_(ordinal) {
  assert(ordinal < def.real_indexes.size());
}

// ---- walking

void Index::Cursor::Settle() {
  while (slot_.at_end()) {
    valid_ = false;
    const PageNumber next = leaf_.page.next();
    if (!next) return;
    const PageNumber from = leaf_.page.number();
    if (++leaves_seen_ > pager_->page_count()) {
      throw Error::Damaged(from, "the leaves of an index form a ring");
    }
    if (!leaf_.page.empty()) {
      const ByteView last = leaf_.page.Entry(leaf_.page.Last(), buffer_);
      last_.assign(last.begin(), last.end());
    }
    leaf_.Read(*pager_, next, owner_);
    if (!leaf_.page.leaf()) throw Error::Damaged(from, "an index leaf is followed by a node");
    slot_ = leaf_.page.First();
    if (slot_.at_end()) continue;
    const ByteView first = leaf_.page.Entry(slot_, buffer_);
    if (!std::lexicographical_compare(last_.begin(), last_.end(), first.begin(), first.end())) {
      throw Error::Damaged(from, "the leaves of an index are out of order");
    }
  }
  entry_ = leaf_.page.Entry(slot_, buffer_);
  valid_ = true;
}

void Index::Cursor::Next() {
  slot_ = leaf_.page.After(slot_);
  Settle();
}

RowId Index::Cursor::row() const {
  const ByteView row = entry_.last(kIndexRowBytes);
  const std::uint32_t page =
      static_cast<std::uint32_t>(row[0]) << 16 | static_cast<std::uint32_t>(row[1]) << 8 | row[2];
  return {PageNumber{page}, row[3]};
}

Index::Cursor Index::Seek(ByteView bytes, IndexHint* hint) const {
  Cursor cursor(*pager_, def_->page);
  IndexPlace place = DescendIndex(*pager_, real().root, def_->page, bytes, nullptr,
                                  hint != nullptr && hint->at_end);
  if (hint != nullptr) hint->leaf = place.leaf.page.number();
  cursor.leaf_ = std::move(place.leaf);
  cursor.slot_ = place.slot;
  cursor.Settle();
  return cursor;
}

Index::Cursor Index::First() const { return Seek({}); }
Index::Cursor Index::LowerBound(ByteView key) const { return Seek(key); }

// A key that begins with another may stand between that key's entries: the row
// takes part in the order. So both loops go on while the beginning fits.

std::optional<RowId> Index::Find(ByteView key) const {
  for (Cursor at = Seek(key); at.valid() && StartsWith(at.entry_, key); at.Next()) {
    if (at.key().size() == key.size()) return at.row();
  }
  return std::nullopt;
}

bool Index::HasKey(ByteView key, RowId except, IndexHint& hint) const {
  for (Cursor at = Seek(key, &hint); at.valid() && StartsWith(at.entry_, key); at.Next()) {
    if (at.key().size() == key.size() && at.row() != except) return true;
  }
  return false;
}

// ---- changing

bool Index::Insert(PageAllocator& allocator, ByteView key, RowId row, IndexHint& hint) {
  return IndexChange(*pager_, allocator, *def_, real()).Insert(key, row, hint);
}

bool Index::Erase(PageAllocator& allocator, ByteView key, RowId row) {
  return IndexChange(*pager_, allocator, *def_, real()).Erase(key, row);
}

bool Index::EraseByRow(PageAllocator& allocator, RowId row) {
  Bytes key;
  {
    Cursor at = First();
    while (at.valid() && at.row() != row) at.Next();
    if (!at.valid()) return false;
    key.assign(at.key().begin(), at.key().end());
  }
  if (!Erase(allocator, key, row)) {
    throw Error::Damaged(real().root, "an index entry that its nodes do not lead to");
  }
  return true;
}

std::uint32_t Index::Build(PageAllocator& allocator, const IndexEntries& sorted) {
  IndexChange change(*pager_, allocator, *def_, real());
  std::uint32_t distinct = 0;
  for (std::size_t i = 0; i < sorted.size();) {
    IndexHint hint{.at_end = true, .leaf = {}};
    distinct += change.Insert(sorted.key(i), sorted.row(i), hint) ? 1 : 0;
    ++i;
    i += change.Append(sorted, i, distinct);
  }
  return distinct;
}

void Index::InitTree(PageAllocator& allocator, PageNumber owner, const RealIndex& index) {
  Pager& pager = allocator.pager();
  IndexPageEditor::Format(PageNumber{}, pager.Edit(index.root), owner, 0);
  UsageMap(pager, index.page_map).Add(index.root, allocator);
}

}  // namespace jet
