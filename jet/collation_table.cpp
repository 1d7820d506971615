#include "jet/collation_table.h"

#include <string_view>

namespace jet {
namespace {

#include "jet/collation_data.inc"

constexpr std::uint32_t ParseHex(std::string_view digits) {
  std::uint32_t value = 0;
  for (char digit : digits) {
    value = value << 4 | static_cast<std::uint32_t>(digit <= '9' ? digit - '0' : digit - 'A' + 10);
  }
  return value;
}

constexpr std::uint16_t NextWeight(std::uint16_t weight) {
  return static_cast<std::uint16_t>((weight & 0xFF) == 0xFF ? weight + 3 : weight + 1);
}

struct Run {
  std::uint32_t first = 0;
  CharEntry entry;
  bool counts_up = false;
};

constexpr std::size_t kRunDigits = 11;
constexpr std::uint32_t kCountsUp = 0xF;

constexpr Run ParseRun(std::string_view runs, std::size_t index) {
  std::string_view digits = runs.substr(index * kRunDigits, kRunDigits);
  std::uint32_t kind = ParseHex(digits.substr(4, 1));
  Run run;
  run.first = ParseHex(digits.substr(0, 4));
  run.counts_up = kind == kCountsUp;
  run.entry = {static_cast<std::uint16_t>(ParseHex(digits.substr(5, 4))),
               static_cast<std::uint8_t>(ParseHex(digits.substr(9, 2))),
               run.counts_up ? CharKind::kLetter : static_cast<CharKind>(kind)};
  return run;
}

using PageIndex = std::array<std::uint8_t, 256>;
inline constexpr std::uint8_t kUnchanged = 0xFF;

constexpr std::array<CollationTable::Page, 256> UnpackGeneral() {
  std::array<CollationTable::Page, 256> pages{};
  std::size_t count = kGeneralRuns.size() / kRunDigits;
  for (std::size_t i = 0; i < count; ++i) {
    Run run = ParseRun(kGeneralRuns, i);
    std::uint32_t end = i + 1 < count ? ParseRun(kGeneralRuns, i + 1).first : 0x10000;
    for (std::uint32_t unit = run.first; unit < end; ++unit) {
      pages[unit >> 8][unit & 0xFF] = run.entry;
      if (run.counts_up) run.entry.weight = NextWeight(run.entry.weight);
    }
  }
  return pages;
}

// Calls visit(unit, entry) for everything that the Japanese order changes.
template <typename Visit>
constexpr void ForEachJapanese(Visit visit) {
  for (std::size_t i = 0; i < kJapaneseRuns.size() / kRunDigits; ++i) {
    Run run = ParseRun(kJapaneseRuns, i);
    visit(run.first, run.entry);
  }
  auto count_up = [&visit](std::string_view codes, std::uint16_t weight) {
    for (std::size_t i = 0; i < codes.size(); i += 4) {
      visit(ParseHex(codes.substr(i, 4)), CharEntry{weight, kPlainSecondary, CharKind::kLetter});
      weight = NextWeight(weight);
    }
  };
  count_up(kKanji0, kKanjiWeight0);
  count_up(kKanji1, kKanjiWeight1);
}

// Where the pages that the Japanese order changes lie in kJapanesePages.
constexpr PageIndex IndexJapanese() {
  std::array<bool, 256> changed{};
  ForEachJapanese([&changed](std::uint32_t unit, CharEntry) { changed[unit >> 8] = true; });
  PageIndex index{};
  std::uint8_t next = 0;
  for (std::size_t i = 0; i < index.size(); ++i) index[i] = changed[i] ? next++ : kUnchanged;
  return index;
}

constexpr std::size_t CountChanged(const PageIndex& index) {
  std::size_t count = 0;
  for (std::uint8_t at : index) count += at != kUnchanged;
  return count;
}

constexpr auto kGeneralPages = UnpackGeneral();
constexpr PageIndex kJapaneseIndex = IndexJapanese();

constexpr auto UnpackJapanese() {
  std::array<CollationTable::Page, CountChanged(kJapaneseIndex)> pages{};
  for (std::size_t i = 0; i < kJapaneseIndex.size(); ++i) {
    if (kJapaneseIndex[i] != kUnchanged) pages[kJapaneseIndex[i]] = kGeneralPages[i];
  }
  ForEachJapanese([&pages](std::uint32_t unit, CharEntry entry) {
    pages[kJapaneseIndex[unit >> 8]][unit & 0xFF] = entry;
  });
  return pages;
}

constexpr auto kJapanesePages = UnpackJapanese();

constexpr CollationTable MakeGeneral() {
  CollationTable::Pages pages{};
  for (std::size_t i = 0; i < pages.size(); ++i) pages[i] = &kGeneralPages[i];
  return CollationTable(pages);
}

constexpr CollationTable MakeJapanese() {
  CollationTable::Pages pages{};
  for (std::size_t i = 0; i < pages.size(); ++i) {
    bool changed = kJapaneseIndex[i] != kUnchanged;
    pages[i] = changed ? &kJapanesePages[kJapaneseIndex[i]] : &kGeneralPages[i];
  }
  return CollationTable(pages);
}

constexpr CollationTable kGeneralTable = MakeGeneral();
constexpr CollationTable kJapaneseTable = MakeJapanese();

}  // namespace

std::span<const Letter> CollationTable::LettersOf(const CharEntry& entry) {
  return std::span(kLetters).subspan(entry.weight, entry.secondary);
}

const CollationTable* FindCollationTable(SortOrder order) {
  if (order == kGeneral) return &kGeneralTable;
  if (order == kJapanese) return &kJapaneseTable;
  return nullptr;
}

}  // namespace jet
