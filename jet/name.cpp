#include "jet/name.h"

#include <fmt/core.h>

#include "jet/collation.h"
#include "jet/collation_table.h"
#include "jet/error.h"
#include "jet/text.h"

namespace jet {
namespace {

constexpr std::size_t kMaxNameUnits = 64;

const CollationTable& TableFor(SortOrder order) {
  const CollationTable* table = FindCollationTable(order);
  return table != nullptr ? *table : *FindCollationTable(kGeneral);
}

}  // namespace

std::string NameKey(SortOrder order, std::string_view name) {
  // A first byte keeps names with a key apart from those without.
  std::string result;
  try {
    Bytes key;
    if (AddWeights(TableFor(order), ToUtf16(name), key)) {
      result.push_back('k');
      return result.append(key.begin(), key.end());
    }
  } catch (const Error&) {
    // Not UTF-8: nothing but its bytes to go by.
  }
  result.push_back('u');
  return result.append(name);
}

bool SameName(SortOrder order, std::string_view a, std::string_view b) {
  return a == b || NameKey(order, a) == NameKey(order, b);
}

void CheckNewName(SortOrder order, std::string_view name) {
  std::u16string units = ToUtf16(name);
  if (units.empty()) throw Error(ErrorCode::kBadName, "a name is empty");
  if (units.size() > kMaxNameUnits) {
    throw Error(ErrorCode::kBadName, fmt::format("\"{}\" has {} characters, {} are allowed", name,
                                                 units.size(), kMaxNameUnits));
  }
  if (units.front() == u' ') {
    throw Error(ErrorCode::kBadName, fmt::format("\"{}\" starts with a space", name));
  }
  for (char16_t unit : units) {
    if (unit < u' ' || std::u16string_view(u".![]`").find(unit) != std::u16string_view::npos) {
      throw Error(ErrorCode::kBadName, fmt::format("\"{}\" has the forbidden character U+{:04X}",
                                                   name, static_cast<unsigned>(unit)));
    }
  }
  if (auto reason = WhyUnsortable(order, units)) {
    throw Error(ErrorCode::kUnsortable, fmt::format("\"{}\": {}", name, *reason));
  }
}

}  // namespace jet
