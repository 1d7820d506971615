// One change of an index tree: an entry put in, splitting pages upwards as they
// fill, or taken out, giving emptied pages back. Works inside the caller's
// Scope, so that a change that fails half-way leaves no trace.
#pragma once

#include <array>
#include <optional>

#include "jet/index/index_entries.h"
#include "jet/index/index_page.h"
#include "jet/pages/page_allocator.h"
#include "jet/row/table_def.h"

namespace jet {

// The way from the root to a leaf: in each node the slot whose child was taken.
struct IndexPath {
  static constexpr std::size_t kMaxDepth = 16;
  struct Step {
    PageNumber page;
    IndexSlot slot;
  };
  std::array<Step, kMaxDepth> steps;
  std::size_t depth = 0;
};

// Where the first entry that is not less than some bytes stands, or would.
struct IndexPlace {
  HeldIndexPage leaf;
  IndexSlot slot;
};
// What a caller keeps of a tree from change to change, so that places are found sooner.
struct IndexHint {
  bool at_end = false;  // the last entry went behind all others, the next one may, too
  // The leaf in which a key was looked for, until the tree changes.
  PageNumber leaf;
};
// Fills `path`, unless null, down to and with the leaf. `from_end`: the place is
// probably behind the last entry.
IndexPlace DescendIndex(Pager& pager, PageNumber root, PageNumber owner, ByteView bytes,
                        IndexPath* path, bool from_end = false);

class IndexChange {
 public:
  IndexChange(Pager& pager, PageAllocator& allocator, const TableDef& def, const RealIndex& index)
      : pager_(&pager), allocator_(&allocator), owner_(def.page), index_(&index) {}

  // Whether the key was new to the tree. `hint`, if it has a leaf: of this key.
  bool Insert(ByteView key, RowId row, IndexHint& hint);
  // Puts entries from `from` on behind all others, as long as the last leaf, which took the
  // entry before them, has room. How many; `distinct` counts their keys. REQUIRES: they
  // belong there.
  std::size_t Append(const IndexEntries& sorted, std::size_t from, std::uint32_t& distinct);
  // False if there is no such entry.
  bool Erase(ByteView key, RowId row);

 private:
  IndexPageEditor Edit(PageNumber page);
  IndexPageEditor EditNode(PageNumber page);
  IndexPageEditor EditSibling(PageNumber page, const IndexPage& of);
  PageNumber NewPage();
  void Unlink(const IndexPage& page);  // and gives it back

  std::optional<IndexSlot> SlotIn(HeldIndexPage& leaf, ByteView entry, IndexHint& hint);
  bool NeighbourHasKey(const IndexPage& leaf, IndexSlot slot, ByteView key);
  void InsertAt(std::size_t level, IndexSlot slot, ByteView entry);
  void Split(std::size_t level, IndexSlot slot, ByteView entry);
  void PushRootDown();

  void RemoveChild(std::size_t level);
  void LowerSeparator(std::size_t level, ByteView greatest);
  void MergeLoneTail(std::size_t level);
  void CollapseRoot();

  Pager* pager_;
  PageAllocator* allocator_;
  PageNumber owner_;
  const RealIndex* index_;
  IndexPath path_;
  PageNumber last_leaf_;
};

}  // namespace jet
