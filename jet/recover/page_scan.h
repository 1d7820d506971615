// What each page of a file is, by its own bytes. Nothing that leads to a page is
// believed: its fields must fit each other.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "jet/base/types.h"
#include "jet/pages/slotted_page.h"
#include "jet/storage/pager.h"

namespace jet::recover {

enum class PageKind : std::uint8_t {
  kUnknown,
  kZero,
  kHeader,
  kRows,
  kLongValues,
  kMaps,
  kDefinition,      // the first page of one
  kDefinitionPart,  // a page that goes on with one, or a first page that cannot be read
  kReleased,        // given back; what stands there is dead
  kIndex,
  kBitmap,
};

struct PageFacts {
  PageKind kind = PageKind::kUnknown;
  bool flawed = false;      // its kind is certain, but it shows damage
  std::uint32_t owner = 0;  // the definition page that kRows and kIndex name
  std::uint64_t hash = 0;   // of all bytes of kRows
};

// The rows of a page, as far as its slots separate them. The type word is not asked.
class RowsOfPage {
 public:
  explicit RowsOfPage(PageView page);

  // Whether the slots, their number and the free bytes fit each other.
  bool whole() const { return whole_; }
  std::size_t size() const { return ends_.size(); }
  SlotKind kind(std::size_t row) const;
  ByteView bytes(std::size_t row) const;

 private:
  std::uint16_t Slot(std::size_t row) const;
  PageView page_;
  std::vector<std::uint16_t> ends_;  // of each row that was found
  bool whole_ = false;
};

class PageScan {
 public:
  // Reads every page once.
  explicit PageScan(Pager& pager);

  std::uint32_t page_count() const { return static_cast<std::uint32_t>(pages_.size()); }
  // Of a page outside the file: kUnknown.
  const PageFacts& operator[](PageNumber page) const;

 private:
  std::vector<PageFacts> pages_;
};

}  // namespace jet::recover
