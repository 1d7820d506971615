#include "jet/recover/old_rows.h"

#include <algorithm>

#include "jet/base/bytes.h"

namespace jet::recover {

using Verdict = RowJudge::Verdict;

OldRows::OldRows(Pager& pager, const PageScan& scan, LongValueSource& long_values,
                 const RowJudge& judge, PageOwners::Pages pages)
    : pager_(&pager),
      scan_(&scan),
      long_values_(&long_values),
      judge_(&judge),
      pages_(std::move(pages)) {
  for (const PageNumber page : pages_.rows) {
    const PageRef ref = pager_->Read(page);
    const RowsOfPage rows(ref.bytes());
    for (std::size_t row = 0; row < rows.size(); ++row) {
      if (rows.kind(row) != SlotKind::kBody) continue;
      bodies_.insert(RowId{page, static_cast<std::uint8_t>(row)}.packed());
    }
  }
}

bool OldRows::SplitPage(PageNumber page, const RowsOfPage& rows, std::vector<Row>& into) const {
  bool damaged = (*scan_)[page].flawed;
  std::size_t count = 0;
  for (std::size_t slot = 0; slot < rows.size(); ++slot) {
    const SlotKind kind = rows.kind(slot);
    if (kind != SlotKind::kLive && kind != SlotKind::kBody) continue;
    if (count == into.size()) into.emplace_back();
    Row& row = into[count++];
    row.verdict = judge_->Split(rows.bytes(slot), row.fields);
    damaged = damaged || row.verdict == Verdict::kBroken;
  }
  return damaged;
}

bool OldRows::ShowsDamage(PageNumber page) const {
  const PageRef ref = pager_->Read(page);
  std::vector<Row> rows;
  return SplitPage(page, RowsOfPage(ref.bytes()), rows);
}

bool OldRows::IsDoubtful(PageNumber page) {
  const auto found = std::ranges::lower_bound(pages_.rows, page);
  if (found == pages_.rows.end() || *found != page) return true;
  if (pages_.doubtful[static_cast<std::size_t>(found - pages_.rows.begin())]) return true;
  const auto [known, is_new] = body_pages_.try_emplace(page.value);
  if (is_new) known->second = ShowsDamage(page);
  return known->second;
}

std::optional<RowId> OldRows::BodyOf(ByteView pointer) const {
  if (pointer.size() < 4) return std::nullopt;
  const RowId at = RowId::FromPacked(GetU32(pointer, 0));
  if (!bodies_.contains(at.packed())) return std::nullopt;
  return at;
}

void OldRows::Hand(Verdict verdict, ByteView bytes,
                   const std::function<void(const OldRow&)>& visit) {
  if (verdict == Verdict::kBroken) {
    ++broken_;
    return;
  }
  row_.bytes = bytes;
  row_.tidy = verdict == Verdict::kTidy;
  judge_->Complete(*long_values_, row_);
  visit(row_);
}

void OldRows::Judge(ByteView bytes, const std::function<void(const OldRow&)>& visit) {
  const Verdict verdict = judge_->Split(bytes, row_.fields);
  Hand(verdict, bytes, visit);
}

void OldRows::VisitMoved(ByteView pointer, bool doubtful,
                         const std::function<void(const OldRow&)>& visit) {
  const std::optional<RowId> body = BodyOf(pointer);
  if (!body) {
    ++broken_;
    return;
  }
  bodies_.erase(body->packed());
  row_.doubtful = doubtful || IsDoubtful(body->page);
  const PageRef other = pager_->Read(body->page);
  Judge(RowsOfPage(other.bytes()).bytes(body->row), visit);
}

void OldRows::VisitPage(std::size_t position, const std::function<void(const OldRow&)>& visit) {
  const PageNumber page = pages_.rows[position];
  const PageRef ref = pager_->Read(page);
  const RowsOfPage rows(ref.bytes());
  const bool damaged = SplitPage(page, rows, rows_);
  if (damaged) flawed_.push_back(page);
  const bool doubtful = pages_.doubtful[position] || damaged;
  std::size_t next = 0;
  for (std::size_t slot = 0; slot < rows.size(); ++slot) {
    const SlotKind kind = rows.kind(slot);
    row_.id = {page, static_cast<std::uint8_t>(slot)};
    row_.doubtful = doubtful;
    if (kind == SlotKind::kLive) {
      std::swap(row_.fields, rows_[next].fields);
      Hand(rows_[next].verdict, rows.bytes(slot), visit);
    } else if (kind == SlotKind::kMoved) {
      VisitMoved(rows.bytes(slot), doubtful, visit);
    }
    if (kind == SlotKind::kLive || kind == SlotKind::kBody) ++next;
  }
}

// The page with their slots is gone; the rows themselves are whole.
void OldRows::VisitLostBodies(const std::function<void(const OldRow&)>& visit) {
  std::vector<std::uint32_t> left(bodies_.begin(), bodies_.end());
  std::ranges::sort(left);
  for (const std::uint32_t packed : left) {
    const RowId body = RowId::FromPacked(packed);
    row_.id = body;
    row_.doubtful = true;
    const PageRef ref = pager_->Read(body.page);
    Judge(RowsOfPage(ref.bytes()).bytes(body.row), visit);
  }
}

void OldRows::Visit(const std::function<void(const OldRow&)>& visit) {
  for (std::size_t i = 0; i < pages_.rows.size(); ++i) VisitPage(i, visit);
  VisitLostBodies(visit);
}

void OldRows::VisitBytes(const std::function<void(RowId, ByteView)>& visit) const {
  for (const PageNumber page : pages_.rows) {
    const PageRef ref = pager_->Read(page);
    const RowsOfPage rows(ref.bytes());
    for (std::size_t row = 0; row < rows.size(); ++row) {
      if (rows.kind(row) != SlotKind::kLive && rows.kind(row) != SlotKind::kBody) continue;
      visit({page, static_cast<std::uint8_t>(row)}, rows.bytes(row));
    }
  }
}

}  // namespace jet::recover
