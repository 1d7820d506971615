// The rows of one table of a damaged file, in stored order.
#pragma once

#include <functional>
#include <unordered_set>
#include <vector>

#include "jet/recover/row_judge.h"

namespace jet::recover {

class OldRows {
 public:
  // REQUIRES: all but `pages` outlive this object.
  OldRows(Pager& pager, const PageScan& scan, LongValueSource& long_values, const RowJudge& judge,
          PageOwners::Pages pages);

  // Each row that is whole but for its long values. It is valid during the call.
  void Visit(const std::function<void(const OldRow&)>& visit);
  // The bytes of all rows, broken ones too, where they can be separated.
  void VisitBytes(const std::function<void(RowId, ByteView)>& visit) const;

  // Rows that are there but contradict themselves, and the pages they are on.
  std::uint64_t broken() const { return broken_; }
  const std::vector<PageNumber>& flawed_pages() const { return flawed_; }
  const std::vector<PageNumber>& lost_pages() const { return pages_.lost; }

 private:
  bool ShowsDamage(PageNumber page, const RowsOfPage& rows) const;
  void VisitPage(std::size_t position, const std::function<void(const OldRow&)>& visit);
  void VisitLostBodies(const std::function<void(const OldRow&)>& visit);
  // The bytes of a moved row; nothing if they are not where its slot points.
  std::optional<RowId> BodyOf(ByteView pointer) const;
  void Judge(ByteView bytes, const std::function<void(const OldRow&)>& visit);
  bool IsDoubtful(PageNumber page) const;

  Pager* pager_;
  const PageScan* scan_;
  LongValueSource* long_values_;
  const RowJudge* judge_;
  PageOwners::Pages pages_;
  std::unordered_set<std::uint32_t> bodies_;  // packed; those that no slot led to yet
  std::uint64_t broken_ = 0;
  std::vector<PageNumber> flawed_;  // ascending
  OldRow row_;
};

}  // namespace jet::recover
