#include "jet/storage/page_reader.h"

#include <algorithm>
#include <array>

#include "jet/storage/header.h"

namespace jet::internal {
namespace {

// After kMinRun misses in ascending order, no more than kStep pages apart, reads
// count as a scan and fetch up to kMaxAhead pages at once.
constexpr std::uint32_t kStep = 8, kMinRun = 4, kMaxAhead = 64;

}  // namespace

bool PageReader::scanning() const { return misses_in_order_ >= kMinRun; }

std::uint32_t PageReader::Read(PageNumber page, std::uint32_t file_pages, PageSpan into) {
  const std::uint32_t pages = ReadStored(page, file_pages, into);
  Cipher(page, into);
  return pages;
}

void PageReader::ReadOne(PageNumber page, PageSpan into) const {
  file_->Read(std::uint64_t{page.value} * kPageSize, into);
  Cipher(page, into);
}

// A scan skips pages of other owners: pages that are nearly in order count as
// in order. The stretch that is read ahead doubles with each time that it was
// used up.
std::uint32_t PageReader::ReadStored(PageNumber page, std::uint32_t file_pages, PageSpan into) {
  if (const auto redirected = redirected_.find(page); redirected != redirected_.end()) {
    file_->Read(redirected->second, into);
    return 1;
  }
  if (page.value - ahead_from_.value < ahead_pages_) {  // wraps around below it
    const std::size_t at = std::size_t{page.value - ahead_from_.value} * kPageSize;
    std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(at), kPageSize, into.begin());
    last_miss_ = page;
    return 0;
  }
  const bool in_order = page > last_miss_ && page.value - last_miss_.value <= kStep;
  misses_in_order_ = in_order ? misses_in_order_ + 1 : 0;
  last_miss_ = page;
  if (!scanning()) {
    file_->Read(std::uint64_t{page.value} * kPageSize, into);
    return 1;
  }
  ahead_pages_ = 0;
  const std::uint32_t wanted = std::min(
      {kMaxAhead, 1u << std::min(misses_in_order_ - kMinRun + 1, 10u), file_pages - page.value});
  ahead_.resize(std::size_t{wanted} * kPageSize);
  file_->Read(std::uint64_t{page.value} * kPageSize, ahead_);
  ahead_from_ = page;
  ahead_pages_ = wanted;
  std::copy_n(ahead_.begin(), kPageSize, into.begin());
  return wanted;
}

void PageReader::Cipher(PageNumber page, PageSpan bytes) const {
  if (key_ == 0 || page.value == 0) return;
  if (std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; })) return;
  const std::uint32_t number = key_ ^ page.value;
  const std::array<std::uint8_t, 4> key{
      static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
      static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
  Rc4(key).Apply(bytes);
}

}  // namespace jet::internal
