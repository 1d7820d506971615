#include "jet/compact/tree_copy.h"

#include <algorithm>
#include <optional>

#include "jet/base/bytes.h"
#include "jet/index/index.h"

namespace jet::compact {
namespace {

constexpr std::uint8_t kAscendingNull = 0x00, kDescendingNull = 0xFF;

void PutBigEndian(std::span<std::uint8_t> at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

std::uint32_t GetBigEndian(ByteView at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | at[i];
  return value;
}

// The parts of a key up to the last one that is an id.
class KeyIds {
 public:
  KeyIds(const TreeCopyJob& job, std::size_t real) : ids_(&job.ids) {
    for (const IndexColumn& column : job.def.real_indexes[real].columns) {
      const std::optional<std::size_t> ordinal = job.def.FindColumn(column.column);
      if (!ordinal) throw Error::Damaged(job.def.page, "an index over a column that is not there");
      const TypeInfo& type = InfoOf(job.def.columns[*ordinal].type);
      const bool is_id = std::ranges::find(job.id_columns, *ordinal) != job.id_columns.end();
      parts_.push_back({is_id, column.ascending, WidthOf(job.def.columns[*ordinal].type, type)});
    }
    while (!parts_.empty() && !parts_.back().is_id) parts_.pop_back();
    if (std::ranges::find(parts_, std::size_t{0}, &Part::width) != parts_.end()) {
      throw Error(ErrorCode::kNotSupported, "an index with an object's id behind a text");
    }
  }
  bool any() const { return !parts_.empty(); }

  void Map(std::span<std::uint8_t> key) const {
    std::size_t at = 0;
    for (const Part& part : parts_) {
      const std::uint8_t flag = GetU8(key, at++);
      if (flag == (part.ascending ? kAscendingNull : kDescendingNull)) continue;
      CheckRange(key.size(), at, part.width);
      if (part.is_id) MapId(key.subspan(at, part.width), part.ascending);
      at += part.width;
    }
  }

 private:
  struct Part {
    bool is_id = false, ascending = true;
    std::size_t width = 0;  // behind the flag; 0: differs from value to value
  };
  static std::size_t WidthOf(ColumnType type, const TypeInfo& info) {
    const bool as_stored = type == ColumnType::kByte || type == ColumnType::kInteger ||
                           type == ColumnType::kLong || type == ColumnType::kCurrency ||
                           type == ColumnType::kSingle || type == ColumnType::kDouble ||
                           type == ColumnType::kDateTime;
    return as_stored ? info.bytes : 0;
  }
  void MapId(std::span<std::uint8_t> value, bool ascending) const {
    const std::uint32_t mask = ascending ? 0x8000'0000 : 0x7FFF'FFFF;
    const auto id = static_cast<std::int32_t>(GetBigEndian(value) ^ mask);
    PutBigEndian(value, static_cast<std::uint32_t>(ids_->Map(id)) ^ mask);
  }

  const ObjectIds* ids_;
  std::vector<Part> parts_;
};

}  // namespace

void CopyTree(const TreeCopyJob& job, std::size_t real, TreeWriter& to) {
  const KeyIds key_ids(job, real);
  std::vector<Bytes> sorted;
  Bytes entry;
  for (auto at = Index(job.from, job.def, real).First(); at.valid(); at.Next()) {
    entry.assign(at.key().begin(), at.key().end());
    if (key_ids.any()) key_ids.Map(entry);
    entry.resize(entry.size() + kIndexRowBytes);
    PutBigEndian(std::span(entry).last(kIndexRowBytes), job.rows.Find(at.row()).packed());
    if (key_ids.any()) {
      if (sorted.size() == job.rows.size()) {
        throw Error::Damaged(at.page(), "an index has more entries than the table rows");
      }
      sorted.push_back(entry);
    } else {
      to.Add(entry);
    }
  }
  std::ranges::sort(sorted);
  for (const Bytes& next : sorted) to.Add(next);
}

}  // namespace jet::compact
