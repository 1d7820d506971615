// The property blob of a table or query: its own values and those of its
// columns, each a named typed value. What we do not know is kept byte for byte. Plain
// values, apart from the database that they were loaded from; StoreProperties() takes
// them there.
//
//   "MR2" 00, then chunks: u32 length, u16 kind, body
//   kind 80: the pool of names; 00: the object's values; 01: a column's values
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/column_type.h"
#include "jet/base/types.h"

namespace jet {

struct Property {
  std::string name;
  ColumnType type = ColumnType::kText;
  std::uint8_t ddl = 1;
  Bytes value;  // as stored

  std::string Text() const;  // REQUIRES: of Text or Memo
  bool Boolean() const;      // REQUIRES: of Boolean
};

class Properties {
 public:
  Properties() = default;
  // Throws kDamaged.
  static Properties Parse(ByteView blob);
  Bytes Serialize() const;
  bool empty() const;

  struct Group {
    std::string column;  // empty for the object's own values
    std::uint16_t kind = 0;
    std::vector<Property> values;
    Bytes header_tail;  // as read, where longer than we know
  };
  const std::vector<Group>& groups() const { return groups_; }

  // `column` empty: the object itself. Columns are found by exact name first,
  // then by SameName. `order`: of the database. What Find() returns is good until
  // something is set or removed; nullptr: there is none.
  const Property* Find(SortOrder order, std::string_view column, std::string_view name) const;
  void SetBoolean(SortOrder order, std::string_view column, std::string_view name, bool value);
  void SetText(SortOrder order, std::string_view column, std::string_view name, ColumnType type,
               std::uint8_t ddl, std::string_view value);
  void Remove(SortOrder order, std::string_view column, std::string_view name);
  // Everything that is said of the column; false if that was nothing.
  bool RemoveColumn(SortOrder order, std::string_view column);

 private:
  Property& Put(SortOrder order, std::string_view column, std::string_view name);
  std::vector<std::string> names_;  // the pool, in order
  std::vector<Group> groups_;
  std::vector<std::pair<std::uint16_t, Bytes>> unknown_chunks_;
};

inline constexpr std::string_view kRequiredProperty = "Required";
inline constexpr std::string_view kAllowZeroLengthProperty = "AllowZeroLength";
inline constexpr std::string_view kDefaultValueProperty = "DefaultValue";
inline constexpr std::string_view kCommandTextProperty = "CommandText";

}  // namespace jet
