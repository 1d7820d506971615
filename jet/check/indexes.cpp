#include "jet/check/indexes.h"

#include <fmt/format.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <limits>

#include "jet/base/bytes.h"

namespace jet::check {

namespace {

constexpr std::size_t kRefBytes = 4;
constexpr std::size_t kRowsInDetail = 1'000'000;  // listed at a time

std::uint32_t RowOf(ByteView entry) {
  const ByteView ref = entry.last(kRefBytes);
  return static_cast<std::uint32_t>(ref[0]) << 24 | static_cast<std::uint32_t>(ref[1]) << 16 |
         static_cast<std::uint32_t>(ref[2]) << 8 | static_cast<std::uint32_t>(ref[3]);
}

void AddRef(std::uint32_t packed, Bytes& key) {
  const std::uint8_t ref[kRefBytes] = {
      static_cast<std::uint8_t>(packed >> 24), static_cast<std::uint8_t>(packed >> 16),
      static_cast<std::uint8_t>(packed >> 8), static_cast<std::uint8_t>(packed)};
  AddBytes(key, ref);
}

std::string RowText(std::uint32_t packed) {
  return fmt::format("row {} of page {}", packed & 0xFF, packed >> 8);
}

std::string Hex(ByteView bytes) {
  std::string out;
  for (const std::uint8_t byte : bytes) out += fmt::format("{:02X}", byte);
  return out;
}

std::string NameOf(const TableDef& def, std::size_t ordinal) {
  std::string names;
  for (const LogicalIndex& index : def.logical_indexes) {
    if (index.real != ordinal) continue;
    if (!names.empty()) names += '/';
    names += index.name;
  }
  return names.empty() ? fmt::format("{}", ordinal) : names;
}

}  // namespace

void IndexCheck::Sum::Add(ByteView entry) {
  hashes += XXH3_64bits(entry.data(), entry.size());
  ++count;
}

IndexCheck::IndexCheck(const Context& context, std::string_view table, const TableDef& def,
                       std::size_t ordinal)
    : context_(&context),
      table_(table),
      def_(&def),
      index_(&def.real_indexes[ordinal]),
      name_(NameOf(def, ordinal)),
      keys_(def, *index_),
      tree_(context, table, name_, def.page) {}

void IndexCheck::Problem(const Place& place, Code code, std::string text) {
  context_->report.Problem(place, code, fmt::format("index {}: {}", name_, text));
}

void IndexCheck::Expect(RowId id, const RowFields& row) {
  const bool known = keys_.Build(row, key_);
  if (keys_.some_null() && index_->required() && null_in_required_++ == 0) first_null_ = id;
  if (keys_.all_null() && index_->ignore_nulls()) return;
  if (known) {
    AddRef(id.packed(), key_);
    expected_.Add(key_);
  } else {
    open_rows_.push_back(id.packed());
    ++context_->result.unverified_keys;
  }
}

bool IndexCheck::IsOpen(std::uint32_t row) const {
  return !open_rows_.empty() && std::binary_search(open_rows_.begin(), open_rows_.end(), row);
}

void IndexCheck::CompareWithTree(RowSource& rows) {
  tree_.Run(*index_, [&](ByteView entry, PageNumber leaf, bool same_key) {
    OnEntry(entry, leaf, same_key, rows);
  });
  if (first_null_) {
    context_->report.Warning(At(table_, *first_null_), Code::kNullInKey,
                             fmt::format("index {} requires values, but this row and {} more are "
                                         "Null",
                                         name_, null_in_required_ - 1));
  }
  if (tree_.complete() && distinct_ > index_->distinct_keys) {
    context_->report.Warning(At(table_, def_->page), Code::kKeyCount,
                             fmt::format("index {} has {} distinct keys, more than the {} that "
                                         "were ever added",
                                         name_, distinct_, index_->distinct_keys));
  }
  if (!tree_.complete()) {
    context_->report.NotChecked(At(table_, def_->page), fmt::format("a part of index {}", name_));
  }
  if (!open_rows_.empty()) {
    context_->report.NotChecked(At(table_, def_->page),
                                fmt::format("the keys of {} rows in index {}, which no proven rule "
                                            "makes",
                                            open_rows_.size(), name_));
  }
  CompareOpenRows();
  if (!(expected_ == found_)) CompareInDetail(rows);
}

void IndexCheck::OnEntry(ByteView entry, PageNumber leaf, bool same_key, RowSource& rows) {
  ++context_->result.index_entries;
  const ByteView key = entry.first(entry.size() - kRefBytes);
  const std::uint32_t row = RowOf(entry);
  if (!same_key) {
    ++distinct_;
  } else if (index_->unique()) {
    OnEqualKeys(RowId::FromPacked(row), leaf, rows);
  }
  const std::vector<std::uint32_t>& unreadable = rows.unreadable();
  if (!unreadable.empty() && std::binary_search(unreadable.begin(), unreadable.end(), row)) return;
  if (!IsOpen(row)) {
    found_.Add(entry);
    return;
  }
  seen_open_.push_back(row);
  if (rows.Fetch(RowId::FromPacked(row), row_) && !keys_.MayBe(row_, key)) {
    Problem(At(table_, leaf), Code::kEntryKey,
            fmt::format("the entry of {} has the key {}, which cannot be its own", RowText(row),
                        Hex(key)));
  }
}

// Keys with a Null part do not collide.
void IndexCheck::OnEqualKeys(RowId row, PageNumber leaf, RowSource& rows) {
  if (!rows.Fetch(row, row_)) return;
  keys_.Build(row_, key_);
  if (keys_.all_null()) return;
  std::string text = fmt::format("{} has the same key as the row before it", RowText(row.packed()));
  if (keys_.some_null()) {
    context_->report.Warning(At(table_, leaf), Code::kKeyTwice,
                             fmt::format("index {}: {}", name_, text));
  } else {
    Problem(At(table_, leaf), Code::kKeyTwice, std::move(text));
  }
}

void IndexCheck::CompareOpenRows() {
  std::sort(seen_open_.begin(), seen_open_.end());
  std::size_t at = 0;
  for (const std::uint32_t row : open_rows_) {
    std::size_t entries = 0;
    for (; at < seen_open_.size() && seen_open_[at] == row; ++at) ++entries;
    if (entries == 1 || (entries == 0 && !tree_.complete())) continue;
    Problem(At(table_, RowId::FromPacked(row)),
            entries == 0 ? Code::kEntryMissing : Code::kEntryTwice,
            entries == 0 ? std::string("this row has no entry")
                         : fmt::format("this row has {} entries", entries));
  }
}

void IndexCheck::CompareInDetail(RowSource& rows) {
  std::vector<Entry> expected;
  std::uint32_t first = 0;
  rows.Walk([&](RowId id, const RowFields& row) {
    if (expected.size() >= kRowsInDetail && expected.back().row >> 8 != id.page.value) {
      ComparePart(first, expected.back().row, expected, rows);
      first = expected.back().row + 1;
      expected.clear();
    }
    if (!keys_.Build(row, key_) || (keys_.all_null() && index_->ignore_nulls())) return;
    AddRef(id.packed(), key_);
    expected.push_back({id.packed(), XXH3_64bits(key_.data(), key_.size()), {}});
  });
  ComparePart(first, std::numeric_limits<std::uint32_t>::max(), expected, rows);
}

std::vector<IndexCheck::Entry> IndexCheck::EntriesOfRows(std::uint32_t first, std::uint32_t last,
                                                         RowSource& rows) {
  std::vector<Entry> entries;
  EntryReader reader;
  const std::vector<std::uint32_t>& unreadable = rows.unreadable();
  for (const PageNumber leaf : tree_.leaves()) {
    const PageRef page = context_->pager.Read(leaf);
    if (!reader.Open(page.bytes()).empty()) continue;
    while (reader.Next()) {
      const std::uint32_t row = RowOf(reader.entry());
      if (row < first || row > last || IsOpen(row) ||
          std::binary_search(unreadable.begin(), unreadable.end(), row)) {
        continue;
      }
      entries.push_back({row, XXH3_64bits(reader.entry().data(), reader.entry().size()), leaf});
    }
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.row < b.row; });
  return entries;
}

void IndexCheck::ComparePart(std::uint32_t first, std::uint32_t last, std::vector<Entry>& expected,
                             RowSource& rows) {
  const std::vector<Entry> entries = EntriesOfRows(first, last, rows);
  std::size_t at = 0;
  for (const Entry& row : expected) {
    for (; at < entries.size() && entries[at].row < row.row; ++at) ReportStray(entries[at], rows);
    if (at == entries.size() || entries[at].row != row.row) {
      if (tree_.complete())
        Problem(At(table_, RowId::FromPacked(row.row)), Code::kEntryMissing,
                "this row has no entry");
      continue;
    }
    const std::size_t group = at;
    std::size_t right = entries.size();  // the row's own entry
    for (; at < entries.size() && entries[at].row == row.row; ++at) {
      if (entries[at].hash == row.hash) right = at;
    }
    if (right == entries.size()) ReportWrongKey(entries[right = group], rows);
    for (std::size_t i = group; i < at; ++i) {
      if (i == right) continue;
      Problem(At(table_, entries[i].leaf), Code::kEntryTwice,
              fmt::format("{} has another entry", RowText(row.row)));
    }
  }
  for (; at < entries.size(); ++at) ReportStray(entries[at], rows);
}

void IndexCheck::ReportStray(const Entry& entry, RowSource& rows) {
  const bool exists = rows.Fetch(RowId::FromPacked(entry.row), row_);
  Problem(At(table_, entry.leaf), Code::kEntryStray,
          exists
              ? fmt::format("{} is Null and should have no entry", RowText(entry.row))
              : fmt::format("an entry points to {}, which is not a live row", RowText(entry.row)));
}

void IndexCheck::ReportWrongKey(const Entry& entry, RowSource& rows) {
  if (!rows.Fetch(RowId::FromPacked(entry.row), row_)) return;
  keys_.Build(row_, key_);
  Problem(At(table_, entry.leaf), Code::kEntryKey,
          fmt::format("the entry of {} has the key {}, not {}", RowText(entry.row),
                      Hex(FindKey(entry)), Hex(key_)));
}

Bytes IndexCheck::FindKey(const Entry& entry) {
  const PageRef page = context_->pager.Read(entry.leaf);
  EntryReader reader;
  reader.Open(page.bytes());
  while (reader.Next()) {
    const ByteView found = reader.entry();
    if (RowOf(found) == entry.row && XXH3_64bits(found.data(), found.size()) == entry.hash) {
      return Bytes(found.begin(), found.end() - kRefBytes);
    }
  }
  return {};
}

}  // namespace jet::check
