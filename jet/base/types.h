// The small types that every room of the engine shares: page and row addresses, sort
// orders, bytes. Plain values; a view is good as long as what it looks at.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace jet {

inline constexpr std::size_t kPageSize = 4096;
inline constexpr std::uint64_t kMaxFileSize = 0x8000'0000;  // 2 GB
inline constexpr std::uint32_t kMaxPages = static_cast<std::uint32_t>(kMaxFileSize / kPageSize);

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;
using PageView = std::span<const std::uint8_t, kPageSize>;
using PageSpan = std::span<std::uint8_t, kPageSize>;

// A part of a page, in bytes from its start.
struct PagePart {
  std::size_t at = 0, size = 0;
};

// The number of a page; page n starts at byte n * kPageSize. 0 is the header
// page and stands for "none" where a structure points to a page.
struct PageNumber {
  std::uint32_t value = 0;
  explicit constexpr operator bool() const { return value != 0; }
  friend constexpr auto operator<=>(const PageNumber&, const PageNumber&) = default;
};

// The address of a row: a slot of a page. On disk 4 bytes, low byte = row.
struct RowId {
  PageNumber page;
  std::uint8_t row = 0;
  explicit constexpr operator bool() const { return page.value != 0; }
  constexpr std::uint32_t packed() const { return page.value << 8 | row; }
  static constexpr RowId FromPacked(std::uint32_t packed) {
    return {PageNumber{packed >> 8}, static_cast<std::uint8_t>(packed & 0xFF)};
  }
  friend constexpr auto operator<=>(const RowId&, const RowId&) = default;
};

// Where the parts of a row's bytes stand, in bytes from its start.
struct RowLayout {
  std::uint16_t columns = 0;    // not a place: highest column id + 1 of the row
  std::uint16_t variables = 0;  // nor is this: how many variable fields
  std::uint16_t mask_at = 0;
  std::uint16_t fixed_end = 0;
};

// A column's number for the life of its table; never reused, not its position.
struct ColumnId {
  std::uint16_t value = 0;
  friend constexpr auto operator<=>(const ColumnId&, const ColumnId&) = default;
};

// Four bytes in the header and in every column descriptor.
struct SortOrder {
  std::uint16_t language = 0;  // Windows language id: 1033, 1041 ...
  std::uint8_t sort_id = 0;
  std::uint8_t version = 0;
  friend constexpr auto operator<=>(const SortOrder&, const SortOrder&) = default;
};
inline constexpr SortOrder kGeneral{1033, 0, 0};
inline constexpr SortOrder kJapanese{1041, 0, 0};

}  // namespace jet

template <>
struct std::hash<jet::PageNumber> {
  std::size_t operator()(jet::PageNumber page) const noexcept { return page.value; }
};
template <>
struct std::hash<jet::RowId> {
  std::size_t operator()(jet::RowId id) const noexcept { return id.packed(); }
};
