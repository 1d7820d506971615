// A table's definition: columns, indexes, counters. The number of its first page
// is the table's identity.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/column_type.h"
#include "jet/base/types.h"

namespace jet {

inline constexpr std::size_t kMaxColumns = 255;  // in a table's lifetime
inline constexpr std::size_t kMaxIndexes = 32;   // trees; of a new table, names of indexes, too
inline constexpr std::size_t kMaxIndexColumns = 10;

struct ColumnDef {
  std::string name;
  ColumnType type = ColumnType::kLong;
  ColumnId id;
  std::uint16_t variable_slot = 0;  // for fixed columns: slots that existed before it
  std::uint16_t position = 0;
  SortOrder order;                        // of every type but Numeric
  std::uint8_t precision = 0, scale = 0;  // of Numeric
  std::uint8_t flags = 0;                 // kFixed ...
  std::uint8_t text_flags = 0;            // kCompressed ...
  std::uint16_t fixed_offset = 0;         // in the row's fixed region
  std::uint16_t length = 0;               // bytes; 0 for long values
  RowId owned_map, free_map;              // of long values

  static constexpr std::uint8_t kFixed = 0x01, kUpdatable = 0x02, kAutoNumber = 0x04,
                                kSystem = 0x10, kMasked = 0x20;
  static constexpr std::uint8_t kCompressed = 0x01;

  bool fixed() const { return (flags & kFixed) != 0; }
  bool auto_number() const { return (flags & kAutoNumber) != 0; }
  bool compressed() const { return (text_flags & kCompressed) != 0; }
  std::size_t max_chars() const { return length / 2; }  // of Text
  // Of a fixed column: its bytes in the fixed region.
  std::size_t fixed_bytes() const {
    const TypeInfo& info = InfoOf(type);
    return info.size == ValueSize::kExact ? info.bytes : length;
  }

  // Bytes of the descriptor that we carry but do not interpret (+17, +21 of
  // variable columns).
  std::uint32_t unknown17 = 0;
  std::uint16_t unknown21 = 0;
};

struct IndexColumn {
  ColumnId column;
  bool ascending = true;
};

// A tree. Several logical indexes may share one.
struct RealIndex {
  std::vector<IndexColumn> columns;  // 1 to 10
  RowId page_map;
  PageNumber root;
  std::uint8_t flags = 0x80;
  std::uint32_t rows_at_compact = 0;
  std::uint32_t distinct_keys = 0;  // ever added; never counts down
  std::uint32_t statistic8 = 0;
  std::array<std::uint8_t, 30> column_bytes{};  // as read, garbage included
  std::uint32_t unknown42 = 0;

  static constexpr std::uint8_t kUnique = 0x01, kIgnoreNulls = 0x02, kRequired = 0x08,
                                kAlways = 0x80, kPrimaryKey = 0x89;
  bool unique() const { return (flags & kUnique) != 0; }
  bool ignore_nulls() const { return (flags & kIgnoreNulls) != 0; }
  bool required() const { return (flags & kRequired) != 0; }
};

struct LogicalIndex {
  std::string name;
  std::uint32_t number = 0;
  std::uint32_t real = 0;  // ordinal of the tree
  std::uint8_t relation_side = 0;
  std::uint32_t related_index = 0xFFFFFFFF;
  std::uint32_t related_table = 0;
  std::uint8_t cascade_update = 4, cascade_delete = 4;
  std::uint8_t kind = 0;
  std::uint32_t unknown24 = 0;

  static constexpr std::uint8_t kPlain = 0, kPrimary = 1, kRelation = 2;
};

struct TableDef {
  PageNumber page;  // identity, and owner in all pages of the table
  std::uint32_t row_count = 0;
  std::uint32_t last_autonumber = 0;
  std::uint32_t autonumber_step = 1;
  std::uint32_t unknown1C = 0;
  std::uint64_t unknown20 = 0;
  std::uint8_t kind = kUser;
  std::uint16_t next_column_id = 0;
  std::uint16_t next_variable_slot = 0;
  RowId owned_map, free_map;
  // Of long values of columns that are not there; kept as they are.
  struct StrayMaps {
    ColumnId column;
    RowId owned_map, free_map;
  };
  std::vector<StrayMaps> stray_maps;
  std::vector<ColumnDef> columns;  // in the order of the descriptors = ordinal order
  std::vector<RealIndex> real_indexes;
  std::vector<LogicalIndex> logical_indexes;
  std::vector<PageNumber> pages;  // the chain, `page` first

  static constexpr std::uint8_t kUser = 0x4E, kSystem = 0x53;

  // The width of the fixed region of a row written now.
  std::size_t fixed_width() const;
  bool has_variable_columns() const { return next_variable_slot != 0; }
  // Position in `columns`; nothing if there is none.
  std::optional<std::size_t> FindColumn(std::string_view name, SortOrder order) const;
  std::optional<std::size_t> FindColumn(ColumnId id) const;
};

}  // namespace jet
