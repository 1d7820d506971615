#include "tests/support/tree_check.h"

#include <fmt/format.h>

#include <map>
#include <set>

#include "jet/base/bytes.h"

namespace test_support {
namespace {

using jet::Bytes;
using jet::PageNumber;

struct Page {
  PageNumber number, previous, next, tail;
  bool leaf = true;
  std::vector<Bytes> entries;  // whole; in nodes with the child
};

class Walker {
 public:
  Walker(jet::PageAllocator& allocator, const jet::TableDef& def, std::size_t ordinal)
      : allocator_(allocator), def_(def), index_(def.real_indexes[ordinal]) {}

  TreeReport Run() {
    Visit(index_.root, 0, nullptr);
    for (const std::vector<Page>& level : levels_) CheckChain(level);
    report_.pages = seen_.size();
    report_.height = levels_.size();
    for (std::size_t i = 1; i < report_.entries.size(); ++i) {
      if (report_.entries[i - 1] >= report_.entries[i]) Fault(index_.root, "leaf entries descend");
    }
    CheckMap();
    return report_;
  }

 private:
  void Fault(PageNumber page, std::string_view what) {
    report_.faults.push_back(fmt::format("page {}: {}", page.value, what));
  }

  Page Decode(PageNumber number) {
    const jet::PageRef ref = allocator_.pager().Read(number);
    const jet::ByteView b = ref.bytes();
    Page page{
        number, {jet::GetU32(b, 0x0C)}, {jet::GetU32(b, 0x10)}, {jet::GetU32(b, 0x14)}, b[0] == 4,
        {}};
    if ((b[0] != 3 && b[0] != 4) || b[1] != 1) Fault(number, "type");
    if (jet::GetU32(b, 4) != def_.page.value) Fault(number, "owner");
    const std::size_t prefix = jet::GetU16(b, 0x18);
    std::size_t start = 0;
    for (std::size_t bit = 0; bit < 453 * 8; ++bit) {
      if ((b[0x1B + bit / 8] >> (bit % 8) & 1) == 0) continue;
      Bytes entry;
      if (!page.entries.empty()) {
        entry.assign(page.entries[0].begin(),
                     page.entries[0].begin() + static_cast<std::ptrdiff_t>(prefix));
      }
      const jet::ByteView own = jet::Slice(b, 0x1E0 + start, bit - start);
      entry.insert(entry.end(), own.begin(), own.end());
      page.entries.push_back(std::move(entry));
      start = bit;
    }
    if (jet::GetU16(b, 2) != 3616 - start) Fault(number, "free field");
    if (page.entries.size() <= 1 && prefix != 0) Fault(number, "prefix of too few entries");
    if (page.leaf && prefix != 0) ++report_.compressed_leaves;
    if (page.leaf != (b[0x1A] == 0)) Fault(number, "level of a leaf");
    levels_of_[number] = b[0x1A];
    return page;
  }

  // The greatest entry of the subtree.
  Bytes Visit(PageNumber number, std::size_t depth, const Bytes* limit) {
    if (depth > 16 || !seen_.insert(number).second) {
      Fault(number, "reached twice");
      return {};
    }
    Page page = Decode(number);
    if (levels_.size() <= depth) levels_.resize(depth + 1);
    Bytes greatest;
    if (page.leaf) {
      report_.a_leaf = number;
      if (page.entries.empty() && depth != 0) Fault(number, "empty leaf");
      for (const Bytes& entry : page.entries) report_.entries.push_back(entry);
      if (!page.entries.empty()) greatest = page.entries.back();
    } else {
      if (page.entries.empty() && depth == 0) Fault(number, "root with one child");
      for (const Bytes& entry : page.entries) {
        const Bytes separator(entry.begin(), entry.end() - 4);
        if (separator <= greatest) Fault(number, "separators descend");
        greatest = separator;
        Visit(Child(entry), depth + 1, &separator);
      }
      const Bytes below = Visit(page.tail, depth + 1, nullptr);
      if (below <= greatest) Fault(number, "tail below the last separator");
      greatest = below;
      if (levels_of_[number] != levels_of_[page.tail] + 1) Fault(number, "level of a node");
    }
    levels_[depth].push_back(std::move(page));
    if (limit != nullptr && greatest > *limit) Fault(number, "entries above the separator");
    if (limit != nullptr && greatest < *limit) ++report_.stale_separators;
    return greatest;
  }

  PageNumber Child(const Bytes& entry) {
    PageNumber child;
    for (std::size_t i = entry.size() - 4; i < entry.size(); ++i) {
      child.value = child.value << 8 | entry[i];
    }
    if (!report_.first_node_child) report_.first_node_child = child;
    return child;
  }

  void CheckChain(const std::vector<Page>& level) {
    for (std::size_t i = 0; i < level.size(); ++i) {
      const Page& page = level[i];
      if (page.leaf != level[0].leaf) Fault(page.number, "leaf beside nodes");
      if (page.previous != (i == 0 ? PageNumber{} : level[i - 1].number)) {
        Fault(page.number, "previous");
      }
      if (page.next != (i + 1 == level.size() ? PageNumber{} : level[i + 1].number)) {
        Fault(page.number, "next");
      }
    }
  }

  void CheckMap() {
    const jet::UsageMap map(allocator_.pager(), index_.page_map);
    std::size_t marked = 0;
    for (auto page = map.FirstFrom({}); page; page = map.FirstFrom({page->value + 1})) {
      ++marked;
      if (!seen_.contains(*page)) Fault(*page, "in the map, not in the tree");
      if (allocator_.IsFree(*page)) Fault(*page, "in the map and free");
    }
    if (marked != seen_.size()) Fault(index_.root, "pages that the map lacks");
  }

  jet::PageAllocator& allocator_;
  const jet::TableDef& def_;
  const jet::RealIndex& index_;
  TreeReport report_;
  std::set<PageNumber> seen_;
  std::map<PageNumber, int> levels_of_;
  std::vector<std::vector<Page>> levels_;
};

}  // namespace

TreeReport CheckTree(jet::PageAllocator& allocator, const jet::TableDef& def, std::size_t ordinal) {
  return Walker(allocator, def, ordinal).Run();
}

}  // namespace test_support
