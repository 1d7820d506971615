// An index tree built from its entries in order: leaves one after the other, the nodes
// above them as they fill.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "jet/base/types.h"
#include "jet/compact/map_book.h"
#include "jet/compact/page_writer.h"
#include "jet/compact/tree_page.h"

namespace jet::compact {

class TreeWriter {
 public:
  // `root` was taken for the tree of the table `owner`; all pages go into `pages`.
  TreeWriter(PageWriter& out, PageNumber owner, PageNumber root, PageRuns& pages);

  // The key and the row's address behind it, as a leaf holds them. kNotSupported for
  // entries that do not ascend.
  void Add(ByteView entry);
  // Puts what is not put yet. Nothing may be added after it.
  void Finish();

  std::uint32_t entries() const { return entries_; }
  std::uint32_t distinct_keys() const { return distinct_keys_; }

 private:
  // The nodes of one level. The child that came last is not an entry yet: it may be the
  // tail. A full node is held back until the next has an entry, too.
  struct Level {
    TreePage node;
    Bytes key;  // the greatest entry under `child`
    PageNumber child;
    struct Held {
      TreePage node;
      Bytes key;  // the greatest entry under its tail
    };
    std::optional<Held> held;
  };
  PageNumber TakePage();
  void Put(TreePage& page) { out_->Put(page.number, page.Image(owner_)); }
  void EndLeaf();
  void AddChild(std::size_t level, ByteView key, PageNumber child);
  void HoldNode(std::size_t level);
  void ReleaseHeld(std::size_t level);
  void FinishNodes();
  static void ShareWithLast(Level& level);

  PageWriter* out_;
  PageNumber owner_, root_;
  PageRuns* pages_;
  TreePage leaf_;
  std::deque<Level> levels_;  // from the one above the leaves upwards
  Bytes last_;
  std::uint32_t entries_ = 0, distinct_keys_ = 0;
};

}  // namespace jet::compact
