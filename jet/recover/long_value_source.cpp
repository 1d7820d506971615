#include "jet/recover/long_value_source.h"

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/check/rows.h"
#include "jet/row/long_value.h"

namespace jet::recover {
namespace {

// Of one piece: its own row may come behind one that is damaged. The bound also ends
// chains that go in a circle.
constexpr std::uint8_t kMostUses = 2;

}  // namespace

bool LongValueSource::Take(RowId at, PageRef& page, ByteView& row, std::vector<std::uint32_t>& used,
                           bool& flawed) {
  const PageFacts& facts = (*scan_)[at.page];
  if (facts.kind != PageKind::kLongValues || owners_->IsFree(at.page)) return false;
  page = pager_->Read(at.page);
  const RowsOfPage rows(page.bytes());
  if (at.row >= rows.size() || rows.kind(at.row) != SlotKind::kLive) return false;
  row = rows.bytes(at.row);
  used.push_back(at.packed());
  const std::uint8_t uses = ++uses_[at.packed()];
  flawed = flawed || facts.flawed || uses > 1;
  return uses <= kMostUses;
}

bool LongValueSource::Follow(ByteView stored, Bytes& content, std::vector<std::uint32_t>& used,
                             bool& flawed) {
  const LongValueDescriptor value = ParseLongValue(stored);
  PageRef page;
  ByteView row;
  if (value.kind == LongValueKind::kInline) {
    row = stored.subspan(kLongValueDescriptorBytes);
    content.assign(row.begin(), row.end());
    return row.size() == value.length;
  }
  if (stored.size() != kLongValueDescriptorBytes) return false;
  if (value.kind == LongValueKind::kSingle) {
    if (!Take(value.at, page, row, used, flawed) || row.size() != value.length) return false;
    content.assign(row.begin(), row.end());
    return true;
  }
  for (RowId at = value.at; at.packed() != 0;) {
    if (!Take(at, page, row, used, flawed) || row.size() < 4) return false;
    if (at == value.at && GetU32(page.bytes(), kStampOffset) != value.stamp) return false;
    AddBytes(content, row.subspan(4));
    if (content.size() > value.length) return false;
    at = RowId::FromPacked(GetU32(row, 0));
  }
  return content.size() == value.length;
}

bool LongValueSource::Fetch(ByteView stored, bool is_memo, Bytes& content, bool& flawed) {
  content.clear();
  std::vector<std::uint32_t> used;
  bool whole = false;
  try {
    whole = Follow(stored, content, used, flawed);
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo) throw;
  }
  if (whole && is_memo) {
    check::TextScan scan;
    scan.Feed(content);
    whole = scan.Fault().empty();
  }
  if (!whole) {
    for (const std::uint32_t at : used) --uses_[at];
  }
  return whole;
}

}  // namespace jet::recover
