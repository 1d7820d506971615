#include "jet/base/text.h"

#include <gmock/gmock.h>

#include <random>

#include "jet/base/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using namespace test_support;

bool Compressed(const Bytes& stored) {
  return stored.size() >= 2 && stored[0] == 0xFF && stored[1] == 0xFE;
}

struct Compression {
  const char* name;
  std::u16string text;
  bool in_column, in_memo;
};

class CompressionTest : public testing::TestWithParam<Compression> {};

// Of three units and more, where it saves bytes; a text column also where it
// takes as many.
TEST_P(CompressionTest, HappensWhereItPays) {
  const auto& [name, text, in_column, in_memo] = GetParam();
  EXPECT_EQ(Compressed(EncodeText(text, TextForm::kText)), in_column);
  EXPECT_EQ(Compressed(EncodeText(text, TextForm::kInlineMemo)), in_memo);
  EXPECT_EQ(EncodeText(text, TextForm::kPlain), EncodePlain(text));
}

const Compression kCompressions[] = {
    {"Nothing", u"", false, false},
    {"TwoLetters", u"AB", false, false},  // as long
    {"ThreeLetters", u"ABC", true, true},
    {"EndsOfOneByte", u"\u0001\u00FF\u00E4", true, true},
    {"OneKanaAsLong", u"ABC\u3042", true, false},
    {"OneKanaShorter", u"ABCD\u3042", true, true},
    {"OneKanaLonger", u"AB\u3042", false, false},
    {"KanaAlone", u"\u3042\u3044\u3046", false, false},
    {"LowByteOfZero", u"ABCDEFGH\u3000", false, false},  // would end the run
    {"KanjiOfZero", u"ABCDEFGH\u4E00", false, false},
    {"UnitZero", std::u16string(u"ABCDEFGH\0", 9), false, false},
    {"FirstOfTwoBytes", u"ABCDEFGH\u0100", false, false},
    {"SecondOfTwoBytes", u"ABCDEFGH\u0101", true, true},
};
INSTANTIATE_TEST_SUITE_P(Of, CompressionTest, testing::ValuesIn(kCompressions),
                         [](const auto& info) { return info.param.name; });

TEST(EncodeText, AnyUnitsComeBack) {
  constexpr char16_t kUnits[] = {0,      1,      'A',    0xFF,   0x100, 0x101,
                                 0x3042, 0x4E00, 0xD800, 0xDC00, 0xFFFF};
  std::mt19937 random(11);
  for (int i = 0; i < 20'000; ++i) {
    std::u16string text(random() % 9, u' ');
    for (char16_t& unit : text) unit = kUnits[random() % std::size(kUnits)];
    for (const TextForm form : {TextForm::kPlain, TextForm::kText, TextForm::kInlineMemo}) {
      const Bytes stored = EncodeText(text, form);
      ASSERT_LE(stored.size(), 2 * text.size());
      ASSERT_EQ(ToUtf16(DecodeText(stored)), text);
    }
    ASSERT_EQ(ToUtf16(DecodePlain(EncodePlain(text))), text);
  }
}

TEST(EncodeText, WritesRunsOfOneAndTwoBytes) {
  EXPECT_EQ(EncodeText(u"AB\u3042\u3044CDEF\u3046", TextForm::kText),
            (Bytes{0xFF, 0xFE, 'A', 'B', 0, 0x42, 0x30, 0x44, 0x30, 0, 'C', 'D', 'E', 'F', 0, 0x46,
                   0x30}));
  EXPECT_EQ(EncodeText(u"A\u3042", TextForm::kText), (Bytes{'A', 0, 0x42, 0x30}));
  Bytes out{9};
  AddText(u"ABC", TextForm::kText, out);
  EXPECT_EQ(out, (Bytes{9, 0xFF, 0xFE, 'A', 'B', 'C'}));
  // Plain bytes would look compressed.
  EXPECT_EQ(CodeOf([] { EncodeText(u"\uFEFFA", TextForm::kText); }), ErrorCode::kBadText);
  EXPECT_EQ(DecodeText(EncodeText(u"\uFEFFABCDE", TextForm::kText)), "\uFEFFABCDE");
}

TEST(DecodeText, ReadsWhatOthersWrite) {
  EXPECT_EQ(DecodeText(Bytes{0xFF, 0xFE}), "");
  EXPECT_EQ(DecodeText(Bytes{0xFF, 0xFE, 0, 0x42, 0x30, 0, 0, 0x44, 0x30}), "あい");
  EXPECT_EQ(DecodeText(Bytes{0xFF, 0xFE, 0xE4, 0}), "ä");
  EXPECT_EQ(DecodeText(Bytes{0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xD8}), "\U0001F600\xED\xA0\x80");
  std::string reused = "old";
  DecodeText(Bytes{'A', 0}, reused);
  EXPECT_EQ(reused, "A");
  for (const Bytes& half : {Bytes{'A'}, Bytes{'A', 0, 'B'}, Bytes{0xFF, 0xFE, 0, 0x42}}) {
    EXPECT_EQ(CodeOf([&] { DecodeText(half); }), ErrorCode::kDamaged);
  }
  EXPECT_EQ(DecodePlain(Bytes{0xFF, 0xFE, 'A', 0}), "\uFEFFA") << "no mark in a plain text";
}

TEST(Utf16, GoesBothWaysAtEveryStep) {
  for (const std::u16string& text :
       {std::u16string(u"\0", 1), std::u16string(u"\x7F\x80\u07FF\u0800\uFFFF"),
        std::u16string(u"\U00010000\U0010FFFF"), std::u16string{0xD800, u'A', 0xDFFF, 0xD8FF},
        std::u16string{0xD800, 0xD83D, 0xDE00}}) {
    EXPECT_EQ(ToUtf16(ToUtf8(text)), text);
    EXPECT_EQ(Utf16Length(ToUtf8(text)), text.size());
  }
  EXPECT_EQ(ToUtf8(u"\x80\u07FF\u0800\U00010000"), "\xC2\x80\xDF\xBF\xE0\xA0\x80\xF0\x90\x80\x80");
  for (const char* bad :
       {"\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE3\x81", "\xE3\x81(",
        "\xF0\x8F\xBF\xBF", "\xF0\x90\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    EXPECT_EQ(CodeOf([&] { ToUtf16(bad); }), ErrorCode::kBadText) << bad;
  }
}

}  // namespace
}  // namespace jet
