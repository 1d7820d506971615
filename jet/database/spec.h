// What a caller gives to a database and gets from it: how to open and create one, what
// it is, the objects it has, what a new table, column or index shall be. Plain values;
// nothing here refers to a database.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "jet/base/column_type.h"
#include "jet/base/types.h"
#include "jet/base/value.h"
#include "jet/storage/file.h"

namespace jet {

// Local time without a zone.
using Clock = std::function<DateTime()>;
Clock SystemClock();

inline constexpr std::size_t kCacheBytes = std::size_t{32} << 20;
inline constexpr std::size_t kMaxChangedBytes = std::size_t{1} << 30;

struct OpenOptions {
  OpenMode mode = OpenMode::kRead;
  std::string password{};
  std::size_t cache_bytes = kCacheBytes;  // unchanged pages kept in memory, at most
  // Changes that wait for a Commit(), all in memory; kFileTooLarge beyond.
  std::size_t max_changed_bytes = kMaxChangedBytes;
  Clock clock{};  // empty: SystemClock()
};

struct CreateOptions {
  SortOrder order = kJapanese;
  std::uint16_t code_page = 932;
  std::string password{};
  std::uint32_t engine_build = 0;  // 0: the usual one
  std::size_t cache_bytes = kCacheBytes;
  std::size_t max_changed_bytes = kMaxChangedBytes;
  Clock clock{};
};

// What a file says of itself.
struct FileInfo {
  std::uint32_t page_count = 0;  // of 4096 bytes, with what is not yet committed
  SortOrder order;
  std::uint16_t code_page = 0;
  std::uint32_t engine_build = 0;
  DateTime created;
  bool has_password = false;
  bool encoded = false;  // its pages are scrambled with a key of page 0
};

enum class ObjectKind { kTable, kSystemTable, kLinkedTable, kQuery, kOther };

struct ObjectInfo {
  std::int32_t id = 0;  // of a table: its definition page
  std::string name;
  ObjectKind kind = ObjectKind::kOther;
  std::uint32_t flags = 0;
  std::int16_t type = 0;
  DateTime created, updated;
};

// REQUIRES: what a type does not have keeps its default.
struct ColumnSpec {
  std::string name{};
  ColumnType type = ColumnType::kLong;
  std::size_t max_size = 0;                // Text: UTF-16 units, 1 to 255; Binary: bytes
  bool compressed = false;                 // Text and Memo
  bool auto_number = false;                // Long
  std::uint8_t precision = 18, scale = 0;  // Numeric, in digits
  bool required = false;                   // recorded as a property; ignored for Boolean
  std::optional<bool> allow_zero_length{};
  std::string default_expression{};
};

struct IndexSpec {
  std::string name{};
  std::vector<std::string> columns{};
  std::vector<bool> descending{};  // empty: all ascending
  bool primary = false;
  bool unique = false;
  bool required = false;
  bool ignore_nulls = false;
};

struct TableSpec {
  std::string name{};
  std::vector<ColumnSpec> columns{};  // may be empty
  std::vector<IndexSpec> indexes{};
};

}  // namespace jet
