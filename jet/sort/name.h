// Names of tables, queries, columns and indexes: when two of them are the same, and
// what a new one may look like.
#pragma once

#include <string>
#include <string_view>

#include "jet/base/types.h"

namespace jet {

inline constexpr std::size_t kMaxNameChars = 64;  // UTF-16 units

// Equal for two names that are the same object or column. Never throws: names
// of an unsupported order are compared by the General order, names without a
// key by their code units.
bool SameName(SortOrder order, std::string_view a, std::string_view b);
// A value for hashing and ordering names: equal exactly if SameName.
std::string NameKey(SortOrder order, std::string_view name);

// Checks a new name: 1 to 64 UTF-16 units, none of . ! [ ] ` and no control
// characters, no leading space, and a proven key. Throws kBadName, kUnsortable.
void CheckNewName(SortOrder order, std::string_view name);

}  // namespace jet
