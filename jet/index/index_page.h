// One page of an index tree.
//
//   0x00 u16 03|04 01  node | leaf      0x18 u16 length of the shared prefix
//   0x02 u16 free                       0x1A u8  level, 0 = leaf
//   0x04 u32 owner                      0x1B     bit mask: entry ends
//   0x0C u32 previous, 0x10 u32 next    0x1E0    entries, 3616 bytes
//   0x14 u32 tail child (nodes)
//
// An entry is the key, then page (3 bytes) and row of the table's row, most
// significant first; in a node the child page (4 bytes) follows. Entries ascend
// by their bytes without the child. Bit i of the mask says that an entry ends
// before byte i of the entry area.
//
// The first entry stands whole, the others without the prefix. Seen otherwise,
// the area is the prefix once, then what each entry has beyond it; so entries
// come and go by moving bytes, wherever they stand and whatever the prefix is.
#pragma once

#include <array>
#include <optional>

#include "jet/base/types.h"
#include "jet/storage/pager.h"

namespace jet {

inline constexpr std::size_t kIndexArea = 3616;   // bytes for entries
inline constexpr std::size_t kIndexRowBytes = 4;  // page and row behind a key
inline constexpr std::size_t kIndexChildBytes = 4;

// Where an entry stands: the bytes [start, end) of the area hold what it has
// beyond the prefix. start == end: behind the last entry.
struct IndexSlot {
  std::size_t start = 0;
  std::size_t end = 0;
  bool at_end() const { return start == end; }
};

// Reading. The page is checked once, when it is taken; slots must come from
// the same page in the same state.
class IndexPage {
 public:
  IndexPage() = default;  // of no page; to be assigned
  // kDamaged: not an index page, another owner, a mask or prefix that the
  // entries contradict.
  IndexPage(PageNumber number, PageView page, PageNumber owner);

  PageNumber number() const { return number_; }
  PageView bytes() const { return PageView(page_, kPageSize); }
  bool leaf() const { return child_bytes_ == 0; }
  std::uint8_t level() const;
  PageNumber previous() const;
  PageNumber next() const;
  PageNumber tail() const;

  bool empty() const { return used_ == 0; }
  std::size_t used() const { return used_; }
  std::size_t prefix() const { return prefix_; }

  IndexSlot First() const { return SlotAt(prefix_); }
  IndexSlot Last() const;
  IndexSlot End() const { return {used_, used_}; }
  IndexSlot After(IndexSlot slot) const { return SlotAt(slot.end); }
  // Nothing stands before First(): then the slot itself.
  IndexSlot Before(IndexSlot slot) const;
  // The first entry that, without its child, is not less than `bytes`. `from_end`: it is
  // probably behind the last one, so look there first.
  IndexSlot LowerBound(ByteView bytes, bool from_end = false) const;

  // Whether the entry without its child is exactly `bytes`, or has exactly `key`.
  bool Equals(IndexSlot slot, ByteView bytes) const { return Matches(slot, bytes, 0); }
  bool HasKey(IndexSlot slot, ByteView key) const { return Matches(slot, key, kIndexRowBytes); }
  // The entry without its child. `buffer` is used only where the page does not
  // hold the entry in one piece.
  ByteView Entry(IndexSlot slot, Bytes& buffer) const;
  // Of a node; the tail at the end. kDamaged for none.
  PageNumber Child(IndexSlot slot) const;

 protected:
  IndexSlot SlotAt(std::size_t start) const;
  bool Matches(IndexSlot slot, ByteView bytes, std::size_t more) const;
  // Bytes of the entry beyond the prefix and without the child, checked.
  ByteView Own(IndexSlot slot) const;

  PageNumber number_, owner_;
  const std::uint8_t* page_ = nullptr;
  std::size_t child_bytes_ = 0;  // of an entry: 0 in a leaf
  std::size_t used_ = 0;
  std::size_t prefix_ = 0;
};

// Whether an entry, in a node with its child, begins with the prefix of the page and has
// more than that.
bool SharesPrefix(const IndexPage& page, ByteView entry);
// What of a page changes if an entry, whole and with its child in a node, goes before
// `slot` and the others stay as they are written. Nothing if the page has no room for it
// so, or the entry does not have its prefix.
std::optional<std::array<PagePart, 2>> PartsOfNewEntry(const IndexPage& page, IndexSlot slot,
                                                       ByteView entry);

// Asks for the lines of memory that a search in the page will look at: it would wait for
// one after the other.
inline void FetchAhead(PageView page) {
  constexpr std::size_t kLine = 64, kStride = 384;
  for (std::size_t at = 0; at < kPageSize - kIndexArea; at += kLine) {
    __builtin_prefetch(&page[at]);
  }
  for (std::size_t at = kPageSize - kIndexArea; at < kPageSize; at += kStride) {
    __builtin_prefetch(&page[at]);
  }
}

// A page that stays in the cache while it is looked at.
struct HeldIndexPage {
  PageRef ref;
  IndexPage page;
  void Read(Pager& pager, PageNumber number, PageNumber owner) {
    ref = pager.Read(number);
    FetchAhead(ref.bytes());
    page = IndexPage(number, ref.bytes(), owner);
  }
};

// Changing a page that is open for editing.
class IndexPageEditor : public IndexPage {
 public:
  IndexPageEditor(PageNumber number, PageSpan page, PageNumber owner);
  // Of a page that was just read. REQUIRES: `page` is that page.
  IndexPageEditor(const IndexPage& read, PageSpan page);
  // An empty page; `page` is overwritten.
  static IndexPageEditor Format(PageNumber number, PageSpan page, PageNumber owner,
                                std::uint8_t level);

  void SetPrevious(PageNumber page);
  void SetNext(PageNumber page);
  void SetTail(PageNumber page);
  void SetChild(IndexSlot slot, PageNumber child);  // the tail at the end

  // Puts an entry, whole and with its child in a node, before `slot`. Where the
  // page is full as it stands, a leaf takes the longest prefix that its entries
  // have in common. False, and nothing changed: no room.
  bool Insert(IndexSlot slot, ByteView entry);
  void Erase(IndexSlot slot) { RemoveRange(slot.start, slot.end); }
  // A boundary between two entries, near the middle. REQUIRES: there are two.
  std::size_t Middle() const;
  // Moves the entries from `boundary` on to `right`, which becomes a page like
  // this one but for its links.
  IndexPageEditor MoveUpperPart(std::size_t boundary, PageNumber right, PageSpan right_page);
  // Becomes a copy of `other`, the links excepted.
  void TakeContent(const IndexPage& other);

 private:
  PageSpan Span() const { return PageSpan(edit_, kPageSize); }
  void SetUsed(std::size_t used);
  void StorePrefix(std::size_t prefix);
  void Place(std::size_t at, ByteView own);
  void RemoveRange(std::size_t from, std::size_t to);
  std::size_t PrefixWith(ByteView entry) const;
  std::size_t Recode(std::size_t prefix, std::size_t follow);

  std::uint8_t* edit_;
};

}  // namespace jet
