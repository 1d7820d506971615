#include "jet/database/page_use.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "jet/base/error.h"
#include "jet/index/index_page.h"
#include "jet/row/table_def_chain.h"

namespace jet {
namespace {

class Census {
 public:
  explicit Census(Pager& pager)
      : pager_(pager),
        use_{PageSet(kMaxPages), PageSet(kMaxPages), true},
        definitions_(kMaxPages),
        bitmaps_(kMaxPages) {
    use_.taken.Add({0});
    AddMap(kGlobalMap, Bits::kOthers);
    AddSecondMap();
  }

  void AddTable(PageNumber page) {
    for (const PageNumber part : PagesOfTableDef(pager_, page)) {
      if (definitions_.Contains(part)) throw Error::Damaged(part, "a part of two definitions");
      definitions_.Add(part);
      use_.taken.Add(part);
    }
    std::optional<TableDef> def;
    if (!Try([&] { def = LoadTableDef(pager_, page); })) return;
    AddMap(def->owned_map, Bits::kOwn);
    AddMap(def->free_map, Bits::kOthers);
    // Whatever the columns look like now.
    const auto add_long_values = [this](const auto& maps) {
      AddMap(maps.owned_map, Bits::kOwn);
      AddMap(maps.free_map, Bits::kOthers);
    };
    std::ranges::for_each(def->columns, add_long_values);
    std::ranges::for_each(def->stray_maps, add_long_values);
    for (const RealIndex& index : def->real_indexes) AddTree(*def, index);
  }

  PageUse Take() { return std::move(use_); }

 private:
  enum class Bits { kOwn, kOthers };  // the pages that a map marks

  // False: there is damage in the way.
  template <class Body>
  bool Try(Body&& body) {
    try {
      body();
      return true;
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
      use_.complete = false;
      return false;
    }
  }

  bool AddMap(RowId at, Bits bits) {
    if (!at) return false;
    use_.taken.Add(at.page);
    if (!maps_.insert(at.packed()).second) {
      throw Error::Damaged(at.page, "a usage map that is used twice");
    }
    const UsageMap map(pager_, at);
    std::vector<PageNumber> bitmaps;
    if (!Try([&] { bitmaps = map.BitmapPages(); })) return false;
    for (const PageNumber page : bitmaps) {
      if (bitmaps_.Contains(page)) throw Error::Damaged(page, "bits of two usage maps");
      bitmaps_.Add(page);
      use_.taken.Add(page);
    }
    return bits != Bits::kOwn || Try([&] { map.AddTo(use_); });
  }

  // Whatever is wrong with it, nothing of the file is lost by that.
  void AddSecondMap() {
    try {
      for (const PageNumber page : UsageMap(pager_, kSecondMap).BitmapPages()) {
        if (page.value < pager_.page_count()) use_.taken.Add(page);
      }
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
    }
  }

  // Some writers give their indexes no map.
  void AddTree(const TableDef& def, const RealIndex& index) {
    const bool has_map = AddMap(index.page_map, Bits::kOwn);
    use_.taken.Add(index.root);
    if (has_map) return;
    std::vector<PageNumber> open{index.root};
    PageSet seen(pager_.page_count());
    while (!open.empty()) {
      const PageNumber page = open.back();
      open.pop_back();
      use_.taken.Add(page);
      if (seen.Contains(page)) continue;
      seen.Add(page);
      Try([&] { AddChildren(page, def.page, open); });
    }
  }

  void AddChildren(PageNumber number, PageNumber owner, std::vector<PageNumber>& children) {
    HeldIndexPage node;
    node.Read(pager_, number, owner);
    if (node.page.leaf()) return;
    for (IndexSlot slot = node.page.First(); !slot.at_end(); slot = node.page.After(slot)) {
      children.push_back(node.page.Child(slot));
    }
    children.push_back(node.page.tail());
  }

  Pager& pager_;
  PageUse use_;
  PageSet definitions_;
  PageSet bitmaps_;
  std::unordered_set<std::uint32_t> maps_;  // packed addresses
};

}  // namespace

PageUse PagesInUse(Pager& pager, std::vector<PageNumber> tables) {
  std::ranges::sort(tables);
  tables.erase(std::unique(tables.begin(), tables.end()), tables.end());
  Census census(pager);
  for (const PageNumber table : tables) census.AddTable(table);
  return census.Take();
}

}  // namespace jet
