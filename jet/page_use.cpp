#include "jet/page_use.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "jet/error.h"
#include "jet/index_page.h"
#include "jet/table_def.h"
#include "jet/usage_map.h"

namespace jet {
namespace {

class Census {
 public:
  explicit Census(Pager& pager) : pager_(pager), in_use_(kMaxPages), definitions_(kMaxPages) {
    in_use_.Add({0});
    AddMap(kGlobalMap, Bits::kOthers);
  }

  void AddTable(PageNumber page) {
    for (const PageNumber part : TableDef::Chain(pager_, page)) {
      if (definitions_.Contains(part)) throw Error::Damaged(part, "a part of two definitions");
      definitions_.Add(part);
      in_use_.Add(part);
    }
    const std::optional<TableDef> def = Load(page);
    if (!def) return;
    AddMap(def->owned_map, Bits::kOwn);
    AddMap(def->free_map, Bits::kOthers);
    for (const ColumnDef& column : def->columns) {
      if (!IsLongValue(column.type)) continue;
      AddMap(column.owned_map, Bits::kOwn);
      AddMap(column.free_map, Bits::kOthers);
    }
    for (const RealIndex& index : def->real_indexes) AddTree(*def, index);
  }

  PageSet Take() { return std::move(in_use_); }

 private:
  enum class Bits { kOwn, kOthers };  // the pages that a map marks

  // False: there is damage in the way.
  template <class Body>
  static bool Try(Body&& body) {
    try {
      body();
      return true;
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
      return false;
    }
  }

  std::optional<TableDef> Load(PageNumber page) {
    try {
      return TableDef::Load(pager_, page);
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
      return std::nullopt;
    }
  }

  bool AddMap(RowId at, Bits bits) {
    if (!at) return false;
    in_use_.Add(at.page);
    if (!maps_.insert(at.packed()).second) {
      throw Error::Damaged(at.page, "a usage map that is used twice");
    }
    return Try([&] {
      const UsageMap map(pager_, at);
      for (const PageNumber page : map.BitmapPages()) in_use_.Add(page);
      if (bits == Bits::kOwn) map.AddTo(in_use_);
    });
  }

  // Some writers give their indexes no map.
  void AddTree(const TableDef& def, const RealIndex& index) {
    in_use_.Add(index.root);
    if (AddMap(index.page_map, Bits::kOwn)) return;
    std::vector<PageNumber> open{index.root};
    PageSet seen(pager_.page_count());
    while (!open.empty()) {
      const PageNumber page = open.back();
      open.pop_back();
      in_use_.Add(page);
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
  PageSet in_use_, definitions_;
  std::unordered_set<std::uint32_t> maps_;  // packed addresses
};

}  // namespace

PageSet PagesInUse(Pager& pager, std::vector<PageNumber> tables) {
  std::ranges::sort(tables);
  tables.erase(std::unique(tables.begin(), tables.end()), tables.end());
  Census census(pager);
  for (const PageNumber table : tables) census.AddTable(table);
  return census.Take();
}

}  // namespace jet
