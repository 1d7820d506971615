#include "jet/sort/collation.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <vector>

#include "jet/base/error.h"
#include "jet/base/text.h"

namespace jet {
namespace {

using ::testing::HasSubstr;

std::string Hex(ByteView bytes) { return fmt::format("{:02X}", fmt::join(bytes, "")); }

std::string Repeated(std::string_view text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

std::string AscendingHex(SortOrder order, std::string_view text) {
  return Hex(TextKey(order, text, true));
}

struct KnownKey {
  SortOrder order;
  const char* text;
  const char* key;
};

constexpr KnownKey kKnownKeys[] = {
#include "tests/jet/sort/sort_keys.inc"
};

TEST(TextKey, GivesTheBytesThatRealFilesHold) {
  for (const KnownKey& known : kKnownKeys) {
    Bytes key = TextKey(known.order, known.text, true);
    EXPECT_EQ(Hex(key), known.key) << known.order.language << " " << known.text;
    Bytes descending = {0x80};
    for (std::size_t i = 1; i < key.size(); ++i) {
      descending.push_back(static_cast<std::uint8_t>(~key[i]));
    }
    descending.push_back(0x00);
    EXPECT_EQ(TextKey(known.order, known.text, false), descending) << known.text;
    EXPECT_EQ(WhyUnsortable(known.order, known.text), std::nullopt) << known.text;
  }
}

TEST(TextKey, CountsOnly255UnitsAndNoSpacesAtTheEnd) {
  EXPECT_EQ(AscendingHex(kJapanese, ""), "7F0100");
  EXPECT_EQ(AscendingHex(kJapanese, "   "), "7F0100");
  EXPECT_NE(AscendingHex(kJapanese, "\u3000"), "7F0100");
  EXPECT_EQ(AscendingHex(kJapanese, "A  "), AscendingHex(kJapanese, "A"));
  std::string full = Repeated("\u4E9C", 255);
  EXPECT_EQ(AscendingHex(kJapanese, full), "7F" + Repeated("8108", 255) + "0100");
  EXPECT_EQ(AscendingHex(kJapanese, full + Repeated("\u4E9D", 9000)),
            AscendingHex(kJapanese, full));
  // The cut comes before the spaces are dropped, and before anything is refused.
  EXPECT_EQ(AscendingHex(kJapanese, Repeated(" ", 255) + "A"), "7F0100");
  EXPECT_EQ(AscendingHex(kJapanese, full + "\U00020BB7"), AscendingHex(kJapanese, full));
  EXPECT_TRUE(WhyUnsortable(kJapanese, Repeated("A", 254) + "\U00020BB7").has_value());
}

TEST(TextKey, PacksKanaInThreesAndFillsInSevens) {
  // Twelve kana: normal, small and prolonged ones, two fill bytes.
  std::string key = AscendingHex(kJapanese, Repeated("ア", 12));
  EXPECT_EQ(key, "7F" + Repeated("7F02", 12) + "010101FF028080FF808000");
  for (const auto& [kana, fill] : {std::pair{7, 1}, {8, 2}, {14, 2}, {15, 3}}) {
    EXPECT_EQ(AscendingHex(kJapanese, Repeated("ア", kana)),
              "7F" + Repeated("7F02", kana) + "010101FF02" + Repeated("80", fill) + "FF" +
                  Repeated("80", fill) + "00")
        << kana;
  }
  EXPECT_THAT(AscendingHex(kJapanese, Repeated("ァ", 200)),
              HasSubstr("010101" + Repeated("AA", 66) + "A8FF02" + Repeated("80", 29) + "FF"));
  // A small kana and its prolongation.
  EXPECT_EQ(AscendingHex(kJapanese, "ァー"), "7F7F027F02010101A8FF9C0280FF8000");
  // Word-sort records behind kana, and one whose place does not fit one byte.
  EXPECT_THAT(AscendingHex(kJapanese, "ア-ア"), HasSubstr("0280FF80FF01800B068200"));
  EXPECT_THAT(AscendingHex(kGeneral, Repeated("A", 70) + "-B"), HasSubstr("01010101811F068200"));
}

TEST(TextKey, RefusesWhatIsNotProven) {
  const struct {
    SortOrder order;
    std::string text;
    const char* why;
  } cases[] = {
      {{1031, 0, 0}, "A", "sort order 1031"},
      {{1041, 0, 1}, "", "version 1"},
      {{1033, 1, 0}, "A", "id 1"},
      {kJapanese, "A\u2015B", "U+2015"},
      {kJapanese, "\u337E", "U+337E"},
      {kJapanese, "\U00020BB7野家", "U+20BB7"},
      {kGeneral, "\xED\xA0\x81", "U+D801"},
      {kJapanese, "ンー", "U+30FC"},
      {kJapanese, "Aß一-ーB", "U+30FC"},
      {kJapanese, "ーア", "U+30FC"},
      {kJapanese, "ー-", "U+30FC"},
      {kJapanese, "々", "U+3005"},
      {kJapanese, "-々", "U+3005"},
      {kJapanese, "ァヽ", "U+30FD"},
      {kJapanese, "アヽヽ", "U+30FD"},
      {kJapanese, "ガ\uFF9E", "U+FF9E"},
      {kJapanese, "\uFF9E", "U+FF9E"},
      {kJapanese, "ß\u0301", "U+0301"},
      {kGeneral, "Æ-", "U+00C6"},
      {kGeneral, "ßé", "U+00DF"},
      {kGeneral, "\u01C4", "U+01C4"},
  };
  for (const auto& c : cases) {
    std::optional<std::string> why = WhyUnsortable(c.order, c.text);
    ASSERT_TRUE(why.has_value()) << c.text;
    EXPECT_THAT(*why, HasSubstr(c.why)) << c.text;
    Bytes key = {0x55};
    try {
      AddTextKey(c.order, ToUtf16(c.text), true, key);
      ADD_FAILURE() << c.text << " got a key";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::kUnsortable);
      EXPECT_EQ(error.detail(), *why);
    }
    EXPECT_EQ(key, Bytes{0x55}) << "a refusal left something behind";
  }
  EXPECT_EQ(WhyUnsortable(kGeneral, "A\u2015B"), std::nullopt);
  EXPECT_EQ(WhyUnsortable(kGeneral, "-ß"), std::nullopt);
  EXPECT_TRUE(IsSupportedOrder(kGeneral) && IsSupportedOrder(kJapanese));
  EXPECT_FALSE(IsSupportedOrder({1041, 0, 1}));
}

TEST(TextKey, SortsAsPeopleExpect) {
  const std::vector<std::string> sorted = {"",   " A", "0",  "10", "9",    "A",  "AB", "b",
                                           "ア", "イ", "カ", "ガ", "カア", "ん", "亜", "一"};
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    EXPECT_LT(TextKey(kJapanese, sorted[i - 1], true), TextKey(kJapanese, sorted[i], true)) << i;
    EXPECT_GT(TextKey(kJapanese, sorted[i - 1], false), TextKey(kJapanese, sorted[i], false)) << i;
  }
}

}  // namespace
}  // namespace jet
