// A B-tree over the rows of a table.
//
//   0x00 u16 03|04 01  node | leaf      0x18 u16 bytes shared by all entries
//   0x02 u16 free                       0x1A u8  level, 0 = leaf
//   0x04 u32 owner                      0x1B     bit mask: entry ends
//   0x0C u32 previous, 0x10 u32 next    0x1E0    entries, 3616 bytes
//   0x14 u32 tail child (nodes)
//
// An entry is the key, then page (3 bytes) and row of the table's row, most
// significant first; in a node the child page (4 bytes) follows.
#pragma once

#include <optional>
#include <vector>

#include "jet/table_def.h"
#include "jet/usage_map.h"

namespace jet {

struct IndexEntry {
  Bytes key;
  RowId row;
};

// A handle on the tree of def.real_indexes[ordinal]; `def` must outlive it.
// Walking and looking up change nothing. Changes need a Scope.
class Index {
 public:
  Index(Pager& pager, const TableDef& def, std::size_t ordinal);

  // In key order. A cursor stays valid until the tree changes.
  class Cursor {
   public:
    // False at the end; then key() and row() must not be asked.
    bool valid() const { return valid_; }
    void Next();
    ByteView key() const { return {entry_.data(), entry_.size() - 4}; }
    RowId row() const;
    PageNumber page() const { return page_; }

   private:
    friend class Index;
    void LoadLeaf(PageNumber page);
    void SkipToValid();
    Pager* pager_ = nullptr;
    PageNumber owner_;
    PageNumber page_;
    PageNumber next_;
    std::vector<Bytes> entries_;
    std::size_t at_ = 0;
    Bytes entry_;
    std::uint32_t leaves_seen_ = 0;
    bool valid_ = false;
  };
  Cursor First() const;
  // At the first entry whose key is not less than `key`.
  Cursor LowerBound(ByteView key) const;
  // A row with exactly this key.
  std::optional<RowId> Find(ByteView key) const;
  // Whether an entry of this key exists that belongs to a row other than `except`.
  bool HasKey(ByteView key, RowId except = {}) const;

  // Returns whether the key was new to the tree (distinct count). Inserting an
  // entry that is there already is kDamaged.
  bool Insert(PageAllocator& allocator, ByteView key, RowId row);
  // False if there is no such entry.
  bool Erase(PageAllocator& allocator, ByteView key, RowId row);
  // Finds the entry by its row in a walk over all leaves: for values whose key
  // cannot be built.
  bool EraseByRow(PageAllocator& allocator, RowId row);
  // Fills an empty tree (root leaf only) from entries in ascending order of key
  // and row. Returns the number of distinct keys.
  std::uint32_t Build(PageAllocator& allocator, const std::vector<IndexEntry>& sorted);

  // An empty root leaf for a new index.
  static void InitRoot(PageSpan page, PageNumber owner);

 private:
  Pager* pager_;
  const TableDef* def_;
  std::size_t ordinal_;
};

}  // namespace jet
