// Sort keys of texts. An index entry holds the key, not the text: a wrong one
// loses the row without a sign, so what is not proven is refused.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "jet/base/types.h"

namespace jet {

class CollationTable;

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
std::optional<std::string> WhyUnsortable(SortOrder order, std::u16string_view text);

// What stands behind the flag of an ascending key; false, and nothing appended, for
// a text without one.
bool AddWeights(const CollationTable& table, std::u16string_view text, Bytes& out);

}  // namespace jet
