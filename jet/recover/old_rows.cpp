#include "jet/recover/old_rows.h"

#include <algorithm>

#include "jet/base/bytes.h"

namespace jet::recover {

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
    if (ShowsDamage(page, rows)) flawed_.push_back(page);
    for (std::size_t row = 0; row < rows.size(); ++row) {
      if (rows.kind(row) != SlotKind::kBody) continue;
      bodies_.insert(RowId{page, static_cast<std::uint8_t>(row)}.packed());
    }
  }
}

bool OldRows::ShowsDamage(PageNumber page, const RowsOfPage& rows) const {
  if ((*scan_)[page].flawed) return true;
  check::Fields fields;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const SlotKind kind = rows.kind(row);
    if (kind != SlotKind::kLive && kind != SlotKind::kBody) continue;
    if (!judge_->Split(rows.bytes(row), fields)) return true;
  }
  return false;
}

bool OldRows::IsDoubtful(PageNumber page) const {
  const auto found = std::ranges::lower_bound(pages_.rows, page);
  if (found == pages_.rows.end() || *found != page) return true;
  return pages_.doubtful[static_cast<std::size_t>(found - pages_.rows.begin())] ||
         std::ranges::binary_search(flawed_, page);
}

std::optional<RowId> OldRows::BodyOf(ByteView pointer) const {
  if (pointer.size() < 4) return std::nullopt;
  const RowId at = RowId::FromPacked(GetU32(pointer, 0));
  if (!bodies_.contains(at.packed())) return std::nullopt;
  return at;
}

void OldRows::Judge(ByteView bytes, const std::function<void(const OldRow&)>& visit) {
  if (!judge_->Split(bytes, row_.fields)) {
    ++broken_;
    return;
  }
  judge_->Complete(*long_values_, row_);
  visit(row_);
}

void OldRows::VisitPage(std::size_t position, const std::function<void(const OldRow&)>& visit) {
  const PageNumber page = pages_.rows[position];
  const PageRef ref = pager_->Read(page);
  const RowsOfPage rows(ref.bytes());
  const bool doubtful = IsDoubtful(page);
  for (std::size_t row = 0; row < rows.size(); ++row) {
    row_.id = {page, static_cast<std::uint8_t>(row)};
    row_.doubtful = doubtful;
    if (rows.kind(row) == SlotKind::kLive) {
      Judge(rows.bytes(row), visit);
    } else if (rows.kind(row) == SlotKind::kMoved) {
      const std::optional<RowId> body = BodyOf(rows.bytes(row));
      if (!body) {
        ++broken_;
        continue;
      }
      bodies_.erase(body->packed());
      row_.doubtful = row_.doubtful || IsDoubtful(body->page);
      const PageRef other = pager_->Read(body->page);
      Judge(RowsOfPage(other.bytes()).bytes(body->row), visit);
    }
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
