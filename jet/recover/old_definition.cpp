#include "jet/recover/old_definition.h"

#include <algorithm>
#include <set>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/row/row.h"
#include "jet/row/table_def_bytes.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/name.h"

namespace jet::recover {
namespace {

constexpr std::uint32_t kMarker = 0x659, kIndexMarker = 0x783;
constexpr std::size_t kPageHead = 8;
constexpr std::size_t kLength = 0x08, kColumnCount = 0x2D, kLogicalCount = 0x2F, kRealCount = 0x33,
                      kHead = 0x3F;
constexpr std::size_t kStatisticBytes = 12, kColumnBytes = 25, kRealBytes = 52, kLogicalBytes = 28,
                      kLongValueBytes = 10;
constexpr std::uint16_t kEnd = 0xFFFF;

// The content of the chain in one piece, as far as it can be followed.
Bytes ContentOf(Pager& pager, PageNumber first, std::vector<PageNumber>& pages) {
  Bytes content;
  for (const PageNumber page : PagesOfTableDef(pager, first)) {
    if (page.value >= pager.page_count()) break;
    const PageRef ref = pager.Read(page);
    const PageView bytes = ref.bytes();
    if (page != first && GetU16(bytes, 0) != 0x0102) break;
    AddBytes(content, page == first ? ByteView(bytes) : bytes.subspan(kPageHead));
    pages.push_back(page);
  }
  return content;
}

// Walks over the parts of a definition and looks at the marks between them.
class Parts {
 public:
  explicit Parts(ByteView content)
      : content_(content),
        columns_(GetU16(content, kColumnCount)),
        logical_(GetU32(content, kLogicalCount)),
        real_(GetU32(content, kRealCount)) {}

  // Behind the names of the columns; nothing if those parts are damaged.
  std::optional<std::size_t> EndOfColumns() {
    at_ = kHead + kStatisticBytes * real_;
    columns_at_ = at_;
    for (std::size_t i = 0; i < columns_; ++i, at_ += kColumnBytes) {
      if (GetU32(content_, at_ + 1) != kMarker) return std::nullopt;
    }
    for (std::size_t i = 0; i < columns_; ++i) {
      if (!PassName()) return std::nullopt;
    }
    return at_;
  }
  std::size_t columns_at() const { return columns_at_; }

  // Whether what follows the columns ends where the definition says it does.
  bool RestFits() {
    for (std::size_t i = 0; i < real_; ++i, at_ += kRealBytes) {
      if (GetU32(content_, at_) != kIndexMarker) return false;
    }
    for (std::size_t i = 0; i < logical_; ++i, at_ += kLogicalBytes) {
      if (GetU32(content_, at_) != kMarker) return false;
    }
    for (std::size_t i = 0; i < logical_; ++i) {
      if (!PassName()) return false;
    }
    while (GetU16(content_, at_) != kEnd) at_ += kLongValueBytes;
    return at_ + 2 == GetU32(content_, kLength);
  }

 private:
  bool PassName() {
    const std::size_t bytes = GetU16(content_, at_);
    at_ += 2 + bytes;
    return bytes != 0 && bytes % 2 == 0 && bytes <= 2 * kMaxNameChars && at_ <= content_.size();
  }

  ByteView content_;
  std::size_t columns_, logical_, real_;
  std::size_t at_ = 0, columns_at_ = 0;
};

bool IsPlausible(const ColumnDef& column) {
  if (!IsKnownType(column.type)) return false;
  if (column.type == ColumnType::kText) {
    return column.length % 2 == 0 && column.length >= 2 && column.length <= 2 * kMaxTextChars;
  }
  if (column.type == ColumnType::kBinary) {
    return column.length >= 1 && column.length <= kMaxBinaryBytes;
  }
  if (column.type == ColumnType::kNumeric) return IsDecimalShape(column.precision, column.scale);
  if (IsLongValue(column.type) || column.type == ColumnType::kBoolean) {
    return column.fixed() == (column.type == ColumnType::kBoolean);
  }
  return true;
}

// Counts that no table reaches are damage. Those that its columns need stand in for them.
void BoundCounts(TableDef& def) {
  if (def.next_column_id <= kMaxColumns && def.next_variable_slot <= def.next_column_id) return;
  std::size_t ids = 0, slots = 0;
  for (const ColumnDef& column : def.columns) {
    ids = std::max(ids, column.id.value + std::size_t{1});
    if (!column.fixed()) slots = std::max(slots, column.variable_slot + std::size_t{1});
  }
  if (def.next_column_id > kMaxColumns) def.next_column_id = static_cast<std::uint16_t>(ids);
  if (def.next_variable_slot > def.next_column_id) {
    def.next_variable_slot = static_cast<std::uint16_t>(slots);
  }
}

// Half of a surrogate pair is damage to a name; U+FFFD stands in for it.
void MendName(std::string& name) {
  for (std::size_t at = name.find('\xED'); at != name.npos; at = name.find('\xED', at + 3)) {
    const bool half = static_cast<unsigned char>(name[at + 1]) >= 0xA0;
    if (half) name.replace(at, 3, "\xEF\xBF\xBD");
  }
}

void MendNames(TableDef& def) {
  for (ColumnDef& column : def.columns) MendName(column.name);
  for (LogicalIndex& index : def.logical_indexes) MendName(index.name);
}

bool ColumnsArePlausible(const TableDef& def) {
  if (DeclaredWidth(def) > kMaxRowBytes) return false;
  std::set<std::string> names;
  return std::ranges::all_of(def.columns, [&](const ColumnDef& column) {
    return IsPlausible(column) && names.insert(column.name).second;
  });
}

bool IndexesArePlausible(const TableDef& def) {
  return std::ranges::all_of(def.real_indexes, [&](const RealIndex& index) {
    return !index.columns.empty() &&
           std::ranges::all_of(index.columns, [&](const IndexColumn& part) {
             return def.FindColumn(part.column).has_value();
           });
  });
}

// The definition without all that stands behind its columns.
Bytes ColumnsAlone(ByteView content, std::size_t columns_at, std::size_t end) {
  Bytes alone(content.begin(), content.begin() + kHead);
  PutU32(alone, kLogicalCount, 0);
  PutU32(alone, kRealCount, 0);
  AddBytes(alone, content.subspan(columns_at, end - columns_at));
  AddU16(alone, kEnd);
  return alone;
}

}  // namespace

std::optional<OldDefinition> ReadOldDefinition(Pager& pager, PageNumber page) {
  OldDefinition old;
  try {
    std::vector<PageNumber> pages;
    const Bytes all = ContentOf(pager, page, pages);
    const ByteView content = ByteView(all).first(
        std::min<std::size_t>(all.size(), std::max<std::size_t>(kHead, GetU32(all, kLength))));
    Parts parts(content);
    const std::optional<std::size_t> end = parts.EndOfColumns();
    if (!end) return std::nullopt;
    old.def.page = page;
    old.def.pages = pages;
    try {
      old.whole = parts.RestFits();
      if (old.whole) ReadDefinition(content, old.def);
    } catch (const Error&) {
      old.whole = false;
    }
    old.whole = old.whole && IndexesArePlausible(old.def);
    if (!old.whole) {
      old.def = TableDef();
      old.def.page = page;
      ReadDefinition(ColumnsAlone(content, parts.columns_at(), *end), old.def);
    }
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo) throw;
    return std::nullopt;
  }
  BoundCounts(old.def);
  MendNames(old.def);
  if (!ColumnsArePlausible(old.def)) return std::nullopt;
  return old;
}

bool HaveSameColumns(const TableDef& a, const TableDef& b) {
  if (a.columns.size() != b.columns.size()) return false;
  return std::ranges::all_of(a.columns, [&b](const ColumnDef& column) {
    return std::ranges::any_of(b.columns, [&column](const ColumnDef& other) {
      return other.name == column.name && other.type == column.type &&
             other.length == column.length;
    });
  });
}

}  // namespace jet::recover
