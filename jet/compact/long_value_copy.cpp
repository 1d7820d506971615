#include "jet/compact/long_value_copy.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/pages/slotted_page.h"

namespace jet::compact {

PageNumber LongValueCopy::TakePage() {
  const PageNumber page = out_->Take();
  owned_->Add(page);
  return page;
}

void LongValueCopy::Copy(const LongValueDescriptor& value, std::span<std::uint8_t> stored) {
  constexpr std::size_t kAddress = 4;
  const RowId to = value.kind == LongValueKind::kSingle ? CopySingle(value) : CopyChain(value);
  PutU32(stored, kAddress, to.packed());
}

RowId LongValueCopy::CopySingle(const LongValueDescriptor& value) {
  row_.clear();
  ReadPieces(*from_, value, [&](ByteView piece) { AddBytes(row_, piece); });
  if (open_ && !FitsNewRow(open_, image_, row_.size())) Finish();
  if (!open_) {
    open_ = TakePage();
    InitRowPage(image_, kLvalOwner);
  }
  return {open_, AddRow(open_, image_, row_, SlotKind::kLive)};
}

void LongValueCopy::Finish() {
  if (!open_) return;
  if (free_ != nullptr && HasRoomForLongValues(open_, image_)) free_->Add(open_);
  out_->Put(open_, image_);
  open_ = {};
}

// A piece at a time: a value may be larger than what may be kept in memory.
RowId LongValueCopy::CopyChain(const LongValueDescriptor& value) {
  std::array<std::uint8_t, kPageSize> image{};
  RowId first;
  PageNumber page;
  std::size_t left = value.length;
  row_.assign(kChainLinkBytes, 0);
  const auto put = [&] {
    left -= row_.size() - kChainLinkBytes;
    // The next page that is taken is that of the next row.
    if (!page) page = TakePage();
    const PageNumber next = left == 0 ? PageNumber{} : TakePage();
    PutU32(row_, 0, RowId{next, 0}.packed());
    InitRowPage(image, kLvalOwner);
    if (!first) {
      first = {page, 0};
      PutStamp(image, value.stamp);
    }
    AddRow(page, image, row_, SlotKind::kLive);
    out_->Put(page, image);
    page = next;
    row_.resize(kChainLinkBytes);
  };
  ReadPieces(*from_, value, [&](ByteView piece) {
    while (!piece.empty()) {
      const std::size_t room = kChainLinkBytes + kChunkBytes - row_.size();
      const ByteView part = piece.first(std::min(room, piece.size()));
      AddBytes(row_, part);
      piece = piece.subspan(part.size());
      if (row_.size() == kChainLinkBytes + kChunkBytes) put();
    }
  });
  if (row_.size() > kChainLinkBytes) put();
  return first;
}

}  // namespace jet::compact
