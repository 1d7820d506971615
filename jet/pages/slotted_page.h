// A page of rows: data rows, usage-map rows and long-value rows alike.
//
//   0x00 u16  01 01
//   0x02 u16  free bytes = lowest row offset - (14 + 2 * rows)
//   0x04 u32  owner: definition page, "LVAL", 0 for usage maps
//   0x08 u32  0; stamp of a long-value chain on its first page
//   0x0C u16  rows
//   0x0E u16  one slot a row: offset in the low 13 bits, flags above
//   rows are packed from the end of the page downwards in slot order
#pragma once

#include <array>
#include <optional>

#include "jet/base/types.h"

namespace jet {

inline constexpr std::uint32_t kLvalOwner = 0x4C41564C;  // "LVAL"
inline constexpr std::size_t kMaxRowsOnPage = 255;
inline constexpr std::size_t kSlotSize = 2;
inline constexpr std::size_t kStampOffset = 0x08;  // of a long-value chain

enum class SlotKind : std::uint8_t {
  kLive,
  kMoved,  // the first four bytes are the address of the body
  kBody,   // of a moved row, hidden from walks
  kDeleted,
};

// Reading. Every function throws kDamaged (with the page) where the page
// contradicts itself.
class RowPage {
 public:
  // Checks the type word and that the slots fit.
  RowPage(PageNumber number, PageView page);

  static bool IsRowPage(PageView page);
  // Of a page of rows.
  static std::uint32_t OwnerOf(PageView page);

  std::uint32_t owner() const;
  std::uint16_t free_bytes() const;
  std::size_t row_count() const { return rows_; }
  PageView page() const { return page_; }
  SlotKind kind(std::size_t row) const;
  ByteView row(std::size_t row) const;  // its bytes, deleted ones included
  // The first slot from `from` on that is a row's own: a live or a moved one.
  std::optional<std::size_t> FirstHome(std::size_t from) const;

 private:
  PageNumber number_;
  PageView page_;
  std::size_t rows_;
};

// One row of a page of rows without a look at the others; nothing if there is no
// row of that number. kDamaged.
struct FoundRow {
  SlotKind kind = SlotKind::kLive;
  ByteView bytes;
};
std::optional<FoundRow> FindRow(PageNumber number, PageView page, std::size_t row);

// Changing. REQUIRES: RowPage accepts `page`, which is open for editing.
void InitRowPage(PageSpan page, std::uint32_t owner);
// Looks at the last slot only.
bool FitsNewRow(PageNumber number, PageView page, std::size_t length);
// What AddRow changes of a page that takes a row of `length` bytes.
std::array<PagePart, 2> PartsOfNewRow(PageView page, std::size_t length);
// Appends a row and returns its number. REQUIRES: FitsNewRow.
std::uint8_t AddRow(PageNumber number, PageSpan page, ByteView bytes, SlotKind kind);
// Appends live rows of another page from `first` on, up to the first that is not live or
// does not fit. How many.
std::size_t AddRows(PageNumber number, PageSpan page, const RowPage& from, std::size_t first);
// Gives a row other bytes, sliding the rows below it; false (and nothing
// changed) if the page has no room for them.
bool ReplaceRow(PageNumber number, PageSpan page, std::size_t row, ByteView bytes, SlotKind kind);
// Marks the row deleted and gives its bytes back to the page.
void DeleteRow(PageNumber number, PageSpan page, std::size_t row);
// The type word of a page that lost its last row and goes back to the file.
void MarkReleased(PageSpan page);
void PutStamp(PageSpan page, std::uint32_t stamp);

}  // namespace jet
