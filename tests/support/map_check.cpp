#include "tests/support/map_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace test_support {
namespace {

constexpr std::size_t kPage = 4096, kNewRow = 69;
constexpr std::uint32_t kBitsOfPage = (kPage - 4) * 8;

std::uint32_t U16(std::string_view b, std::size_t at) {
  return static_cast<std::uint8_t>(b[at]) |
         static_cast<std::uint32_t>(static_cast<std::uint8_t>(b[at + 1])) << 8;
}
std::uint32_t U32(std::string_view b, std::size_t at) { return U16(b, at) | U16(b, at + 2) << 16; }

void AddBits(std::string_view bits, std::uint32_t first, std::vector<std::uint32_t>& pages) {
  for (std::uint32_t i = 0; i < bits.size() * 8; ++i) {
    if ((bits[i / 8] >> (i % 8) & 1) != 0) pages.push_back(first + i);
  }
}

// The row that reaches from `start` to `last`.
std::size_t LengthTo(std::uint32_t start, std::uint32_t last) {
  return std::max<std::size_t>(kNewRow, 5 + 4 * std::size_t{(last - start) / 32 + 1});
}

class Reader {
 public:
  explicit Reader(std::string_view file) : file_(file) {
    out_.page_count = static_cast<std::uint32_t>(file.size() / kPage);
  }

  MapFile Run() {
    out_.free_pages = Decode(1, 0);
    out_.second = std::string(Row(1, 1));
    const std::size_t words = (std::max(out_.page_count, 512U) + 31) / 32;
    if (!out_.free_pages.list &&
        (out_.free_pages.start != 0 || out_.free_pages.length != 5 + 4 * words)) {
      Add(1, 0, fmt::format("{} bytes for {} pages", out_.free_pages.length, out_.page_count));
    }
    free_.insert(out_.free_pages.pages.begin(), out_.free_pages.pages.end());
    for (const std::uint32_t page : out_.free_pages.bitmaps) ClaimBitmap(1, 0, page);
    for (std::uint32_t page = 2; page < out_.page_count; ++page) {
      const std::string_view b = Page(page);
      if (U32(b, 0) % 0x10000 != 0x0101 || U32(b, 4) != 0 || free_.contains(page)) continue;
      for (std::uint32_t row = 0; row < U16(b, 12); ++row) {
        const bool live = (U16(b, 14 + 2 * std::size_t{row}) & 0xC000) == 0;
        if (live) Add(page, row);  // no map is deleted, but some leftover pages are such
      }
    }
    return std::move(out_);
  }

 private:
  std::string_view Page(std::uint32_t page) const { return file_.substr(page * kPage, kPage); }
  std::string_view Row(std::uint32_t page, std::uint32_t row) const {
    const std::string_view b = Page(page);
    const auto offset = [&](std::uint32_t n) { return U16(b, 14 + 2 * std::size_t{n}) & 0x1FFFU; };
    const std::size_t start = offset(row), end = row == 0 ? kPage : offset(row - 1);
    return b.substr(start, end - start);
  }
  void Add(std::uint32_t page, std::uint32_t row, const std::string& what) {
    out_.faults.push_back(fmt::format("map {}:{}: {}", page, row, what));
  }
  void ClaimBitmap(std::uint32_t page, std::uint32_t row, std::uint32_t bitmap) {
    if (free_.contains(bitmap)) Add(page, row, fmt::format("bitmap page {} is free", bitmap));
    if (!bitmaps_.insert(bitmap).second) Add(page, row, fmt::format("{} used twice", bitmap));
    if (U32(Page(bitmap), 0) != 0x0105) Add(page, row, fmt::format("{} is not a bitmap", bitmap));
  }

  MapState Decode(std::uint32_t page, std::uint32_t row) {
    const std::string_view b = Row(page, row);
    MapState map;
    map.list = b[0] == 1;
    map.length = b.size();
    map.room = U16(Page(page), 2);
    if (!map.list) {
      map.start = U32(b, 1);
      AddBits(b.substr(5), map.start, map.pages);
      return map;
    }
    for (std::uint32_t k = 0; 5 + 4 * std::size_t{k} <= b.size(); ++k) {
      const std::uint32_t bitmap = U32(b, 1 + 4 * std::size_t{k});
      if (bitmap == 0) continue;
      map.bitmaps.push_back(bitmap);
      AddBits(Page(bitmap).substr(4), k * kBitsOfPage, map.pages);
    }
    return map;
  }

  void Add(std::uint32_t page, std::uint32_t row) {
    const MapState map = Decode(page, row);
    for (const std::uint32_t bitmap : map.bitmaps) ClaimBitmap(page, row, bitmap);
    if (map.list && map.length != kNewRow)
      Add(page, row, fmt::format("a list of {} bytes", map.length));
    if (!map.list && (map.start % 8 != 0 || map.length < kNewRow || map.length % 4 != 1)) {
      Add(page, row, fmt::format("start {}, {} bytes", map.start, map.length));
    }
    out_.maps.emplace(page << 8 | row, map);
  }

  std::string_view file_;
  MapFile out_;
  std::set<std::uint32_t> free_, bitmaps_;
};

bool Share(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b) {
  return std::ranges::any_of(a, [&](auto page) { return std::ranges::binary_search(b, page); });
}

// Why a map cannot have come to what it is; empty if it can.
std::string WhyNot(const MapState& was, const MapState& is, std::uint32_t last_page) {
  if (was.list) return is.list ? "" : "a list no more";
  const bool never_empty = Share(was.pages, is.pages);
  const auto covered = [&](std::uint32_t start) { return start + 8 * (was.length - 5); };
  if (is.list) {
    if (is.pages.empty() || is.pages.front() < was.start) return "";
    const bool full = LengthTo(was.start, is.pages.back()) > was.length + is.room;
    if (is.pages.back() < covered(was.start) || (never_empty && !full)) return "need not be a list";
    return "";
  }
  if (is.length < was.length) return "shorter";
  if (is.pages.empty()) return "";
  const std::uint32_t first = is.pages.front();
  if (never_empty) {
    if (is.start != was.start) return "moved, but was never empty";
  } else if (is.start == was.start) {
    // A map of long values with room grows behind a mark that goes away later.
    if (was.pages.empty() && first >= covered(was.start)) return "did not move to its first page";
  } else if (is.pages.size() > 1 ? first / 8 * 8 != is.start : first >= covered(is.start)) {
    return "moved elsewhere";
  }
  const std::size_t least = std::max(was.length, LengthTo(is.start, is.pages.back()));
  const bool is_new = was.pages.empty();
  const std::size_t most = is_new ? least : std::max(least, LengthTo(is.start, last_page));
  if (is.length < least || is.length > most) return "length";
  return "";
}

}  // namespace

MapFile ReadMaps(std::string_view file) { return Reader(file).Run(); }

std::vector<std::string> MapFaults(std::string_view before, std::string_view after) {
  const MapFile was = ReadMaps(before), is = ReadMaps(after);
  std::vector<std::string> faults = was.faults;
  faults.insert(faults.end(), is.faults.begin(), is.faults.end());
  if (was.second != is.second) faults.emplace_back("page 1, row 1 changed");
  for (const auto& [at, map] : is.maps) {
    const auto old = was.maps.find(at);
    MapState fresh;
    fresh.length = kNewRow;
    const std::string fault =
        WhyNot(old == was.maps.end() ? fresh : old->second, map, is.page_count - 1);
    if (fault.empty()) continue;
    faults.push_back(fmt::format("map {}:{}: {}; start {}, {} bytes, {} pages from {}", at >> 8,
                                 at & 255, fault, map.start, map.length, map.pages.size(),
                                 map.pages.empty() ? 0 : map.pages.front()));
  }
  for (const auto& [at, map] : was.maps) {
    if (!is.maps.contains(at))
      faults.push_back(fmt::format("map {}:{} is gone", at >> 8, at & 255));
  }
  return faults;
}

}  // namespace test_support
