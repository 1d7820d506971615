#include "jet/sort/collation_table.h"

#include <string_view>

namespace jet {
namespace {

#include "jet/sort/collation_data.inc"

constexpr std::uint32_t ParseHex(std::string_view digits) {
  std::uint32_t value = 0;
  for (char digit : digits) {
    value = value << 4 | static_cast<std::uint32_t>(digit <= '9' ? digit - '0' : digit - 'A' + 10);
  }
  return value;
}

struct Run {
  std::uint32_t first = 0;
  CharEntry entry;
  bool counts_up = false;
};

constexpr std::size_t kRunDigits = 11;
constexpr std::uint32_t kCountsUp = 0xF;

constexpr Run ParseRun(std::string_view digits) {
  std::uint32_t kind = ParseHex(digits.substr(4, 1));
  Run run;
  run.first = ParseHex(digits.substr(0, 4));
  run.counts_up = kind == kCountsUp;
  run.entry = {static_cast<std::uint16_t>(ParseHex(digits.substr(5, 4))),
               static_cast<std::uint8_t>(ParseHex(digits.substr(9, 2))),
               run.counts_up ? CharKind::kLetter : static_cast<CharKind>(kind)};
  return run;
}

template <std::size_t kCount>
constexpr std::array<Run, kCount> ParseRuns(std::string_view digits) {
  std::array<Run, kCount> runs{};
  for (std::size_t i = 0; i < kCount; ++i) {
    runs[i] = ParseRun(digits.substr(i * kRunDigits, kRunDigits));
  }
  return runs;
}

constexpr auto kRuns = ParseRuns<kGeneralRuns.size() / kRunDigits>(kGeneralRuns);

constexpr std::size_t RunEnd(std::size_t run) {
  return run + 1 < kRuns.size() ? kRuns[run + 1].first : 0x10000;
}

// Where the list of each page lies among the lists.
using PageIndex = std::array<std::uint8_t, 256>;
constexpr std::uint8_t kUnlisted = 0xFF;

constexpr PageIndex NumberPages(const std::array<bool, 256>& listed) {
  PageIndex index{};
  std::uint8_t next = 0;
  for (std::size_t page = 0; page < 256; ++page) index[page] = listed[page] ? next++ : kUnlisted;
  return index;
}

constexpr std::size_t CountLists(const PageIndex& index) {
  std::size_t count = 0;
  for (std::uint8_t at : index) count += at != kUnlisted;
  return count;
}

// A page needs a list unless a single run fills it.
constexpr PageIndex IndexGeneral() {
  std::array<bool, 256> listed{};
  for (const Run& run : kRuns) {
    if ((run.first & 0xFF) != 0) listed[run.first >> 8] = true;
  }
  return NumberPages(listed);
}

constexpr PageIndex kGeneralIndex = IndexGeneral();

constexpr auto UnpackGeneral() {
  std::array<CollationTable::Page, CountLists(kGeneralIndex)> lists{};
  for (std::size_t i = 0; i < kRuns.size(); ++i) {
    const Run& run = kRuns[i];
    for (std::size_t unit = run.first; unit < RunEnd(i); ++unit) {
      if (kGeneralIndex[unit >> 8] == kUnlisted) {
        unit |= 0xFF;
        continue;
      }
      lists[kGeneralIndex[unit >> 8]][unit & 0xFF] =
          run.counts_up ? CountUp(run.entry, unit - run.first) : run.entry;
    }
  }
  return lists;
}

constexpr auto kGeneralLists = UnpackGeneral();

constexpr CollationTable MakeGeneral() {
  CollationTable::Pages pages{};
  std::size_t at = 0;  // the run that holds the first unit of the page
  for (std::size_t page = 0; page < 256; ++page) {
    while (RunEnd(at) <= page << 8) ++at;
    const Run& run = kRuns[at];
    CharEntry first = run.counts_up ? CountUp(run.entry, (page << 8) - run.first) : run.entry;
    std::uint8_t list = kGeneralIndex[page];
    pages[page] = {list != kUnlisted ? &kGeneralLists[list] : nullptr, first, run.counts_up};
  }
  return CollationTable(pages);
}

constexpr CollationTable kGeneralTable = MakeGeneral();

// Calls visit(unit, entry) for everything that the Japanese order changes.
template <typename Visit>
constexpr void ForEachJapanese(Visit visit) {
  for (const Run& run : ParseRuns<kJapaneseRuns.size() / kRunDigits>(kJapaneseRuns)) {
    visit(run.first, run.entry);
  }
  auto visit_kanji = [&visit](std::u16string_view kanji, std::uint16_t weight) {
    CharEntry first{weight, kPlainSecondary, CharKind::kLetter};
    for (std::size_t i = 0; i < kanji.size(); ++i) visit(kanji[i], CountUp(first, i));
  };
  visit_kanji(kKanji0, kKanjiWeight0);
  visit_kanji(kKanji1, kKanjiWeight1);
}

constexpr PageIndex IndexJapanese() {
  std::array<bool, 256> listed{};
  ForEachJapanese([&listed](std::uint32_t unit, CharEntry) { listed[unit >> 8] = true; });
  return NumberPages(listed);
}

constexpr PageIndex kJapaneseIndex = IndexJapanese();

constexpr auto UnpackJapanese() {
  std::array<CollationTable::Page, CountLists(kJapaneseIndex)> lists{};
  for (std::size_t page = 0; page < 256; ++page) {
    if (kJapaneseIndex[page] == kUnlisted) continue;
    for (std::size_t i = 0; i < 256; ++i) {
      lists[kJapaneseIndex[page]][i] = kGeneralTable[static_cast<char16_t>(page << 8 | i)];
    }
  }
  ForEachJapanese([&lists](std::uint32_t unit, CharEntry entry) {
    lists[kJapaneseIndex[unit >> 8]][unit & 0xFF] = entry;
  });
  return lists;
}

constexpr auto kJapaneseLists = UnpackJapanese();

constexpr CollationTable MakeJapanese() {
  CollationTable::Pages pages = kGeneralTable.pages();
  for (std::size_t page = 0; page < 256; ++page) {
    std::uint8_t list = kJapaneseIndex[page];
    if (list != kUnlisted) pages[page].listed = &kJapaneseLists[list];
  }
  return CollationTable(pages);
}

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
