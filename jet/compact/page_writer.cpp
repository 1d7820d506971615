#include "jet/compact/page_writer.h"

#include <algorithm>
#include <array>

#include "jet/base/bytes.h"
#include "jet/storage/header.h"

namespace jet::compact {

PageNumber PageWriter::Take() {
  if (stop_->load(std::memory_order_relaxed)) {
    throw Error(ErrorCode::kDamaged, "stopped").In(file_->path());
  }
  if (page_count_ >= kMaxPages) {
    throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(file_->path());
  }
  return {page_count_++};
}

void PageWriter::Encode(PageNumber page, PageSpan bytes) const {
  if (key_ == 0 || page.value == 0) return;
  std::array<std::uint8_t, 4> key{};
  PutU32(key, 0, key_ ^ page.value);
  Rc4(key).Apply(bytes);
}

void PageWriter::Put(PageNumber page, PageView bytes) {
  ++pages_put_;
  if (page.value < window_from_) {  // a page that waited until others were known
    std::array<std::uint8_t, kPageSize> late{};
    PutBytes(late, 0, bytes);
    Encode(page, late);
    file_->Write(std::uint64_t{page.value} * kPageSize, late);
    return;
  }
  if (page.value - window_from_ >= kWindow) MoveWindow(page.value);
  const std::uint32_t slot = page.value - window_from_;
  const PageSpan place = Window(slot).first<kPageSize>();
  PutBytes(place, 0, bytes);
  Encode(page, place);
  filled_[slot] = true;
}

void PageWriter::MoveWindow(std::uint32_t from) {
  for (std::uint32_t slot = 0; slot < kWindow;) {
    std::uint32_t end = slot;
    while (end < kWindow && filled_[end]) ++end;
    if (end != slot) {
      file_->Write(std::uint64_t{window_from_ + slot} * kPageSize,
                   Window(slot).first(std::size_t{end - slot} * kPageSize));
    }
    slot = end + 1;
  }
  filled_.assign(kWindow, false);
  window_from_ = from;
}

void PageWriter::Finish() {
  MoveWindow(page_count_);
  if (pages_put_ != page_count_) {
    throw Error(ErrorCode::kIo, "a page of the new file was left out").In(file_->path());
  }
}

}  // namespace jet::compact
