// The integrity checker on what an index says about its table: every live row
// has exactly its entry, key by key.
//
// Rows and entries are compared as sets without keeping either: each side adds
// up a hash of its entries. Only if the sums differ are the entries of both
// sides listed, a part of the table at a time, to find the ones that differ.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/check/keys.h"
#include "jet/check/tree.h"

namespace jet::check {

// The rows of the table that an index belongs to.
class RowSource {
 public:
  virtual ~RowSource() = default;
  // A live row that can be read; false if there is none.
  virtual bool Fetch(RowId id, RowFields& row) = 0;
  // All of them in ascending order. Reports nothing.
  virtual void Walk(const std::function<void(RowId, const RowFields&)>& visit) = 0;
  // Live rows that cannot be read, packed, ascending.
  virtual const std::vector<std::uint32_t>& unreadable() const = 0;
};

class IndexCheck {
 public:
  IndexCheck(const Context& context, std::string_view table, const TableDef& def,
             std::size_t ordinal);
  IndexCheck(const IndexCheck&) = delete;
  IndexCheck& operator=(const IndexCheck&) = delete;

  const KeyMaker& keys() const { return keys_; }
  // A row of the table, in ascending order of addresses.
  void Expect(RowId id, const RowFields& row);
  // After all rows: walks the tree and compares.
  void CompareWithTree(RowSource& rows);

 private:
  struct Sum {
    std::uint64_t hashes = 0, count = 0;
    void Add(ByteView entry);
    friend bool operator==(const Sum&, const Sum&) = default;
  };
  struct Entry {
    std::uint32_t row = 0;  // packed
    std::uint64_t hash = 0;
    PageNumber leaf;
  };

  void OnEntry(ByteView entry, PageNumber leaf, bool same_key, RowSource& rows);
  void OnEqualKeys(RowId row, PageNumber leaf, RowSource& rows);
  bool IsOpen(std::uint32_t row) const;
  void CompareOpenRows();
  void CompareInDetail(RowSource& rows);
  void ComparePart(std::uint32_t first, std::uint32_t last, std::vector<Entry>& expected,
                   RowSource& rows);
  std::vector<Entry> EntriesOfRows(std::uint32_t first, std::uint32_t last, RowSource& rows);
  void ReportStray(const Entry& entry, RowSource& rows);
  void ReportWrongKey(const Entry& entry, RowSource& rows);
  Bytes FindKey(const Entry& entry);
  void Problem(const Place& place, Code code, std::string text);

  const Context* context_;
  std::string_view table_;
  const TableDef* def_;
  const RealIndex* index_;
  std::string name_;
  KeyMaker keys_;
  TreeCheck tree_;
  Sum expected_, found_;
  std::vector<std::uint32_t> open_rows_;  // packed, ascending: keys that are not proven
  std::vector<std::uint32_t> seen_open_;  // packed: entries of those
  std::uint64_t null_in_required_ = 0;
  std::optional<RowId> first_null_;
  Bytes key_;
  RowFields row_;
  std::uint32_t distinct_ = 0;
};

}  // namespace jet::check
