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
constexpr std::size_t kPerPage = kPageSize - kPageHeader;
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

std::size_t DefinitionPages(std::size_t content_bytes) {
  const std::size_t bytes = content_bytes + kTail;
  return 1 + (bytes > kPageSize ? (bytes - kPageSize + kPerPage - 1) / kPerPage : 0);
}

void PutDefinitionPage(ByteView content, const std::vector<PageNumber>& chain, std::size_t i,
                       PageSpan page) {
  // Where it begins on the first page, every page has its own header.
  const std::size_t at = kPageHeader + i * kPerPage, end = content.size() + kTail;
  const std::size_t length = std::min(kPerPage, end - at);
  const bool last = i + 1 == chain.size();
  PutU16(page, 0, kPageType);
  PutU16(page, kPageFree, last ? kPerPage - length : 0);
  PutU32(page, kNextPage, last ? 0 : chain[i + 1].value);
  std::fill_n(page.begin() + kPageHeader, length, std::uint8_t{0});
  if (at < content.size()) {
    PutBytes(page, kPageHeader, content.subspan(at, std::min(length, content.size() - at)));
  }
}

void StoreTableDef(TableDef& def, Pager& pager, PageAllocator& allocator) {
  const Bytes content = WriteDefinition(def);
  std::vector<PageNumber>& pages = def.pages;
  const std::size_t count = DefinitionPages(content.size());
  if (pages.empty()) pages.push_back(def.page);
  allocator.TakeCensus();
  while (pages.size() < count) pages.push_back(allocator.Allocate());
  while (pages.size() > count) {
    allocator.Free(pages.back());
    pages.pop_back();
  }
  for (std::size_t i = 0; i < count; ++i) {
    PutDefinitionPage(content, pages, i, pager.Edit(pages[i]));
  }
}

void StoreCounters(const TableDef& def, Pager& pager) {
  const PagePart part = PartOfCounters(def);
  PutCounters(def, pager.Edit(def.page, {&part, 1}));
}

}  // namespace jet
