// Memo and OLE values of a damaged file: a value is given out only if everything
// that its row says of it holds.
#pragma once

#include <unordered_map>

#include "jet/recover/page_owners.h"

namespace jet::recover {

class LongValueSource {
 public:
  // REQUIRES: all outlive this object.
  LongValueSource(Pager& pager, const PageScan& scan, const PageOwners& owners)
      : pager_(&pager), scan_(&scan), owners_(&owners) {}

  // The value behind a stored descriptor. False if it is gone. `flawed` is set where a
  // page that it lies on shows damage, or another row had a part of it before.
  bool Fetch(ByteView stored, bool is_memo, Bytes& content, bool& flawed);

 private:
  bool Follow(ByteView stored, Bytes& content, std::vector<std::uint32_t>& used, bool& flawed);
  // A row of a page of long values.
  bool Take(RowId at, PageRef& page, ByteView& row, std::vector<std::uint32_t>& used, bool& flawed);

  Pager* pager_;
  const PageScan* scan_;
  const PageOwners* owners_;
  std::unordered_map<std::uint32_t, std::uint8_t> uses_;  // by packed address
};

}  // namespace jet::recover
