// The keys of many rows, to be sorted and then built into a tree at once.
#pragma once

#include <cstdint>
#include <vector>

#include "jet/base/bytes.h"
#include "jet/base/types.h"

namespace jet {

// The bytes of all keys stand one after the other, so that a million of them are no
// million allocations.
class IndexEntries {
 public:
  // Makes room for so many keys of about one length, within reason. Any number may come.
  void Reserve(std::size_t count);
  // REQUIRES: a key of at most kMaxIndexEntryBytes. `collides`: an equal one is not
  // allowed where keys are unique.
  void Add(ByteView key, bool collides, RowId row);
  // By key, then by row.
  void Sort();
  // Whether a key that collides is there twice. REQUIRES: sorted.
  bool HasTwice() const;

  std::size_t size() const { return entries_.size(); }
  ByteView key(std::size_t i) const { return KeyOf(entries_[i]); }
  RowId row(std::size_t i) const { return RowId::FromPacked(entries_[i].row); }

 private:
  struct Entry {
    std::uint64_t begin = 0;  // of the key, as a number: most comparisons end with it
    std::uint64_t at = 0;     // in bytes_
    std::uint32_t row = 0;    // packed
    std::uint16_t size = 0;
    bool collides = false;
  };
  ByteView KeyOf(const Entry& entry) const {
    return ByteView(bytes_).subspan(entry.at, entry.size);
  }
  bool Less(const Entry& a, const Entry& b) const;
  bool SameKey(const Entry& a, const Entry& b) const;

  Bytes bytes_;
  std::vector<Entry> entries_;
  bool sorted_ = true;
  std::size_t expected_ = 0;
};

}  // namespace jet
