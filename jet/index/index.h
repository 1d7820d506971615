// A B-tree over the rows of a table.
//
// Leaves hold the entries, chained in order; a node entry repeats the greatest
// entry of its child's subtree, the tail child holds what is above. The root
// keeps its page for good, the definition names it. A separator greater than
// everything in its subtree is legal.
#pragma once

#include <optional>
#include <vector>

#include "jet/index/index_change.h"
#include "jet/index/index_page.h"
#include "jet/pages/usage_map.h"
#include "jet/row/table_def.h"

namespace jet {

class IndexEntries;
class PageAllocator;

// A handle on the tree of def.real_indexes[ordinal]. Walking and looking up change
// nothing. REQUIRES: pager and definition outlive it and its cursors; for changes, a
// Scope.
class Index {
 public:
  Index(Pager& pager, const TableDef& def, std::size_t ordinal);

  // In key order. A cursor stays valid until the tree changes.
  class Cursor {
   public:
    // False at the end. The others REQUIRE that it is true.
    bool valid() const { return valid_; }
    void Next();
    ByteView key() const { return entry_.first(entry_.size() - kIndexRowBytes); }
    RowId row() const;
    PageNumber page() const { return leaf_.page.number(); }

   private:
    friend class Index;
    Cursor(Pager& pager, PageNumber owner) : pager_(&pager), owner_(owner) {}
    // Passes over the ends of leaves, then takes the entry.
    void Settle();
    Pager* pager_;
    PageNumber owner_;
    HeldIndexPage leaf_;
    IndexSlot slot_;
    ByteView entry_;  // in the leaf or in buffer_
    Bytes buffer_, last_;
    std::uint32_t leaves_seen_ = 0;
    bool valid_ = false;
  };
  Cursor First() const;
  // At the first entry whose key is not less than `key`.
  Cursor LowerBound(ByteView key) const;
  // A row with exactly this key.
  std::optional<RowId> Find(ByteView key) const;
  // Whether an entry of this key exists that belongs to a row other than `except`.
  // `hint` keeps where that was looked for.
  bool HasKey(ByteView key, RowId except, IndexHint& hint) const;
  bool HasKey(ByteView key, RowId except = {}) const {
    IndexHint none;
    return HasKey(key, except, none);
  }

  // Returns whether the key was new to the tree (distinct count). Inserting an
  // entry that is there already is kDamaged; kKeyTooLong over
  // kMaxIndexEntryBytes. REQUIRES: if `hint` has a leaf, HasKey found it for this key,
  // and the tree has not changed since.
  bool Insert(PageAllocator& allocator, ByteView key, RowId row, IndexHint& hint);
  bool Insert(PageAllocator& allocator, ByteView key, RowId row) {
    IndexHint none;
    return Insert(allocator, key, row, none);
  }
  // False if there is no such entry.
  bool Erase(PageAllocator& allocator, ByteView key, RowId row);
  // Finds the entry by its row in a walk over all leaves: for values whose key
  // cannot be built.
  bool EraseByRow(PageAllocator& allocator, RowId row);
  // Fills an empty tree (root leaf only) from entries in ascending order of key
  // and row. Returns the number of distinct keys.
  std::uint32_t Build(PageAllocator& allocator, const IndexEntries& sorted);

  // Makes the root of a new index of the table `owner` an empty leaf, and lists it in
  // the index's map.
  static void InitTree(PageAllocator& allocator, PageNumber owner, const RealIndex& index);

 private:
  const RealIndex& real() const { return def_->real_indexes[ordinal_]; }
  // At the first entry that is, row included, not less than `bytes`.
  Cursor Seek(ByteView bytes, IndexHint* hint = nullptr) const;

  Pager* pager_;
  const TableDef* def_;
  std::size_t ordinal_;
};

}  // namespace jet
