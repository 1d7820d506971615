#include "ado/error.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ado::Error;
using jet::ErrorCode;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kFile[] = "/業務/見積.mdb";
constexpr int kCodes = static_cast<int>(ErrorCode::kNotSupported) + 1;

jet::Error Named(ErrorCode code) {
  jet::Error error = code == ErrorCode::kDamaged
                         ? jet::Error::Damaged(jet::PageNumber{12}, "the detail")
                         : jet::Error(code, "the detail");
  error.In(kFile).OfTable("工法表").OfColumn("工法");
  return error;
}

TEST(ProviderErrors, EveryErrorOfTheEngineHasItsNumberAndText) {
  constexpr ado::ErrorNumber kFail = -2147467259, kRefused = -2147217887, kTaken = -2147217857;
  struct Case {
    ErrorCode code;
    ado::ErrorNumber number;
    const char *named, *told;  // F: file, T: table, C: column
  };
  constexpr Case kCases[] = {
      {ErrorCode::kFileNotFound, kFail, "F", "が見つかりません。ファイルの場所と名前を確認"},
      {ErrorCode::kNoPermission, kFail, "F", "を開く権限がありません。読み取り専用の属性と"},
      {ErrorCode::kInUse, kFail, "F", "はほかのプログラムが使用中です。"},
      {ErrorCode::kNotJet4, kFail, "F", " は Jet 4.0 形式のデータベースではありません。"},
      {ErrorCode::kWrongPassword, -2147217843, "F", " のデータベース パスワードが正しくありません"},
      {ErrorCode::kNeedsRepair, kFail, "F", " は書き込みの途中で中断されています。"},
      {ErrorCode::kIo, kFail, "F", " の読み書きに失敗しました。ディスクの状態を確認"},
      {ErrorCode::kUnfinished, kFail, "F", " への保存が途中で止まりました。"},
      {ErrorCode::kUncertain, kFail, "F", "書きかけの内容を取り消せませんでした。"},
      {ErrorCode::kDiskFull, kFail, "F", " を書き込むディスクの空き領域が足りません。"},
      {ErrorCode::kFileTooLarge, kFail, "F", "データベースは 2 GB まで、1 回の変更は 1 GB まで"},
      {ErrorCode::kReadOnly, 3251, "F", " は読み取り専用で開かれています。更新はできません。"},
      {ErrorCode::kDamaged, kFail, "FT", " のページ 12 が壊れています。バックアップから戻すか"},
      {ErrorCode::kTableMissing, -2147217865, "T",
       "テーブルまたはクエリ '工法表' が見つかりません"},
      {ErrorCode::kNameTaken, kTaken, "T", "テーブルまたはクエリ '工法表' は既に存在します。"},
      {ErrorCode::kColumnMissing, 3265, "C", "コレクションで見つかりません。（'工法'）"},
      {ErrorCode::kColumnExists, -2147217858, "TC", "フィールド '工法' はテーブル"},
      {ErrorCode::kIndexExists, kTaken, "TC", "インデックス '工法' はテーブル"},
      {ErrorCode::kBadName, kFail, "C", " は使用できません。"},
      {ErrorCode::kTooManyColumns, kFail, "T", " のフィールドが多すぎます。"},
      {ErrorCode::kTooManyIndexes, kFail, "T", " のインデックスが多すぎます。"},
      {ErrorCode::kRowTooLong, kRefused, "T", " のレコードが長すぎます。"},
      {ErrorCode::kTextTooLong, kRefused, "C", " の値が長すぎます。"},
      {ErrorCode::kOutOfRange, kRefused, "C", " の値が範囲を超えています。"},
      {ErrorCode::kWrongType, kRefused, "C", " の型に値を変換できません。"},
      {ErrorCode::kBadText, kRefused, "C", " の文字列が正しい Unicode ではありません。"},
      {ErrorCode::kRequired, kRefused, "C", " には値が必要です。Null は保存できません。"},
      {ErrorCode::kZeroLength, kRefused, "C", " に長さ 0 の文字列は保存できません。"},
      {ErrorCode::kDuplicateKey, kRefused, "TC", "のインデックス '工法' の値が重複するため"},
      {ErrorCode::kNullKey, kRefused, "TC", "の主キー '工法' に Null は保存できません。"},
      {ErrorCode::kKeyTooLong, kRefused, "TC", "のインデックス '工法' の値が長すぎます。"},
      {ErrorCode::kUnsortable, kRefused, "TC", "の '工法' の値は並べ替え順序が定まらない"},
      {ErrorCode::kNotSupported, kFail, "T", " に対するこの操作はできません。"},
  };
  ASSERT_EQ(std::size(kCases), std::size_t{kCodes});
  for (int code = 0; code < kCodes; ++code) {
    const Case& each = kCases[code];
    SCOPED_TRACE(each.told);
    EXPECT_EQ(static_cast<int>(each.code), code);
    const Error error = Error::From(Named(each.code));
    EXPECT_EQ(error.number(), each.number);
    EXPECT_THAT(error.text(), HasSubstr(each.told));
    for (const auto& [letter, name] : {std::pair{'F', kFile}, {'T', "工法表"}, {'C', "工法"}}) {
      const bool named = std::string_view(each.named).find(letter) != std::string_view::npos;
      EXPECT_EQ(error.text().find(fmt::format("'{}'", name)) != std::string::npos, named) << letter;
    }
    EXPECT_EQ(error.cause(), each.code);
    EXPECT_EQ(error.what(), error.text() + "（the detail）") << "for whoever looks into it";
    // Without a place no quotes, brackets or blanks stay behind.
    EXPECT_THAT(Error::From(jet::Error(each.code)).text(),
                Not(AnyOf(HasSubstr("{"), HasSubstr("''"), HasSubstr("（）"), HasSubstr("  "))));
  }
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
