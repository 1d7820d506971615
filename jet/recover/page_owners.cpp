#include "jet/recover/page_owners.h"

#include <algorithm>
#include <unordered_map>

#include "jet/base/error.h"
#include "jet/base/system_ids.h"
#include "jet/pages/usage_map.h"

namespace jet::recover {
namespace {

// A map that names so few pages may be right although they hold something else now.
constexpr std::size_t kFewPages = 4;

// A page that is clearly something else than a page of rows of this table.
bool IsForeign(const PageFacts& facts) {
  switch (facts.kind) {
    case PageKind::kRows:
    case PageKind::kLongValues:
    case PageKind::kMaps:
    case PageKind::kDefinition:
    case PageKind::kIndex:
    case PageKind::kBitmap:
      return true;
    default:
      return false;
  }
}

Bytes BytesOf(Pager& pager, PageNumber page) {
  const PageRef ref = pager.Read(page);
  return {ref.bytes().begin(), ref.bytes().end()};
}

}  // namespace

PageOwners::PageOwners(Pager& pager, const PageScan& scan, const OldDefinitions& definitions)
    : pager_(&pager), scan_(&scan), definitions_(&definitions) {
  for (std::uint32_t page = 1; page < scan.page_count(); ++page) {
    const PageFacts& facts = scan[{page}];
    if (facts.kind == PageKind::kRows) pages_[{facts.owner}].push_back({page});
  }
  for (const auto& [page, old] : definitions) {
    if (old.whole) ReadOwnedMap(page, old);
  }
  ReadFreeMap();
  FindCopies();
}

PageOwners::Owned PageOwners::ReadMap(RowId at) const {
  if (!at || (*scan_)[at.page].kind != PageKind::kMaps) return std::nullopt;
  try {
    PageUse use{PageSet(scan_->page_count()), PageSet(scan_->page_count())};
    const UsageMap map(*pager_, at);
    map.AddTo(use);
    for (const PageNumber page : map.BitmapPages()) use.taken.Remove(page);
    return std::move(use.taken);
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo) throw;
    return std::nullopt;
  }
}

void PageOwners::ReadOwnedMap(PageNumber table, const OldDefinition& old) {
  const Owned owned = ReadMap(old.def.owned_map);
  if (!owned) return;
  std::size_t own = 0, foreign = 0;
  std::vector<PageNumber> pages;
  for (auto page = owned->FirstFrom(0); page; page = owned->FirstFrom(page->value + 1)) {
    pages.push_back(*page);
    const PageFacts& facts = (*scan_)[*page];
    if (facts.kind == PageKind::kRows && facts.owner == table.value) {
      ++own;
    } else if (IsForeign(facts)) {
      ++foreign;
    }
  }
  if (pages.empty()) return;
  if (foreign > own) {
    if (own == 0 && pages.size() <= kFewPages) overwritten_.emplace(table, std::move(pages));
    return;
  }
  owned_.emplace(table, *owned);
  for (const PageNumber page : pages) mapped_.emplace(page, table);
}

// A page that is in use is never marked; if one is, the map is damaged.
void PageOwners::ReadFreeMap() {
  if ((*scan_)[kGlobalMap.page].kind != PageKind::kMaps) return;
  Owned free = ReadMap(kGlobalMap);
  if (!free || free->Contains(kGlobalMap.page)) return;
  for (const auto& [page, table] : mapped_) {
    const PageFacts& facts = (*scan_)[page];
    if (facts.kind == PageKind::kRows && facts.owner == table.value && free->Contains(page)) return;
  }
  for (const PageNumber page : {kObjectsPage, kAccessPage, kQueriesPage, kRelationshipsPage}) {
    if (free->Contains(page)) return;
  }
  free_ = std::move(free);
}

// Of two pages with the same bytes, the one that no map gives to the table that both
// name is a copy.
void PageOwners::FindCopies() {
  const auto is_mapped = [this](PageNumber page) {
    const auto found = mapped_.find(page);
    return found != mapped_.end() && found->second.value == (*scan_)[page].owner;
  };
  for (const auto& [owner, pages] : pages_) {
    if (!owned_.contains(owner)) continue;
    std::unordered_map<std::uint64_t, PageNumber> mapped;
    for (const PageNumber page : pages) {
      if (is_mapped(page)) mapped.emplace((*scan_)[page].hash, page);
    }
    for (const PageNumber page : pages) {
      if (is_mapped(page) || IsFree(page)) continue;
      const auto same = mapped.find((*scan_)[page].hash);
      if (same == mapped.end()) continue;
      if (BytesOf(*pager_, page) == BytesOf(*pager_, same->second)) foreign_.push_back(page);
    }
  }
  for (const auto& [page, table] : mapped_) {
    const PageFacts& facts = (*scan_)[page];
    if (facts.kind != PageKind::kRows || facts.owner == table.value) continue;
    const auto named = owned_.find({facts.owner});
    if (named != owned_.end() && !named->second.Contains(page)) foreign_.push_back(page);
  }
  std::ranges::sort(foreign_);
  foreign_.erase(std::unique(foreign_.begin(), foreign_.end()), foreign_.end());
}

std::uint64_t PageOwners::LiveRows(PageNumber page) const {
  const PageRef ref = pager_->Read(page);
  const RowsOfPage rows(ref.bytes());
  std::uint64_t live = 0;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    if (rows.kind(row) == SlotKind::kLive || rows.kind(row) == SlotKind::kMoved) ++live;
  }
  return live;
}

PageOwners::Pages PageOwners::PagesOf(PageNumber table) const {
  Pages result;
  if (const auto found = overwritten_.find(table); found != overwritten_.end()) {
    result.lost = found->second;
  }
  const auto owned = owned_.find(table);
  const bool has_map = owned != owned_.end();
  std::uint64_t live = 0;
  std::vector<PageNumber> named;
  if (const auto found = pages_.find(table); found != pages_.end()) named = found->second;
  std::erase_if(named, [this](PageNumber page) {
    return IsFree(page) || std::ranges::binary_search(foreign_, page);
  });
  if (has_map) {
    for (const PageNumber page : named) live += owned->second.Contains(page) ? LiveRows(page) : 0;
    for (auto page = owned->second.FirstFrom(0); page;
         page = owned->second.FirstFrom(page->value + 1)) {
      const PageFacts& facts = (*scan_)[*page];
      const bool is_rows = facts.kind == PageKind::kRows && facts.owner == table.value;
      if (!is_rows && facts.kind != PageKind::kReleased) result.lost.push_back(*page);
    }
  }
  const auto definition = definitions_->find(table);
  const bool short_of_rows =
      definition != definitions_->end() && live < definition->second.def.row_count;
  for (const PageNumber page : named) {
    const bool sure =
        has_map ? owned->second.Contains(page) : free_ && definition != definitions_->end();
    // Where a map of the table holds and nothing is missing, other pages are dead.
    if (!sure && has_map && !free_ && !short_of_rows) continue;
    result.rows.push_back(page);
    result.doubtful.push_back(!sure);
  }
  return result;
}

std::vector<PageNumber> PageOwners::OwnersWithoutDefinition() const {
  std::vector<PageNumber> owners;
  for (const auto& [owner, pages] : pages_) {
    if (definitions_->contains(owner)) continue;
    const bool live = std::ranges::any_of(
        pages, [this](PageNumber page) { return !IsFree(page) && LiveRows(page) != 0; });
    if (live) owners.push_back(owner);
  }
  return owners;
}

}  // namespace jet::recover
