#include "jet/index/index_change.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "jet/base/error.h"
#include "jet/index/index_key.h"

namespace jet {
namespace {

// An entry put together: key, row, and in a node the child.
class EntryBuffer {
 public:
  explicit EntryBuffer(ByteView start) { Add(start); }
  EntryBuffer(ByteView key, RowId row) : EntryBuffer(key) {
    AddU24(row.page.value);
    AddByte(row.row);
  }
  EntryBuffer(ByteView bare, PageNumber child) : EntryBuffer(bare) {
    AddByte(child.value >> 24);
    AddU24(child.value);
  }
  ByteView view() const { return {bytes_.data(), size_}; }

 private:
  void Add(ByteView bytes) {
    if (bytes.size() > bytes_.size() - kIndexRowBytes - kIndexChildBytes) {
      throw Error(ErrorCode::kKeyTooLong);
    }
    std::copy(bytes.begin(), bytes.end(), bytes_.begin());
    size_ = bytes.size();
  }
  void AddByte(std::uint32_t value) { bytes_[size_++] = static_cast<std::uint8_t>(value); }
  void AddU24(std::uint32_t value) {
    AddByte(value >> 16);
    AddByte(value >> 8);
    AddByte(value);
  }
  std::array<std::uint8_t, kIndexArea + kIndexRowBytes + kIndexChildBytes> bytes_;
  std::size_t size_ = 0;
};

struct Division {
  std::size_t boundary;  // entries from here on go right
  bool entry_right;      // where the new entry goes
};

// How a full page divides for a new entry before `slot`. Half and half, but a
// rising sequence fills its pages.
Division Divide(const IndexPageEditor& page, IndexSlot slot, ByteView entry) {
  if (slot.at_end() && !page.next()) return {page.used(), true};
  const std::size_t start = page.First().start;
  const bool several = page.First().end < page.used();
  if (several && SharesPrefix(page, entry)) {
    const std::size_t middle = page.Middle();
    const bool right =
        slot.start > middle || (slot.start == middle && page.used() - middle < middle - start);
    const std::size_t half = right ? page.used() - middle + start : middle;
    if (half + entry.size() - page.prefix() <= kIndexArea) return {middle, right};
  }
  // Entries of extreme lengths, or one that would spoil the prefix of half the
  // page: it joins what stands on its shorter side.
  return {slot.start, page.used() - slot.start < slot.start - start};
}

}  // namespace

IndexPageEditor IndexChange::Edit(PageNumber page) {
  return IndexPageEditor(page, pager_->Edit(page), owner_);
}

IndexPageEditor IndexChange::EditNode(PageNumber page) {
  IndexPageEditor editor = Edit(page);
  if (editor.leaf()) throw Error::Damaged(page, "an index leaf beside nodes");
  return editor;
}

IndexPageEditor IndexChange::EditSibling(PageNumber page, const IndexPage& of) {
  if (page == of.number()) throw Error::Damaged(page, "an index node that its parent names twice");
  return EditNode(page);
}

PageNumber IndexChange::NewPage() {
  const PageNumber page = allocator_->Allocate();
  if (index_->page_map) UsageMap(*pager_, index_->page_map).Add(page, *allocator_);
  return page;
}

void IndexChange::Unlink(const IndexPage& page) {
  const PageNumber previous = page.previous(), next = page.next(), number = page.number();
  // Links of real nodes are not always kept; only what points here is changed.
  if (previous) {
    IndexPageEditor neighbour = Edit(previous);
    if (neighbour.next() == number) neighbour.SetNext(next);
  }
  if (next) {
    IndexPageEditor neighbour = Edit(next);
    if (neighbour.previous() == number) neighbour.SetPrevious(previous);
  }
  allocator_->Free(number, index_->page_map);
}

// ---- putting in

bool IndexChange::Insert(ByteView key, RowId row, IndexHint& hint) {
  assert(!key.empty());
  if (key.size() > kMaxIndexEntryBytes) throw Error(ErrorCode::kKeyTooLong);
  const EntryBuffer entry(key, row);
  IndexPlace place;
  const std::optional<IndexSlot> known = SlotIn(place.leaf, entry.view(), hint);
  if (known) {
    place.slot = *known;
  } else {
    place = DescendIndex(*pager_, index_->root, owner_, entry.view(), &path_, hint.at_end);
  }
  const IndexPage& leaf = place.leaf.page;
  const IndexSlot slot = place.slot;
  if (!slot.at_end() && leaf.Equals(slot, entry.view())) {
    throw Error::Damaged(leaf.number(), "the index has an entry for a row that is new");
  }
  hint.at_end = slot.at_end() && !leaf.next();
  const bool is_new = !NeighbourHasKey(leaf, slot, key);
  last_leaf_ = {};
  if (const auto parts = PartsOfNewEntry(leaf, slot, entry.view())) {
    IndexPageEditor(leaf, pager_->Edit(leaf.number(), *parts)).Insert(slot, entry.view());
    if (hint.at_end) last_leaf_ = leaf.number();
  } else {
    InsertAt(path_.depth - 1, slot, entry.view());
  }
  return is_new;
}

std::size_t IndexChange::Append(const IndexEntries& sorted, std::size_t from,
                                std::uint32_t& distinct) {
  if (!last_leaf_) return 0;
  IndexPageEditor leaf = Edit(last_leaf_);
  std::size_t i = from;
  for (; i < sorted.size(); ++i) {
    const ByteView key = sorted.key(i);
    if (key.size() > kMaxIndexEntryBytes) break;
    const EntryBuffer entry(key, sorted.row(i));
    if (!PartsOfNewEntry(leaf, leaf.End(), entry.view())) break;
    leaf.Insert(leaf.End(), entry.view());
    distinct += std::ranges::equal(key, sorted.key(i - 1)) ? 0 : 1;
  }
  return i - from;
}

// The place of an entry in the leaf that is known for it; nothing if it may belong
// elsewhere, or if the way there is needed, too, to make room.
std::optional<IndexSlot> IndexChange::SlotIn(HeldIndexPage& leaf, ByteView entry, IndexHint& hint) {
  const PageNumber known = std::exchange(hint.leaf, {});
  if (!known) return std::nullopt;
  leaf.Read(*pager_, known, owner_);
  if (!leaf.page.leaf()) return std::nullopt;
  const IndexSlot slot = leaf.page.LowerBound(entry, hint.at_end);
  if (slot.at_end() && leaf.page.next()) return std::nullopt;
  if (!PartsOfNewEntry(leaf.page, slot, entry)) return std::nullopt;
  return slot;
}

// Whether the entry before or at `slot` has the key. Equal keys stand together.
bool IndexChange::NeighbourHasKey(const IndexPage& leaf, IndexSlot slot, ByteView key) {
  const IndexSlot before = leaf.Before(slot);
  if (before.start != slot.start && leaf.HasKey(before, key)) return true;
  if (!slot.at_end() && leaf.HasKey(slot, key)) return true;
  if (before.start != slot.start && !slot.at_end()) return false;

  // On an edge of the leaf; others may have left empty leaves in the chain.
  const auto look = [&](bool forward) {
    HeldIndexPage held;
    PageNumber number = forward ? leaf.next() : leaf.previous();
    for (std::uint32_t seen = 0; number; ++seen) {
      if (seen > pager_->page_count()) {
        throw Error::Damaged(number, "the leaves of an index form a ring");
      }
      held.Read(*pager_, number, owner_);
      if (!held.page.leaf()) throw Error::Damaged(number, "an index node among the leaves");
      if (!held.page.empty()) {
        return held.page.HasKey(forward ? held.page.First() : held.page.Last(), key);
      }
      number = forward ? held.page.next() : held.page.previous();
    }
    return false;
  };
  return (before.start == slot.start && look(false)) || (slot.at_end() && look(true));
}

void IndexChange::InsertAt(std::size_t level, IndexSlot slot, ByteView entry) {
  if (!Edit(path_.steps[level].page).Insert(slot, entry)) Split(level, slot, entry);
}

void IndexChange::Split(std::size_t level, IndexSlot slot, ByteView entry) {
  if (level == 0) {
    PushRootDown();
    level = 1;
  }
  IndexPageEditor left = Edit(path_.steps[level].page);
  const Division division = Divide(left, slot, entry);
  const PageNumber right_page = NewPage();
  IndexPageEditor right =
      left.MoveUpperPart(division.boundary, right_page, pager_->Edit(right_page));
  IndexPageEditor& side = division.entry_right ? right : left;
  const ByteView bare = left.leaf() ? entry : entry.first(entry.size() - kIndexChildBytes);
  if (!side.Insert(side.LowerBound(bare), entry)) throw Error(ErrorCode::kKeyTooLong);

  right.SetPrevious(left.number());
  if (left.next()) Edit(left.next()).SetPrevious(right_page);
  left.SetNext(right_page);

  Bytes buffer;
  const IndexSlot last = left.Last();
  const EntryBuffer separator(left.Entry(last, buffer), left.number());
  if (!left.leaf()) {  // the greatest entry of a node is its tail's
    left.SetTail(left.Child(last));
    left.Erase(last);
  }
  // The old entry stands for the right part, whose greatest it still is.
  const IndexSlot in_parent = path_.steps[level - 1].slot;
  Edit(path_.steps[level - 1].page).SetChild(in_parent, right_page);
  InsertAt(level - 1, in_parent, separator.view());
}

// The root keeps its page: what it held moves to a child of its own, which can
// then split like any page.
void IndexChange::PushRootDown() {
  if (path_.depth == IndexPath::kMaxDepth) {
    throw Error::Damaged(index_->root, "an index deeper than any can be");
  }
  IndexPageEditor root = Edit(index_->root);
  const std::uint8_t level = root.level();
  const PageNumber child_page = NewPage();
  IndexPageEditor child = IndexPageEditor::Format(child_page, pager_->Edit(child_page), owner_, 0);
  child.TakeContent(root);
  root = IndexPageEditor::Format(index_->root, pager_->Edit(index_->root), owner_,
                                 static_cast<std::uint8_t>(level + 1));
  root.SetTail(child_page);

  std::copy_backward(path_.steps.begin(),
                     path_.steps.begin() + static_cast<std::ptrdiff_t>(path_.depth),
                     path_.steps.begin() + static_cast<std::ptrdiff_t>(path_.depth + 1));
  ++path_.depth;
  path_.steps[0] = {index_->root, root.End()};
  path_.steps[1].page = child_page;
}

// ---- taking out

bool IndexChange::Erase(ByteView key, RowId row) {
  const EntryBuffer entry(key, row);
  const auto [held, slot] = DescendIndex(*pager_, index_->root, owner_, entry.view(), &path_);
  if (slot.at_end() || !held.page.Equals(slot, entry.view())) return false;
  const std::size_t level = path_.depth - 1;
  IndexPageEditor leaf = Edit(path_.steps[level].page);
  const bool was_greatest = slot.end == leaf.used();
  leaf.Erase(slot);
  if (level == 0) return true;  // only the root may be empty
  if (leaf.empty()) {
    Unlink(leaf);
    RemoveChild(level - 1);
  } else if (was_greatest) {
    Bytes buffer;
    LowerSeparator(level, leaf.Entry(leaf.Last(), buffer));
  }
  return true;
}

// The node on `level` of the path has lost the child that the path took.
void IndexChange::RemoveChild(std::size_t level) {
  IndexPageEditor node = EditNode(path_.steps[level].page);
  const IndexSlot slot = path_.steps[level].slot;
  if (!slot.at_end()) {
    node.Erase(slot);
  } else if (!node.empty()) {
    Bytes buffer;
    const IndexSlot last = node.Last();
    const EntryBuffer greatest(node.Entry(last, buffer));
    node.SetTail(node.Child(last));
    node.Erase(last);
    LowerSeparator(level, greatest.view());
  } else if (level == 0) {
    IndexPageEditor::Format(index_->root, pager_->Edit(index_->root), owner_, 0);
    return;
  } else {
    Unlink(node);
    RemoveChild(level - 1);
    return;
  }
  if (node.empty()) MergeLoneTail(level);
}

// The subtree on `level` of the path now ends with `greatest`, less than before:
// the node entry that says so follows. Where that entry is longer than the old
// one and finds no room, the old one stays.
void IndexChange::LowerSeparator(std::size_t level, ByteView greatest) {
  while (level > 0 && path_.steps[level - 1].slot.at_end()) --level;
  if (level == 0) return;  // the greatest of the whole tree
  IndexPath::Step& step = path_.steps[level - 1];
  IndexPageEditor node = EditNode(step.page);
  Bytes buffer;
  const PageNumber child = node.Child(step.slot);
  const EntryBuffer old(node.Entry(step.slot, buffer), child);
  const EntryBuffer entry(greatest, child);
  node.Erase(step.slot);
  step.slot = node.LowerBound(greatest);
  if (!node.Insert(step.slot, entry.view()) && !node.Insert(step.slot, old.view())) {
    throw Error::Damaged(step.page, "an index node whose entries are out of order");
  }
  step.slot = node.LowerBound(greatest);
}

// A node left with nothing but its tail joins its neighbour under the same
// parent, if that has room; otherwise it may stay as it is.
void IndexChange::MergeLoneTail(std::size_t level) {
  if (level == 0) return CollapseRoot();
  const IndexPageEditor lone = EditNode(path_.steps[level].page);
  IndexPageEditor parent = EditNode(path_.steps[level - 1].page);
  const IndexSlot slot = path_.steps[level - 1].slot;
  Bytes buffer;
  if (!slot.at_end()) {
    IndexPageEditor right = EditSibling(parent.Child(parent.After(slot)), lone);
    const EntryBuffer entry(parent.Entry(slot, buffer), lone.tail());
    if (!right.Insert(right.First(), entry.view())) return;
    parent.Erase(slot);
  } else {
    if (parent.empty()) return;
    const IndexSlot last = parent.Last();
    IndexPageEditor left = EditSibling(parent.Child(last), lone);
    const EntryBuffer entry(parent.Entry(last, buffer), left.tail());
    if (!left.Insert(left.End(), entry.view())) return;
    left.SetTail(lone.tail());
    parent.SetTail(left.number());
    parent.Erase(last);
  }
  Unlink(lone);
  if (parent.empty()) MergeLoneTail(level - 1);
}

// A root with a single child takes that child's place, however far down.
void IndexChange::CollapseRoot() {
  IndexPageEditor root = EditNode(index_->root);
  for (std::size_t depth = 0; !root.leaf() && root.empty(); ++depth) {
    if (depth == IndexPath::kMaxDepth)
      throw Error::Damaged(index_->root, "an index without leaves");
    const IndexPageEditor child = Edit(root.Child(root.End()));
    root.TakeContent(child);
    root.SetPrevious({});
    root.SetNext({});
    Unlink(child);
  }
}

}  // namespace jet
