#include "ado/error.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

using ado::Error;
using jet::ErrorCode;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kFile[] = "/業務/見積.mdb";
constexpr std::size_t kCodes = static_cast<std::size_t>(ErrorCode::kNotSupported) + 1;

jet::Error Named(ErrorCode code) {
  jet::Error error = code == ErrorCode::kDamaged
                         ? jet::Error::Damaged(jet::PageNumber{12}, "the detail")
                         : jet::Error(code, "the detail");
  error.In(kFile).OfTable("工法表").OfColumn("工法");
  return error;
}

// A number, the places that the text names, and the errors that become it.
struct Translation {
  ado::ErrorNumber number;
  std::string_view named;  // F: file, T: table, C: column
  std::vector<ErrorCode> codes;
};

TEST(ProviderErrors, EveryErrorOfTheEngineHasItsNumberAndNamesItsPlace) {
  using enum ErrorCode;
  const Translation translations[] = {
      {ado::kErrFail,
       "F",
       {kFileNotFound, kNoPermission, kInUse, kNotJet4, kNeedsRepair, kIo, kUnfinished, kUncertain,
        kDiskFull, kFileTooLarge}},
      {ado::kErrWrongPassword, "F", {kWrongPassword}},
      {ado::kErrReadOnly, "F", {kReadOnly}},
      {ado::kErrFail, "FT", {kDamaged}},
      {ado::kErrNoTable, "T", {kTableMissing}},
      {ado::kErrObjectExists, "T", {kNameTaken}},
      {ado::kErrItemNotFound, "C", {kColumnMissing}},
      {ado::kErrColumnExists, "TC", {kColumnExists}},
      {ado::kErrObjectExists, "TC", {kIndexExists}},
      {ado::kErrFail, "C", {kBadName}},
      {ado::kErrFail, "T", {kTooManyColumns, kTooManyIndexes, kNotSupported}},
      {ado::kErrIntegrity, "T", {kRowTooLong}},
      {ado::kErrIntegrity,
       "C",
       {kTextTooLong, kOutOfRange, kWrongType, kBadText, kRequired, kZeroLength}},
      {ado::kErrIntegrity, "TC", {kDuplicateKey, kNullKey, kKeyTooLong, kUnsortable}},
  };
  std::set<ErrorCode> seen;
  for (const auto& [number, named, codes] : translations) {
    for (const ErrorCode code : codes) {
      SCOPED_TRACE(jet::ErrorText(code));
      seen.insert(code);
      const Error error = Error::From(Named(code));
      EXPECT_EQ(error.number(), number);
      for (const auto& [letter, name] : {std::pair{'F', kFile}, {'T', "工法表"}, {'C', "工法"}}) {
        const bool in_text = error.text().find(fmt::format("'{}'", name)) != std::string::npos;
        EXPECT_EQ(in_text, named.find(letter) != std::string_view::npos) << letter;
      }
      EXPECT_EQ(error.cause(), code);
      EXPECT_EQ(error.what(), error.text() + "（the detail）") << "for maintainers";
      // Without a place no quotes, brackets or blanks stay behind.
      EXPECT_THAT(Error::From(jet::Error(code)).text(),
                  Not(AnyOf(HasSubstr("{"), HasSubstr("''"), HasSubstr("（）"), HasSubstr("  "))));
    }
  }
  EXPECT_EQ(seen.size(), kCodes);
}

TEST(ProviderErrors, ErrorsOfASelectSayWhereAndOfWhat) {
  struct Case {
    sql::ErrorCode code;
    ado::ErrorNumber number;
    const char* text;
  };
  const Case cases[] = {
      {sql::ErrorCode::kSyntax, -2147217900, "SQL ステートメントが正しくありません。"},
      {sql::ErrorCode::kNotSupported, -2147217900, "この SQL は実行できません。"},
      {sql::ErrorCode::kNoTable, -2147217865, "テーブルまたはクエリが見つかりません。"},
      {sql::ErrorCode::kUnresolved, -2147217900, "SQL の名前を解決できません。"},
      {sql::ErrorCode::kBadValue, -2147217887, "値を変換できません。"},
      {sql::ErrorCode::kBadQuery, -2147217900, "保存されているクエリが正しくありません。"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.text);
    const Error bare = Error::From(sql::Error(each.code, "why"));
    EXPECT_EQ(bare.number(), each.number);
    EXPECT_EQ(bare.text(), each.text);
    EXPECT_EQ(bare.what(), std::string(each.text) + "（why）");
    EXPECT_EQ(Error::From(sql::Error(each.code, "why", 2, 7).Of("工法"), "集計").text(),
              "クエリ '集計'、2 行 7 文字目: " + std::string(each.text) + "（'工法'）");
  }
}

TEST(ProviderErrors, FixedTextsAreLetterByLetter) {
  const std::pair<ado::ErrorNumber, const char*> cases[] = {
      {3265, "要求された名前、または序数に対応する項目がコレクションで見つかりません。"},
      {3021,
       "BOF と EOF のいずれかが True "
       "になっているか、または現在のレコードが削除されています。要求された操作には、現在のレコード"
       "が必要です。"},
      {6, "オーバーフローしました。"},
      {5, "プロシージャの呼び出し、または引数が不正です。"},
      {94, "Null の使い方が不正です。"},
  };
  for (const auto& [number, text] : cases) EXPECT_EQ(Error::Standard(number).text(), text);
  EXPECT_THAT(Error::Standard(ado::kErrItemNotFound, "工法").text(), HasSubstr("'工法'"));
  EXPECT_EQ(Error::Standard(ado::kErrItemNotFound).cause(), std::nullopt);
}

}  // namespace
