#include "jet/index/index_page.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstring>

#include "jet/base/bytes.h"
#include "jet/index/index_mask.h"

namespace jet {
namespace {

constexpr std::size_t kTypeAt = 0x00, kFreeAt = 0x02, kOwnerAt = 0x04, kPreviousAt = 0x0C,
                      kNextAt = 0x10, kTailAt = 0x14, kPrefixAt = 0x18, kLevelAt = 0x1A,
                      kMaskAt = 0x1B, kAreaAt = 0x1E0;
constexpr std::uint16_t kNodeType = 0x0103, kLeafType = 0x0104;
static_assert(kAreaAt - kMaskAt == internal::kIndexMaskBytes);
static_assert(kAreaAt + kIndexArea == kPageSize);

using internal::BitBelow;
using internal::NextBit;

[[noreturn]] void Damaged(PageNumber page, const char* why) { throw Error::Damaged(page, why); }

ByteView AreaOf(const std::uint8_t* page) { return {page + kAreaAt, kIndexArea}; }

std::uint64_t BigEndianAt(const std::uint8_t* at) {
  std::uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return __builtin_bswap64(word);
}

// Like memcmp, in words: what is compared is short. `at` is how much of both is known to
// be equal, and becomes how much is.
int Compare(ByteView a, ByteView b, std::size_t& at) {
  const std::size_t common = std::min(a.size(), b.size());
  for (; at + sizeof(std::uint64_t) <= common; at += sizeof(std::uint64_t)) {
    const std::uint64_t x = BigEndianAt(a.data() + at), y = BigEndianAt(b.data() + at);
    if (x == y) continue;
    at += static_cast<std::size_t>(std::countl_zero(x ^ y)) / 8;
    return x < y ? -1 : 1;
  }
  for (; at < common; ++at) {
    if (a[at] != b[at]) return a[at] < b[at] ? -1 : 1;
  }
  return a.size() < b.size() ? -1 : a.size() > b.size();
}

int Compare(ByteView a, ByteView b) {
  std::size_t at = 0;
  return Compare(a, b, at);
}

std::size_t CommonLength(ByteView a, ByteView b) {
  const std::size_t limit = std::min(a.size(), b.size());
  return static_cast<std::size_t>(
      std::mismatch(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(limit), b.begin()).first -
      a.begin());
}

}  // namespace

// ---- reading

IndexPage::IndexPage(PageNumber number, PageView page, PageNumber owner)
    : number_(number), owner_(owner), page_(page.data()) {
  const std::uint16_t type = GetU16(page, kTypeAt);
  if (type != kNodeType && type != kLeafType) Damaged(number, "not a page of an index");
  if (GetU32(page, kOwnerAt) != owner.value) Damaged(number, "an index page of another table");
  child_bytes_ = type == kLeafType ? 0 : kIndexChildBytes;
  const std::uint8_t* mask = page_ + kMaskAt;
  const std::size_t highest = internal::HighestBit(mask);
  if (highest == internal::kNoBit) return;
  if (highest > kIndexArea || (mask[0] & 1) != 0) {
    Damaged(number, "index mask outside the entry area");
  }
  used_ = highest;
  const std::size_t first = NextBit(mask, 0);
  if (first == used_) return;  // one entry shares nothing, whatever the page says
  prefix_ = GetU16(page, kPrefixAt);
  if (prefix_ >= first) Damaged(number, "index prefix longer than the first entry");
}

std::uint8_t IndexPage::level() const { return page_[kLevelAt]; }
PageNumber IndexPage::previous() const { return {GetU32(bytes(), kPreviousAt)}; }
PageNumber IndexPage::next() const { return {GetU32(bytes(), kNextAt)}; }
PageNumber IndexPage::tail() const { return {GetU32(bytes(), kTailAt)}; }

IndexSlot IndexPage::SlotAt(std::size_t start) const {
  if (start >= used_) return End();
  return {start, NextBit(page_ + kMaskAt, start)};
}

IndexSlot IndexPage::Last() const {
  if (empty()) return End();
  return {BitBelow(page_ + kMaskAt, used_ - 1, prefix_), used_};
}

IndexSlot IndexPage::Before(IndexSlot slot) const {
  if (slot.start <= prefix_) return slot;
  return {BitBelow(page_ + kMaskAt, slot.start - 1, prefix_), slot.start};
}

ByteView IndexPage::Own(IndexSlot slot) const {
  const std::size_t length = slot.end - slot.start;
  if (length < child_bytes_ || prefix_ + length <= kIndexRowBytes + child_bytes_) {
    Damaged(number_, "an index entry is too short");
  }
  return {page_ + kAreaAt + slot.start, length - child_bytes_};
}

IndexSlot IndexPage::LowerBound(ByteView bytes, bool from_end) const {
  const ByteView shared = AreaOf(page_).first(prefix_);
  const int order = Compare(shared, bytes.first(std::min(bytes.size(), shared.size())));
  if (order > 0) return First();
  if (order < 0) return End();
  const ByteView rest = bytes.subspan(shared.size());
  if (from_end && !empty() && Compare(Own(Last()), rest) < 0) return End();
  // Entries that start below `low` are less, those from `high` on are not. The
  // middle is a byte; the entry around it decides.
  std::size_t low = prefix_, high = used_, high_end = used_;
  // What those two have in common with `rest`, all between them have, too.
  std::size_t low_common = 0, high_common = 0;
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    const IndexSlot slot{BitBelow(page_ + kMaskAt, middle, low), NextBit(page_ + kMaskAt, middle)};
    std::size_t common = std::min(low_common, high_common);
    if (Compare(Own(slot), rest, common) < 0) {
      low = slot.end;
      low_common = common;
    } else {
      high = slot.start;
      high_end = slot.end;
      high_common = common;
    }
  }
  return {high, high_end};
}

bool IndexPage::Matches(IndexSlot slot, ByteView bytes, std::size_t more) const {
  const ByteView own = Own(slot);
  if (prefix_ + own.size() != bytes.size() + more) return false;
  const ByteView shared = AreaOf(page_).first(prefix_);
  const std::size_t from_prefix = std::min(prefix_, bytes.size());
  return std::equal(shared.begin(), shared.begin() + static_cast<std::ptrdiff_t>(from_prefix),
                    bytes.begin()) &&
         std::equal(bytes.begin() + static_cast<std::ptrdiff_t>(from_prefix), bytes.end(),
                    own.begin());
}

ByteView IndexPage::Entry(IndexSlot slot, Bytes& buffer) const {
  const ByteView own = Own(slot);
  if (slot.start == prefix_) return AreaOf(page_).first(prefix_ + own.size());
  if (prefix_ == 0) return own;
  buffer.resize(prefix_ + own.size());
  std::copy_n(AreaOf(page_).begin(), prefix_, buffer.begin());
  std::copy(own.begin(), own.end(), buffer.begin() + static_cast<std::ptrdiff_t>(prefix_));
  return buffer;
}

PageNumber IndexPage::Child(IndexSlot slot) const {
  if (leaf()) Damaged(number_, "a leaf where a node is due");
  PageNumber child = tail();
  if (!slot.at_end()) {
    const std::uint8_t* at = Own(slot).data() + Own(slot).size();
    child.value = static_cast<std::uint32_t>(at[0]) << 24 |
                  static_cast<std::uint32_t>(at[1]) << 16 | static_cast<std::uint32_t>(at[2]) << 8 |
                  at[3];
  }
  if (!child || child == number_) Damaged(number_, "an index node without a proper child");
  return child;
}

bool SharesPrefix(const IndexPage& page, ByteView entry) {
  const std::size_t child_bytes = page.leaf() ? 0 : kIndexChildBytes;
  const ByteView prefix = AreaOf(page.bytes().data()).first(page.prefix());
  return entry.size() > prefix.size() + child_bytes && CommonLength(prefix, entry) == prefix.size();
}

std::optional<std::array<PagePart, 2>> PartsOfNewEntry(const IndexPage& page, IndexSlot slot,
                                                       ByteView entry) {
  const std::size_t used = page.used() + entry.size() - page.prefix();
  if (!SharesPrefix(page, entry) || used > kIndexArea) return std::nullopt;
  return std::array{PagePart{0, kMaskAt + used / 8 + 1},
                    PagePart{kAreaAt + slot.start, used - slot.start}};
}

// ---- changing

IndexPageEditor::IndexPageEditor(PageNumber number, PageSpan page, PageNumber owner)
    : IndexPage(number, page, owner), edit_(page.data()) {
  StorePrefix(prefix_);
}

IndexPageEditor::IndexPageEditor(const IndexPage& read, PageSpan page)
    : IndexPage(read), edit_(page.data()) {
  assert(page_ == edit_);
  StorePrefix(prefix_);
}

IndexPageEditor IndexPageEditor::Format(PageNumber number, PageSpan page, PageNumber owner,
                                        std::uint8_t level) {
  std::fill(page.begin(), page.end(), std::uint8_t{0});
  PutU16(page, kTypeAt, level == 0 ? kLeafType : kNodeType);
  PutU16(page, kFreeAt, kIndexArea);
  PutU32(page, kOwnerAt, owner.value);
  PutU8(page, kLevelAt, level);
  return IndexPageEditor(number, page, owner);
}

void IndexPageEditor::SetPrevious(PageNumber page) { PutU32(Span(), kPreviousAt, page.value); }
void IndexPageEditor::SetNext(PageNumber page) { PutU32(Span(), kNextAt, page.value); }
void IndexPageEditor::SetTail(PageNumber page) { PutU32(Span(), kTailAt, page.value); }

void IndexPageEditor::SetChild(IndexSlot slot, PageNumber child) {
  if (slot.at_end()) return SetTail(child);
  const std::size_t at = kAreaAt + slot.start + Own(slot).size();
  for (std::size_t i = 0; i < kIndexChildBytes; ++i) {
    edit_[at + i] = static_cast<std::uint8_t>(child.value >> (24 - 8 * i));
  }
}

void IndexPageEditor::SetUsed(std::size_t used) {
  used_ = used;
  PutU16(Span(), kFreeAt, kIndexArea - used);
}

void IndexPageEditor::StorePrefix(std::size_t prefix) {
  prefix_ = prefix;
  PutU16(Span(), kPrefixAt, prefix);
}

bool IndexPageEditor::Insert(IndexSlot slot, ByteView entry) {
  if (SharesPrefix(*this, entry) && used_ + entry.size() - prefix_ <= kIndexArea) {
    Place(slot.start, entry.subspan(prefix_));
    return true;
  }
  const ByteView bare = entry.first(entry.size() - child_bytes_);
  // A node is given no prefix; one that it has may have to give way.
  const std::size_t prefix =
      leaf() ? PrefixWith(bare)
             : std::min(CommonLength(AreaOf(page_).first(prefix_), bare), bare.size() - 1);
  if (prefix == prefix_) return false;
  // Every entry but the first changes by the difference.
  const std::size_t others = internal::CountBits(page_ + kMaskAt) - 1;
  if (used_ + others * prefix_ + entry.size() > kIndexArea + others * prefix + prefix) return false;
  const std::size_t at = Recode(prefix, slot.start);
  Place(at, entry.subspan(prefix));
  return true;
}

// The longest prefix that a page of these entries and `entry` can have.
std::size_t IndexPageEditor::PrefixWith(ByteView entry) const {
  if (empty()) return 0;
  const ByteView first = AreaOf(page_).first(First().end);
  const std::size_t length =
      std::min(CommonLength(first, entry), prefix_ + CommonLength(Own(First()), Own(Last())));
  return std::min({length, first.size() - 1, entry.size() - 1});
}

// Writes all entries with another prefix; the result must fit. Returns where
// the entry that started at `follow` starts now.
std::size_t IndexPageEditor::Recode(std::size_t prefix, std::size_t follow) {
  std::array<std::uint8_t, kIndexArea> area{};
  std::array<std::uint8_t, internal::kIndexMaskBytes> mask{};
  std::copy_n(AreaOf(page_).begin(), prefix, area.begin());
  std::size_t at = prefix, followed = prefix;
  const auto append = [&](ByteView bytes) {
    assert(bytes.size() <= area.size() - at);
    std::copy(bytes.begin(), bytes.end(), area.begin() + static_cast<std::ptrdiff_t>(at));
    at += bytes.size();
  };
  for (IndexSlot slot = First(); !slot.at_end(); slot = After(slot)) {
    if (slot.start == follow) followed = at;
    ByteView own = AreaOf(page_).subspan(slot.start, slot.end - slot.start);
    if (prefix < prefix_) append(AreaOf(page_).first(prefix_).subspan(prefix));
    if (prefix > prefix_) {
      if (Own(slot).size() < prefix - prefix_) Damaged(number_, "index entries out of order");
      own = own.subspan(prefix - prefix_);
    }
    append(own);
    internal::SetBit(mask.data(), at);
  }
  if (follow >= used_) followed = at;
  std::copy(area.begin(), area.end(), edit_ + kAreaAt);
  std::copy(mask.begin(), mask.end(), edit_ + kMaskAt);
  StorePrefix(prefix);
  SetUsed(at);
  return followed;
}

void IndexPageEditor::Place(std::size_t at, ByteView own) {
  std::uint8_t* const entries = edit_ + kAreaAt;
  std::memmove(entries + at + own.size(), entries + at, used_ - at);
  std::memcpy(entries + at, own.data(), own.size());
  internal::OpenGap(edit_ + kMaskAt, at, own.size(), used_);
  internal::SetBit(edit_ + kMaskAt, at + own.size());
  SetUsed(used_ + own.size());
}

// Takes out the entries that stand in [from, to).
void IndexPageEditor::RemoveRange(std::size_t from, std::size_t to) {
  if (from == to) return;
  std::uint8_t* const entries = edit_ + kAreaAt;
  const std::size_t left = used_ - (to - from);
  std::memmove(entries + from, entries + to, used_ - to);
  std::memset(entries + left, 0, used_ - left);
  internal::CloseGap(edit_ + kMaskAt, from, to);
  if (left == prefix_) {  // nothing but the prefix
    std::memset(entries, 0, left);
    StorePrefix(0);
    SetUsed(0);
    return;
  }
  SetUsed(left);
  if (First().end == used_) StorePrefix(0);
}

std::size_t IndexPageEditor::Middle() const {
  const std::size_t found = BitBelow(page_ + kMaskAt, prefix_ + (used_ - prefix_) / 2, prefix_);
  return found != prefix_ ? found : First().end;
}

IndexPageEditor IndexPageEditor::MoveUpperPart(std::size_t boundary, PageNumber right,
                                               PageSpan right_page) {
  std::copy_n(page_, kPageSize, right_page.begin());
  IndexPageEditor upper(right, right_page, owner_);
  upper.RemoveRange(upper.prefix_, boundary);
  RemoveRange(boundary, used_);
  return upper;
}

void IndexPageEditor::TakeContent(const IndexPage& other) {
  const PageNumber before = previous(), behind = next();
  std::copy_n(other.bytes().begin(), kPageSize, edit_);
  SetPrevious(before);
  SetNext(behind);
  *this = IndexPageEditor(number_, Span(), owner_);
}

}  // namespace jet
