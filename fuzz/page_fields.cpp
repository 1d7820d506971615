#include "fuzz/page_fields.h"

#include <algorithm>
#include <string_view>

#include "jet/base/bytes.h"
#include "jet/pages/slotted_page.h"

namespace fuzz {
namespace {

using jet::ByteView;
using jet::GetU16;
using jet::GetU32;
using jet::kPageSize;
using Kind = Field::Kind;

constexpr std::uint16_t kFilePage = 0x0100, kRows = 0x0101, kDefinition = 0x0102, kNode = 0x0103,
                        kLeaf = 0x0104;

// A row's first byte and the byte behind it.
struct Extent {
  std::size_t begin, end;
};

std::vector<Extent> RowsOf(ByteView page) {
  std::vector<Extent> rows;
  const std::size_t count = std::min<std::size_t>(GetU16(page, 0x0C), jet::kMaxRowsOnPage);
  std::size_t end = kPageSize;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t begin = GetU16(page, 0x0E + 2 * i) & 0x1FFFU;
    if (begin > end) break;
    rows.push_back({begin, end});
    end = begin;
  }
  return rows;
}

class Collector {
 public:
  Collector(ByteView page, std::uint32_t page_count) : page_(page), page_count_(page_count) {}

  std::vector<Field> Take() {
    Add({"page type", 0, 2, Kind::kFlags});
    switch (GetU16(page_, 0)) {
      case kFilePage:
        FilePage();
        break;
      case kRows:
        RowPage();
        break;
      case kDefinition:
        Definition();
        break;
      case kNode:
      case kLeaf:
        IndexPage();
        break;
      default:
        break;
    }
    std::stable_sort(fields_.begin(), fields_.end(), [](const Field& a, const Field& b) {
      return std::string_view(a.name) < b.name;
    });
    return std::move(fields_);
  }

 private:
  void Add(const Field& field) {
    if (field.at + field.width <= kPageSize) fields_.push_back(field);
  }

  void FilePage() {
    Add({"version", 0x14, 4});
    Add({"code page", 0x3C, 2});
    Add({"page key", 0x3E, 4});
    Add({"sort order", 0x6E, 4});
    Add({"creation date", 0x72, 4});
    Add({"commit slot", 0xE00, 2, Kind::kFlags});
    Add({"commit slot", 0xE10, 2, Kind::kFlags});
  }

  void RowPage() {
    Add({"free bytes", 2, 2});
    Add({"owner", 4, 4, Kind::kPage});
    Add({"stamp", 8, 4});
    Add({"row count", 0x0C, 2});
    const std::uint32_t owner = GetU32(page_, 4);
    const std::vector<Extent> rows = RowsOf(page_);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::size_t slot = 0x0E + 2 * i;
      Add({"slot", slot, 2});
      Add({"slot flags", slot + 1, 1, Kind::kFlags});
      const bool moved = (GetU16(page_, slot) & 0xC000U) == 0x4000U;
      if (moved) Add({"moved to", rows[i].begin, 4, Kind::kRow});
      if (owner == jet::kLvalOwner) {
        Add({"next of chain", rows[i].begin, 4, Kind::kRow});
      } else if (owner <= 1) {
        Map(rows[i]);
      } else {
        Row(rows[i]);
      }
    }
  }

  void Map(const Extent& row) {
    Add({"map type", row.begin, 1, Kind::kFlags});
    Add({"map start", row.begin + 1, 4, Kind::kPage});
    for (std::size_t at = row.begin + 5; at + 4 <= row.end; at += 4) {
      Add({"map entry", at, 4, Kind::kPage});
    }
  }

  void Row(const Extent& row) {
    if (row.end - row.begin < 8) return;
    Add({"columns of row", row.begin, 2});
    Add({"first field", row.begin + 2, 4, Kind::kPage});
    const std::size_t mask = (GetU16(page_, row.begin) + std::size_t{7}) / 8;
    if (row.begin + mask + 4 > row.end) return;
    for (std::size_t i = 1; i <= mask; ++i) Add({"null mask", row.end - i, 1, Kind::kFlags});
    const std::size_t count = row.end - mask - 2;
    Add({"variables of row", count, 2});
    for (std::size_t i = 0; i <= GetU16(page_, count); ++i) {
      if (count < row.begin + 2 * i + 4) break;
      Add({"variable offset", count - 2 * i - 2, 2});
    }
    LongValues(row);
  }

  // What looks like the descriptor of a long value.
  void LongValues(const Extent& row) {
    for (std::size_t at = row.begin + 2; at + 12 <= row.end; ++at) {
      const std::uint32_t length = GetU32(page_, at), address = GetU32(page_, at + 4);
      const bool in_file = address >> 8 > 1 && address >> 8 < page_count_;
      if (!in_file || (length & 0x3FFF'FFFF) > 1'000'000 || length == 0) continue;
      Add({"value length", at, 4});
      Add({"value kind", at + 3, 1, Kind::kFlags});
      Add({"value address", at + 4, 4, Kind::kRow});
      Add({"value stamp", at + 8, 4});
    }
  }

  void Definition() {
    Add({"next of definition", 4, 4, Kind::kPage});
    Add({"definition length", 8, 4});
    Add({"table row count", 0x10, 4});
    Add({"last autonumber", 0x14, 4});
    Add({"table kind", 0x28, 1, Kind::kFlags});
    Add({"next column id", 0x29, 2});
    Add({"next variable slot", 0x2B, 2});
    Add({"column count", 0x2D, 2});
    Add({"index count", 0x2F, 4});
    Add({"tree count", 0x33, 4});
    Add({"owned map", 0x37, 4, Kind::kRow});
    Add({"free map", 0x3B, 4, Kind::kRow});
    const std::size_t trees = std::min<std::size_t>(GetU32(page_, 0x33), 32);
    const std::size_t columns = std::min<std::size_t>(GetU16(page_, 0x2D), 255);
    for (std::size_t i = 0; i < trees; ++i) Add({"distinct keys", 0x3F + 12 * i + 4, 4});
    std::size_t at = 0x3F + 12 * trees;
    for (std::size_t i = 0; i < columns; ++i, at += 25) Column(at);
    for (std::size_t i = 0; i < columns && at + 2 <= kPageSize; ++i) {
      Add({"length of name", at, 2});
      Add({"letter of name", at + 2, 2});
      at += 2 + std::size_t{GetU16(page_, at)};
    }
    for (std::size_t i = 0; i < trees; ++i, at += 52) Tree(at);
    for (std::size_t i = 0; i < trees; ++i, at += 28) {
      Add({"index number", at + 4, 4});
      Add({"index tree", at + 8, 4});
      Add({"related table", at + 17, 4, Kind::kPage});
      Add({"index kind", at + 23, 1, Kind::kFlags});
    }
    // Names, then the maps of long values, up to the end mark.
    const std::size_t end = std::min<std::size_t>(GetU32(page_, 8), kPageSize);
    for (; at + 2 <= end; at += 2) Add({"rest of definition", at, 2});
  }

  void Column(std::size_t at) {
    Add({"column type", at, 1, Kind::kFlags});
    Add({"column id", at + 5, 2});
    Add({"column slot", at + 7, 2});
    Add({"column position", at + 9, 2});
    Add({"column order", at + 11, 2});
    Add({"column flags", at + 15, 1, Kind::kFlags});
    Add({"text flags", at + 16, 1, Kind::kFlags});
    Add({"column offset", at + 21, 2});
    Add({"column length", at + 23, 2});
  }

  void Tree(std::size_t at) {
    Add({"key column", at + 4, 2});
    Add({"key direction", at + 6, 1, Kind::kFlags});
    Add({"key column", at + 7, 2});
    Add({"tree map", at + 34, 4, Kind::kRow});
    Add({"tree root", at + 38, 4, Kind::kPage});
    Add({"tree flags", at + 46, 1, Kind::kFlags});
  }

  void IndexPage() {
    Add({"free bytes", 2, 2});
    Add({"owner", 4, 4, Kind::kPage});
    Add({"previous page", 0x0C, 4, Kind::kPage});
    Add({"next page", 0x10, 4, Kind::kPage});
    Add({"tail child", 0x14, 4, Kind::kPage});
    Add({"prefix length", 0x18, 2});
    Add({"level", 0x1A, 1});
    const bool node = GetU16(page_, 0) == kNode;
    std::size_t begin = 0;
    for (std::size_t bit = 0; bit < 3616; ++bit) {
      if ((page_[0x1B + bit / 8] >> bit % 8 & 1) == 0) continue;
      Add({"end of entry", 0x1B + bit / 8, 1, Kind::kFlags});
      const std::size_t end = 0x1E0 + bit;
      Add({"key byte", 0x1E0 + begin, 1, Kind::kFlags});
      if (node) Add({"child", end - 4, 4, Kind::kPage, true});
      Add({"row of entry", end - (node ? 8 : 4), 4, Kind::kRow, true});
      begin = bit;
    }
  }

  ByteView page_;
  std::uint32_t page_count_;
  std::vector<Field> fields_;
};

}  // namespace

std::vector<Field> FieldsOf(ByteView page, std::uint32_t page_count) {
  return Collector(page, page_count).Take();
}

std::vector<MapBits> MapsOn(ByteView page) {
  std::vector<MapBits> maps;
  if (GetU16(page, 0) == 0x0105) maps.push_back({4, kPageSize - 4, 0});
  if (GetU16(page, 0) != kRows || GetU32(page, 4) > 1) return maps;
  for (const Extent& row : RowsOf(page)) {
    if (row.end - row.begin < 6 || page[row.begin] != 0) continue;
    maps.push_back({row.begin + 5, row.end - row.begin - 5, GetU32(page, row.begin + 1)});
  }
  return maps;
}

}  // namespace fuzz
