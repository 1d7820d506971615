// Sort keys of texts. An index entry holds the key, not the text: a wrong one
// loses the row without a sign, so what is not proven is refused.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "jet/types.h"

namespace jet {

// True for the orders whose keys can be written: 1033 and 1041, version 0.
bool IsSupportedOrder(SortOrder order);

// The bytes of an index entry for one text or memo value, start flag included.
// Throws kUnsortable with the reason.
Bytes TextKey(SortOrder order, std::string_view text, bool ascending);
// The same, appended to `out`; also for a text already in UTF-16.
void AddTextKey(SortOrder order, std::string_view text, bool ascending, Bytes& out);
void AddTextKey(SortOrder order, std::u16string_view text, bool ascending, Bytes& out);

// Why `text` has no key in this order; nothing if it has one.
std::optional<std::string> WhyUnsortable(SortOrder order, std::string_view text);

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
