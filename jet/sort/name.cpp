#include "jet/sort/name.h"

#include <fmt/core.h>

#include <algorithm>
#include <optional>

#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/sort/collation.h"
#include "jet/sort/collation_table.h"

namespace jet {
namespace {

constexpr std::size_t kAlwaysCounted = 255;  // bytes of a name that surely count in its key

const CollationTable& TableFor(SortOrder order) {
  const CollationTable* table = FindCollationTable(order);
  return table != nullptr ? *table : *FindCollationTable(kGeneral);
}

// One UTF-16 unit and the bytes of UTF-8 that it takes; no bytes for what takes two
// units or is not UTF-8.
struct Unit {
  char16_t value = 0;
  std::size_t bytes = 0;
};

Unit FirstUnit(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto tail = [&](std::size_t i) { return byte(i) & 0x3F; };
  if (byte(0) < 0x80) return {byte(0), 1};
  if (byte(0) < 0xE0 && text.size() >= 2) {
    return {static_cast<char16_t>((byte(0) & 0x1F) << 6 | tail(1)), 2};
  }
  if (byte(0) < 0xF0 && text.size() >= 3) {
    return {static_cast<char16_t>((byte(0) & 0x0F) << 12 | tail(1) << 6 | tail(2)), 3};
  }
  return {};
}

// One letter with a weight of its own, whatever stands around it.
bool IsPlain(const CharEntry& entry) {
  return entry.kind == CharKind::kLetter || entry.kind == CharKind::kKana ||
         entry.kind == CharKind::kSmallKana;
}

bool SameEntry(const CharEntry& a, const CharEntry& b) {
  return a.kind == b.kind && a.weight == b.weight && a.secondary == b.secondary;
}

// Whether keys differ that are the same before these two weights. A weight of one byte
// may be the first byte of another.
bool TellApart(std::uint16_t a, std::uint16_t b) {
  const bool short_a = a <= 0xFF, short_b = b <= 0xFF;
  if (short_a == short_b) return a != b;
  return short_a ? a != b >> 8 : b != a >> 8;
}

// Compares letter by letter as long as each is a plain one: that decides on most names
// without making their keys. Nothing if it does not. (Names of which one has no key, or
// both, are the same only if their bytes are; the caller has looked at that.)
std::optional<bool> SameByLetters(const CollationTable& table, std::string_view a,
                                  std::string_view b) {
  if (std::max(a.size(), b.size()) > kAlwaysCounted) return std::nullopt;
  bool plain = true;
  while (!a.empty() && !b.empty()) {
    const Unit unit_a = FirstUnit(a), unit_b = FirstUnit(b);
    if (unit_a.bytes == 0 || unit_b.bytes == 0) return std::nullopt;
    const CharEntry entry_a = table[unit_a.value];
    plain = plain && IsPlain(entry_a) && unit_a.value != u' ';
    if (unit_a.value != unit_b.value) {
      const CharEntry entry_b = table[unit_b.value];
      if (!IsPlain(entry_a) || !IsPlain(entry_b)) return std::nullopt;
      if (unit_a.value == u' ' || unit_b.value == u' ') return std::nullopt;
      if (!SameEntry(entry_a, entry_b)) {
        if (TellApart(entry_a.weight, entry_b.weight)) return false;
        return std::nullopt;
      }
    }
    a.remove_prefix(unit_a.bytes);
    b.remove_prefix(unit_b.bytes);
  }
  const std::string_view rest = a.empty() ? b : a;
  if (rest.empty()) return plain ? std::optional(true) : std::nullopt;
  const Unit next = FirstUnit(rest);
  if (next.bytes == 0 || next.value == u' ' || !IsPlain(table[next.value])) return std::nullopt;
  return false;  // one more weight
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
  if (a == b) return true;
  if (const auto same = SameByLetters(TableFor(order), a, b)) return *same;
  return NameKey(order, a) == NameKey(order, b);
}

void CheckNewName(SortOrder order, std::string_view name) {
  std::u16string units = ToUtf16(name);
  if (units.empty()) throw Error(ErrorCode::kBadName, "a name is empty");
  if (units.size() > kMaxNameChars) {
    throw Error(ErrorCode::kBadName, fmt::format("\"{}\" has {} characters, {} are allowed", name,
                                                 units.size(), kMaxNameChars));
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
