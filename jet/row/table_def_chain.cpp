#include "jet/row/table_def_chain.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/pages/page_allocator.h"
#include "jet/row/table_def_bytes.h"

namespace jet {
namespace {

// Of the chain: each page begins with eight bytes of its own.
constexpr std::uint16_t kPageType = 0x0102;
constexpr std::size_t kPageFree = 0x02;
constexpr std::size_t kNextPage = 0x04;
constexpr std::size_t kPageHeader = 8;
constexpr std::size_t kTail = 8;  // reserved behind the content
constexpr std::size_t kMaxChain = 64;

// The content of the chain in one piece, and the pages it lies on.
Bytes ReadChain(Pager& pager, PageNumber first, std::vector<PageNumber>& pages) {
  Bytes content;
  for (PageNumber page = first; page;) {
    if (pages.size() >= kMaxChain || std::find(pages.begin(), pages.end(), page) != pages.end()) {
      throw Error::Damaged(page, "the definition's pages go in a circle");
    }
    const PageRef ref = pager.Read(page);
    const PageView bytes = ref.bytes();
    if (GetU16(bytes, 0) != kPageType) {
      throw Error::Damaged(page, "not a page of a table definition");
    }
    AddBytes(content, pages.empty() ? ByteView(bytes) : bytes.subspan(kPageHeader));
    pages.push_back(page);
    page = {GetU32(bytes, kNextPage)};
  }
  return content;
}

}  // namespace

TableDef LoadTableDef(Pager& pager, PageNumber page) {
  TableDef def;
  def.page = page;
  const Bytes content = ReadChain(pager, page, def.pages);
  try {
    ReadDefinition(content, def);
  } catch (const Error& error) {
    if (error.page()) throw;
    throw Error::Damaged(page, "table definition: " + error.detail());
  }
  return def;
}

std::vector<PageNumber> PagesOfTableDef(Pager& pager, PageNumber first) {
  std::vector<PageNumber> pages;
  for (PageNumber page = first; page && pages.size() < kMaxChain;) {
    if (std::find(pages.begin(), pages.end(), page) != pages.end()) break;
    pages.push_back(page);
    if (page.value >= pager.page_count()) break;
    const PageRef ref = pager.Read(page);
    if (GetU16(ref.bytes(), 0) != kPageType) break;
    page = {GetU32(ref.bytes(), kNextPage)};
  }
  return pages;
}

void StoreTableDef(TableDef& def, Pager& pager, PageAllocator& allocator) {
  Bytes content = WriteDefinition(def);
  std::vector<PageNumber>& pages = def.pages;
  content.resize(content.size() + kTail);
  constexpr std::size_t kPerPage = kPageSize - kPageHeader;
  const std::size_t beyond_first = content.size() > kPageSize ? content.size() - kPageSize : 0;
  const std::size_t count = 1 + (beyond_first + kPerPage - 1) / kPerPage;
  if (pages.empty()) pages.push_back(def.page);
  allocator.TakeCensus();
  while (pages.size() < count) pages.push_back(allocator.Allocate());
  while (pages.size() > count) {
    allocator.Free(pages.back());
    pages.pop_back();
  }
  for (std::size_t i = 0, at = kPageHeader; i < count; ++i) {
    const PageSpan bytes = pager.Edit(pages[i]);
    const std::size_t length = std::min(kPerPage, content.size() - at);
    PutU16(bytes, 0, kPageType);
    PutU16(bytes, kPageFree, i + 1 < count ? 0 : kPerPage - length);
    PutU32(bytes, kNextPage, i + 1 < count ? pages[i + 1].value : 0);
    PutBytes(bytes, kPageHeader, ByteView(content).subspan(at, length));
    at += length;
  }
}

void StoreCounters(const TableDef& def, Pager& pager) { PutCounters(def, pager.Edit(def.page)); }

}  // namespace jet
