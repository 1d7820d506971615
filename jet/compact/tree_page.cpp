#include "jet/compact/tree_page.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/index/index_mask.h"
#include "jet/index/index_page.h"

namespace jet::compact {
namespace {

constexpr std::size_t kMask = 0x1B, kEntries = 0x1E0;
constexpr std::size_t kRoom = kIndexArea - 1;

std::size_t SharedBytes(ByteView a, ByteView b) {
  return static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
}

}  // namespace

void TreePage::Begin(std::uint8_t level) {
  level_ = level;
  prefix_ = 0;
  ends_.clear();
  number = previous = next = tail = {};
}

ByteView TreePage::Own(std::size_t i) const {
  const std::size_t start = i == 0 ? 0 : ends_[i - 1];
  return ByteView(image_).subspan(kEntries + start, ends_[i] - start);
}

bool TreePage::Add(ByteView entry) {
  if (Append(entry)) return true;
  if (level_ != 0 || prefix_ != 0 || ends_.size() < 2) return false;
  const std::size_t prefix = CommonPrefix();
  if (prefix == 0) return false;
  Compress(prefix);
  return Append(entry);
}

bool TreePage::Append(ByteView entry) {
  if (!ends_.empty() && prefix_ != 0) {
    if (SharedBytes(entry, Own(0).first(prefix_)) != prefix_) return false;
    entry = entry.subspan(prefix_);
  }
  if (used() + entry.size() > kRoom) return false;
  PutBytes(image_, kEntries + used(), entry);
  ends_.push_back(static_cast<std::uint16_t>(used() + entry.size()));
  return true;
}

// Entries ascend: what first and last share, all share.
std::size_t TreePage::CommonPrefix() const { return SharedBytes(Own(0), Own(ends_.size() - 1)); }

void TreePage::Compress(std::size_t prefix) {
  std::vector<std::uint16_t> ends{ends_[0]};
  for (std::size_t i = 1; i < ends_.size(); ++i) {
    const ByteView rest = Own(i).subspan(prefix);
    std::ranges::copy(rest, image_.begin() + static_cast<std::ptrdiff_t>(kEntries + ends.back()));
    ends.push_back(static_cast<std::uint16_t>(ends.back() + rest.size()));
  }
  ends_ = std::move(ends);
  prefix_ = prefix;
}

Bytes TreePage::TakeLast() {
  const ByteView last = Own(ends_.size() - 1);
  Bytes entry(last.begin(), last.end());
  ends_.pop_back();
  return entry;
}

PageView TreePage::Image(PageNumber owner) {
  const PageSpan page(image_);
  std::ranges::fill(page.first(kEntries), std::uint8_t{0});
  std::ranges::fill(page.subspan(kEntries + used()), std::uint8_t{0});
  PutU16(page, 0x00, level_ == 0 ? 0x0104 : 0x0103);
  PutU16(page, 0x02, kIndexArea - used());
  PutU32(page, 0x04, owner.value);
  PutU32(page, 0x0C, previous.value);
  PutU32(page, 0x10, next.value);
  PutU32(page, 0x14, tail.value);
  PutU16(page, 0x18, prefix_);
  PutU8(page, 0x1A, level_);
  for (const std::uint16_t end : ends_) internal::SetBit(page.data() + kMask, end);
  return image_;
}

}  // namespace jet::compact
