// The integrity checker on the pages of one index tree: types, owners, levels,
// links, separators and the order of all entries. What the entries say about
// rows is not this part's business.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/check/definition.h"

namespace jet::check {

// The entries of an index page one after the other, shared beginnings restored.
class EntryReader {
 public:
  // Why the entries cannot be separated, in words; empty if they can.
  std::string Open(PageView page);
  bool Next();
  ByteView entry() const { return {entry_.data(), entry_size_}; }
  // Bytes at the beginning that the entry before it on the page has, too; it may have more.
  std::size_t shared() const { return at_ > 1 ? prefix_ : 0; }
  std::size_t size() const { return count_; }
  std::size_t used_bytes() const { return count_ == 0 ? 0 : ends_[count_ - 1]; }

 private:
  static constexpr std::size_t kMaskBytes = 0x1E0 - 0x1B;
  ByteView entries_;
  std::array<std::uint16_t, 8 * kMaskBytes> ends_{};
  std::size_t count_ = 0, at_ = 0, prefix_ = 0, entry_size_ = 0;
  std::array<std::uint8_t, 2 * kPageSize> entry_{};
};

class TreeCheck {
 public:
  // `same_key`: as the entry before.
  using Visitor = std::function<void(ByteView entry, PageNumber leaf, bool same_key)>;

  // `name` names the index in findings.
  TreeCheck(const Context& context, std::string_view table, std::string_view name,
            PageNumber owner);

  // Walks the tree, hands every entry of its leaves to `visit` in order, and
  // compares the pages with the map of the index.
  void Run(const RealIndex& index, const Visitor& visit);
  // False if a part of the tree could not be read.
  bool complete() const { return complete_; }
  // In order.
  const std::vector<PageNumber>& leaves() const { return leaves_; }

 private:
  // Of the pages at one depth: the one before, and where it says the chain goes.
  struct Chain {
    bool known = true;
    PageNumber last, next;
  };

  void Visit(PageNumber page, std::size_t depth, std::optional<std::uint8_t> level,
             const Bytes* bound);
  bool Enter(PageNumber page, PageView bytes, std::optional<std::uint8_t> level);
  void CheckLinks(PageNumber page, PageView bytes, std::size_t depth);
  void SeePage(PageNumber page, PageView bytes, const EntryReader& reader);
  void VisitLeaf(PageNumber page, EntryReader& reader, std::size_t depth, const Bytes* bound);
  void VisitNode(PageNumber page, PageView bytes, EntryReader& reader, std::size_t depth,
                 const Bytes* bound);
  void EndChains();
  void CompareWithMap(RowId map);
  void Problem(const Place& place, Code code, std::string text);
  void Problem(PageNumber page, Code code, std::string text);
  void Warning(PageNumber page, Code code, std::string text);

  const Context* context_;
  std::string_view table_, name_;
  PageNumber owner_;
  Ledger::OwnerId ledger_owner_;
  const Visitor* visit_ = nullptr;
  PageSet pages_;
  std::vector<PageNumber> leaves_;
  std::vector<Chain> chains_;
  Bytes last_entry_;
  Bytes lower_;  // the greatest separator that was passed; what follows is above it
  bool complete_ = true;
};

}  // namespace jet::check
