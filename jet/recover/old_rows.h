// The rows of one table of a damaged file, in stored order.
#pragma once

#include <functional>
#include <unordered_map>
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
  const std::vector<PageNumber>& flawed_pages() const { return flawed_; }  // of those visited
  const std::vector<PageNumber>& lost_pages() const { return pages_.lost; }

 private:
  // A live row or a body of the page in hand.
  struct Row {
    RowJudge::Verdict verdict = RowJudge::Verdict::kBroken;
    check::Fields fields;
  };
  // Takes the rows of a page apart, into the first of `into`. Whether any shows damage.
  bool SplitPage(PageNumber page, const RowsOfPage& rows, std::vector<Row>& into) const;
  bool ShowsDamage(PageNumber page) const;
  void VisitPage(std::size_t position, const std::function<void(const OldRow&)>& visit);
  void VisitLostBodies(const std::function<void(const OldRow&)>& visit);
  // The bytes of a moved row; nothing if they are not where its slot points.
  std::optional<RowId> BodyOf(ByteView pointer) const;
  void VisitMoved(ByteView pointer, bool doubtful, const std::function<void(const OldRow&)>& visit);
  // The fields of row_ are those of the bytes, unless they are broken.
  void Hand(RowJudge::Verdict verdict, ByteView bytes,
            const std::function<void(const OldRow&)>& visit);
  void Judge(ByteView bytes, const std::function<void(const OldRow&)>& visit);
  // Of the page of a moved row.
  bool IsDoubtful(PageNumber page);

  Pager* pager_;
  const PageScan* scan_;
  LongValueSource* long_values_;
  const RowJudge* judge_;
  PageOwners::Pages pages_;
  std::unordered_set<std::uint32_t> bodies_;  // packed; those that no slot led to yet
  std::uint64_t broken_ = 0;
  std::vector<PageNumber> flawed_;                      // ascending
  std::unordered_map<std::uint32_t, bool> body_pages_;  // whether they show damage
  std::vector<Row> rows_;                               // of the page in hand
  OldRow row_;
};

}  // namespace jet::recover
