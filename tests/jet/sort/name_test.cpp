#include "jet/sort/name.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "jet/base/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

struct Pair {
  const char* a;
  const char* b;
};

TEST(SameName, SeesThroughWidthKanaAndCase) {
  constexpr Pair kSame[] = {
      {"Spec_形状名（角）", "Spec_形状名(角）"},
      {"形状名ID", "形状名ＩＤ"},
      {"形状名ＩＤ", "形状名ID"},
      {"ＩＤ", "ID"},
      {"工法ＩＤ", "工法ID"},
      {"材質名ＩＤ", "材質名ID"},
      {"拾い転送_フレキ変換", "拾い転送_ﾌﾚｷ変換"},
      {"相ＦＧ", "相FG"},
      {"ｺｰﾄﾞ", "こーど"},
      {"ﾊｾﾞ", "ハゼ"},
      {"ﾎﾟｰﾄ", "ポート"},
      {"MSysObjects", "msysOBJECTS"},
      {"－", "-"},
      {"A ", "A"},
      {"\\", "\u00A5"},
      {"\uFFE5", "\u00A5"},
  };
  for (const Pair& pair : kSame) {
    EXPECT_TRUE(SameName(kJapanese, pair.a, pair.b)) << pair.a << " " << pair.b;
    EXPECT_EQ(NameKey(kJapanese, pair.a), NameKey(kJapanese, pair.b)) << pair.a;
  }
  constexpr Pair kDifferent[] = {
      {"か", "が"},         {"一々", "一一"},
      {"つ", "っ"},         {"ー", "-"},
      {"05", "5"},          {"は", "ぱ"},
      {"\u301C", "\uFF5E"}, {"-", "\u2212"},
      {"\uFF3C", "\u00A5"}, {"FＧ（副資材）", "FＧ"},
      {"コート", "コト"},   {"A", "A\u3000"},
      {"\u795E", "\uFA19"},
  };
  for (const Pair& pair : kDifferent) {
    EXPECT_FALSE(SameName(kJapanese, pair.a, pair.b)) << pair.a << " " << pair.b;
    EXPECT_NE(NameKey(kJapanese, pair.a), NameKey(kJapanese, pair.b)) << pair.a;
  }
}

TEST(SameName, ComparesNamesWithoutAKeyByTheirUnits) {
  EXPECT_TRUE(SameName(kJapanese, "\U00020BB7", "\U00020BB7"));
  EXPECT_FALSE(SameName(kJapanese, "\U00020BB7A", "\U00020BB7a"));
  EXPECT_FALSE(SameName(kJapanese, "\U00020BB7", "A"));
  EXPECT_TRUE(SameName({1031, 0, 0}, "Tabelle", "TABELLE"));
  EXPECT_FALSE(SameName({1031, 0, 0}, "\\", "\u00A5"));
  EXPECT_NO_THROW(NameKey(kJapanese, "\xFF\xFE"));
  EXPECT_FALSE(SameName(kJapanese, "\xFF", "\xFE"));
}

// The comparison decides on most names without their keys.
TEST(SameName, AgreesWithTheKeys) {
  const std::vector<std::string> letters = {
      "A",  "a",  "Ａ",      "1",      "１",         "形",     "状",   "か", "カ", "ｶ",
      "ｶﾞ", "が", "っ",      "ー",     "々",         " ",      "-",    "_",  "（", "(",
      "ß",  "é",  "e\u0301", "\u3000", "\U00020BB7", "\uFF5E", "\xFF", "Ⅲ",  "㎡"};
  std::mt19937 random(1);
  const auto pick = [&](std::size_t count) { return random() % count; };
  for (const SortOrder order : {kJapanese, kGeneral, SortOrder{1031, 0, 0}}) {
    std::size_t same = 0;
    for (int round = 0; round < 20000; ++round) {
      std::string a, b;
      for (std::size_t i = pick(5); i > 0; --i) {
        const std::string& letter = letters[pick(letters.size())];
        a += letter;
        b += pick(4) == 0 ? letters[pick(letters.size())] : letter;
      }
      if (pick(8) == 0) b += letters[pick(letters.size())];
      const bool by_key = NameKey(order, a) == NameKey(order, b);
      same += by_key && a != b ? 1 : 0;
      ASSERT_EQ(SameName(order, a, b), by_key) << a << " | " << b;
      ASSERT_EQ(SameName(order, b, a), by_key) << a << " | " << b;
    }
    EXPECT_GT(same, 100u);
  }
}

TEST(CheckNewName, HoldsNamesToTheirLimits) {
  const auto code_of = [](std::string_view name) {
    return test_support::CodeOf([&] { CheckNewName(kJapanese, name); });
  };
  for (const char* good :
       {"05", "Spec_形状名（角）", "a b ", "\u3000A", "排煙ダクトシール㎡(プラズマ)"}) {
    EXPECT_EQ(code_of(good), std::nullopt) << good;
  }
  std::string sixty_four;
  for (int i = 0; i < 64; ++i) sixty_four += "ﾊ";
  EXPECT_EQ(code_of(sixty_four), std::nullopt);
  EXPECT_EQ(code_of(sixty_four + "ﾊ"), ErrorCode::kBadName);
  for (const char* bad : {"", " A", "A.B", "A!", "[A", "A]", "A`", "A\tB", "A\nB"}) {
    EXPECT_EQ(code_of(bad), ErrorCode::kBadName) << bad;
  }
  EXPECT_EQ(code_of("\U00020BB7"), ErrorCode::kUnsortable);
  EXPECT_THROW(CheckNewName({1031, 0, 0}, "A"), Error);
}

}  // namespace
}  // namespace jet
