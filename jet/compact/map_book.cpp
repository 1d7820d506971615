#include "jet/compact/map_book.h"

#include <algorithm>
#include <array>

#include "jet/base/bytes.h"
#include "jet/pages/map_row.h"
#include "jet/pages/slotted_page.h"
#include "jet/pages/usage_map.h"

namespace jet::compact {
namespace {

constexpr std::size_t kRowRoom = kPageSize - 14;  // of a page, for rows and their slots
constexpr std::size_t kMapsOnPage = kRowRoom / (kNewMapBytes + kSlotSize);
static_assert(kListBytes == kNewMapBytes, "a map that becomes a list needs no more room");

// A map begins with page 0 as long as a new one covers its first page.
std::uint32_t StartOf(const PageRuns& pages) {
  constexpr std::uint32_t kNewMapPages = 8 * (kNewMapBytes - kInlineBits);
  const std::uint32_t first = pages.runs().front().first;
  return first < kNewMapPages ? 0 : first - first % 8;
}

// Of the row that names its pages by bits in itself.
std::size_t InlineBytes(const PageRuns& pages) {
  if (pages.empty()) return kNewMapBytes;
  const std::uint32_t bits = pages.runs().back().end - StartOf(pages);
  return std::max<std::size_t>(kNewMapBytes, kInlineBits + std::size_t{4} * ((bits + 31) / 32));
}

Bytes MakeInline(const PageRuns& pages) {
  Bytes row(InlineBytes(pages));
  if (pages.empty()) return row;
  PutU32(row, 1, StartOf(pages));
  PutBits(pages, StartOf(pages), std::span(row).subspan(kInlineBits));
  return row;
}

}  // namespace

void PageRuns::Add(PageNumber page) {
  if (!runs_.empty() && runs_.back().end == page.value) {
    ++runs_.back().end;
  } else {
    runs_.push_back({page.value, page.value + 1});
  }
}

void PutBits(const PageRuns& pages, std::uint32_t from, std::span<std::uint8_t> bits) {
  const auto end = static_cast<std::uint32_t>(from + bits.size() * 8);
  for (const PageRuns::Run& run : pages.runs()) {
    for (std::uint32_t page = std::max(run.first, from); page < std::min(run.end, end); ++page) {
      PutBit(bits, page - from, true);
    }
  }
}

MapBook::MapBook(PageWriter& out, std::size_t maps, std::uint32_t pages_per_bitmap)
    : out_(&out), pages_per_bitmap_(pages_per_bitmap) {
  for (std::size_t left = maps; left != 0;) {
    pages_.push_back({out.Take(), {}});
    pages_.back().maps.reserve(std::min(left, kMapsOnPage));
    left -= std::min(left, kMapsOnPage);
  }
}

RowId MapBook::Add() {
  if (pages_[filling_].maps.size() == kMapsOnPage) ++filling_;
  Page& page = pages_.at(filling_);
  page.maps.emplace_back();
  return {page.number, static_cast<std::uint8_t>(page.maps.size() - 1)};
}

PageRuns& MapBook::PagesOf(RowId map) {
  const auto page = std::ranges::find(pages_, map.page, &Page::number);
  return page->maps.at(map.row);
}

void MapBook::Finish() {
  for (const Page& page : pages_) PutPage(page);
}

// The longest maps become lists until the others fit.
void MapBook::PutPage(const Page& page) {
  std::vector<std::size_t> bytes;
  std::size_t all = kSlotSize * page.maps.size();
  for (const PageRuns& map : page.maps) all += bytes.emplace_back(InlineBytes(map));
  std::vector<bool> is_list(page.maps.size());
  while (all > kRowRoom) {
    const auto longest = std::ranges::max_element(bytes);
    all -= *longest - kListBytes;
    is_list[static_cast<std::size_t>(longest - bytes.begin())] = true;
    *longest = kListBytes;
  }
  std::array<std::uint8_t, kPageSize> image{};
  InitRowPage(image, 0);
  for (std::size_t i = 0; i < page.maps.size(); ++i) {
    const Bytes row = is_list[i] ? MakeList(page.maps[i]) : MakeInline(page.maps[i]);
    AddRow(page.number, image, row, SlotKind::kLive);
  }
  out_->Put(page.number, image);
}

Bytes MapBook::MakeList(const PageRuns& pages) {
  Bytes row(kListBytes);
  row[0] = kReferenceMap;
  for (const PageRuns::Run& run : pages.runs()) {
    for (std::uint32_t k = run.first / pages_per_bitmap_; k <= (run.end - 1) / pages_per_bitmap_;
         ++k) {
      if (GetU32(row, 1 + 4 * k) != 0) continue;
      const PageNumber bitmap = out_->Take();
      PutU32(row, 1 + 4 * k, bitmap.value);
      std::array<std::uint8_t, kPageSize> image{};
      PutBits(pages, k * pages_per_bitmap_, InitBitmap(image).first(pages_per_bitmap_ / 8));
      out_->Put(bitmap, image);
    }
  }
  return row;
}

}  // namespace jet::compact
