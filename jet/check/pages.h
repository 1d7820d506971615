// The integrity checker's view of pages: who owns each of them, what a usage map
// says, where the rows of a page lie. Everything here looks at raw bytes and
// reports instead of throwing, so that one damage hides no other.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "jet/check/report.h"
#include "jet/pages/page_set.h"
#include "jet/pages/slotted_page.h"
#include "jet/storage/pager.h"

namespace jet::check {

// Words of pages of several kinds.
inline constexpr std::size_t kOwner = 4, kWord8 = 8;

// What a usage map says. Bits beyond the end of the file are only counted.
struct MapPages {
  PageSet pages;
  std::uint64_t outside = 0;
  std::uint32_t first_outside = 0;
  // Of an inline map: its first page and its width.
  std::uint32_t first = 0;
  std::size_t bytes = 0;
};

// Where the rows of a page lie.
class Slots {
 public:
  // Why the page is not a page of rows, in words; empty if it is one.
  std::string Parse(PageView page);

  std::size_t size() const { return count_; }
  SlotKind kind(std::size_t row) const { return static_cast<SlotKind>(slots_[row] >> 14); }
  std::size_t start(std::size_t row) const { return slots_[row] & 0x1FFFU; }
  std::size_t end(std::size_t row) const { return row == 0 ? kPageSize : start(row - 1); }
  bool has_rows() const;  // that are not deleted
  bool has_unknown_flag(std::size_t row) const { return (slots_[row] & 0x2000U) != 0; }
  std::size_t free_bytes() const { return free_; }

  // The bytes of a row of a page that was parsed before.
  static ByteView Bytes(PageView page, std::size_t row);

 private:
  std::array<std::uint16_t, kMaxRowsOnPage> slots_{};
  std::size_t count_ = 0;
  std::size_t free_ = 0;
};

class Ledger {
 public:
  using OwnerId = std::uint32_t;
  enum class Claimed { kNew, kAgain, kForeign, kOutside };

  Ledger(Pager& pager, Report& report);

  std::uint32_t page_count() const { return page_count_; }
  bool Exists(PageNumber page) const { return page.value < page_count_; }

  // An owner of pages; `text` completes "page 12 belongs to ...".
  OwnerId Register(std::string text, std::string_view table = {});
  // Notes whose page this is. A page beyond the file or of another owner is
  // reported for `place`.
  Claimed Claim(PageNumber page, OwnerId owner, const Place& place);
  // Claims a page that only a map names. No effect if it has an owner; that another
  // part claims it later is not a conflict.
  bool ClaimSpare(PageNumber page, OwnerId owner);
  std::string_view TextOf(OwnerId owner) const { return names_[owner].text; }
  // The same of a page's owner; empty for none.
  std::string_view OwnerOf(PageNumber page) const;
  // The table of its owner; empty for none.
  std::string_view TableOf(PageNumber page) const;

  // The map in row `at`, which has no other user; `what` names it in findings
  // ("owned map"). Nothing if it cannot be read.
  std::optional<MapPages> ReadMap(RowId at, const Place& place, const std::string& what);
  // For the maps of rows and of indexes: how far a long one begins before
  // its pages.
  void SeeFirstMark(const MapPages& map, RowId at, const Place& place, const std::string& what);
  // Page 1: row 0 says which pages are free.
  void ReadGlobalMap();

  // The slots of a page of rows, its own fields compared with them.
  bool ReadSlots(PageNumber page, PageView bytes, const Place& place, Slots& slots);

  // What this ledger holds, for another one of the same file; nothing where that cannot
  // be told in full. The ledger is of no use afterwards.
  struct Owner {
    std::string text, table;
  };
  struct Claims {
    struct Run {
      PageNumber first, last;
      OwnerId owner;  // an index into `owners`
    };
    std::vector<Run> runs;
    std::vector<Owner> owners;
    std::unordered_map<std::uint32_t, std::string> map_rows;
  };
  std::optional<Claims> TakeClaims();
  // Claims all of it at once. False, and nothing is claimed, where a part of it has an
  // owner already; pages of maps may be shared.
  bool TakeOver(const Claims& claims);

  // After everything has claimed its pages: free pages must have no owner, and
  // all others one. `complete` false: some parts could not be read, leftovers
  // mean nothing.
  void CompareWithFreeMap(bool complete);

 private:
  std::optional<MapPages> DecodeMap(ByteView row, RowId at, const Place& place,
                                    const std::string& what);
  bool AddBitmapPage(PageNumber bitmap, std::uint32_t first, const Place& place,
                     const std::string& what, MapPages& into);
  void AddBits(ByteView bits, std::uint64_t first, MapPages& into) const;

  Pager* pager_;
  Report* report_;
  std::uint32_t page_count_;
  std::vector<OwnerId> owner_;  // by page; kNobody, or an index into names_
  std::vector<Owner> names_;
  std::vector<bool> spare_;  // by page: named by a map only
  bool has_spare_ = false;
  std::unordered_map<std::uint32_t, std::string> map_rows_;  // packed address -> user
  std::optional<MapPages> free_;
};

}  // namespace jet::check
