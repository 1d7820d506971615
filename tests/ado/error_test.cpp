#include "ado/error.h"

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
  struct Case {
    ErrorCode code;
    ado::ErrorNumber number;
    std::string text;
  };
  const std::string file = std::string("ファイル '") + kFile + "'";
  const Case cases[] = {
      {ErrorCode::kFileNotFound, -2147467259,
       file + " が見つかりません。ファイルの場所と名前を確認してください。"},
      {ErrorCode::kNoPermission, -2147467259,
       file + " を開く権限がありません。読み取り専用の属性とフォルダーのアクセス許可を確認して"
              "ください。"},
      {ErrorCode::kInUse, -2147467259,
       file + "（または同じ名前の .ldb ファイル）はほかのプログラムが使用中です。そのプログラムを"
              "終了してから、やり直してください。"},
      {ErrorCode::kNotJet4, -2147467259, file + " は Jet 4.0 形式のデータベースではありません。"},
      {ErrorCode::kWrongPassword, -2147217843,
       file + " のデータベース パスワードが正しくありません。"},
      {ErrorCode::kNeedsRepair, -2147467259,
       file + " は書き込みの途中で中断されています。書き込んだプログラムで修復してください。"
              "ファイルは変更されていません。"},
      {ErrorCode::kIo, -2147467259,
       file + " の読み書きに失敗しました。ディスクの状態を確認してください。"},
      {ErrorCode::kUnfinished, -2147467259,
       file + " への保存が途中で止まりました。保存する内容はすべて記録されています。"},
      {ErrorCode::kUncertain, -2147467259,
       file + " への保存に失敗し、書きかけの内容を取り消せませんでした。"},
      {ErrorCode::kDiskFull, -2147467259,
       file + " を書き込むディスクの空き領域が足りません。空き領域を増やしてから、やり直して"
              "ください。"},
      {ErrorCode::kFileTooLarge, -2147467259,
       file + " が大きすぎます。データベースは 2 GB まで、1 回の変更は 1 GB までです。"},
      {ErrorCode::kReadOnly, 3251, file + " は読み取り専用で開かれています。更新はできません。"},
      {ErrorCode::kDamaged, -2147467259,
       file + " のページ 12 が壊れています。バックアップから戻すか、ファイルを修復してください。"
              "（'工法表'）"},
      {ErrorCode::kTableMissing, -2147217865,
       "テーブルまたはクエリ '工法表' が見つかりません。名前が正しいかどうかを確認してください。"},
      {ErrorCode::kNameTaken, -2147217857, "テーブルまたはクエリ '工法表' は既に存在します。"},
      {ErrorCode::kColumnMissing, 3265,
       "要求された名前、または序数に対応する項目がコレクションで見つかりません。（'工法'）"},
      {ErrorCode::kColumnExists, -2147217858,
       "フィールド '工法' はテーブル '工法表' に既に存在します。"},
      {ErrorCode::kIndexExists, -2147217857,
       "インデックス '工法' はテーブル '工法表' に既に存在します。"},
      {ErrorCode::kBadName, -2147467259, "名前 '工法' は使用できません。"},
      {ErrorCode::kTooManyColumns, -2147467259, "テーブル '工法表' のフィールドが多すぎます。"},
      {ErrorCode::kTooManyIndexes, -2147467259, "テーブル '工法表' のインデックスが多すぎます。"},
      {ErrorCode::kRowTooLong, -2147217887, "テーブル '工法表' のレコードが長すぎます。"},
      {ErrorCode::kTextTooLong, -2147217887, "フィールド '工法' の文字列が長すぎます。"},
      {ErrorCode::kOutOfRange, -2147217887, "フィールド '工法' の値が範囲を超えています。"},
      {ErrorCode::kWrongType, -2147217887, "フィールド '工法' の型に値を変換できません。"},
      {ErrorCode::kBadText, -2147217887,
       "フィールド '工法' の文字列が正しい Unicode ではありません。"},
      {ErrorCode::kRequired, -2147217887,
       "フィールド '工法' には値が必要です。Null は保存できません。"},
      {ErrorCode::kZeroLength, -2147217887,
       "フィールド '工法' に長さ 0 の文字列は保存できません。"},
      {ErrorCode::kDuplicateKey, -2147217887,
       "テーブル '工法表' のインデックス '工法' の値が重複するため、保存できません。"},
      {ErrorCode::kNullKey, -2147217887,
       "テーブル '工法表' の主キー '工法' に Null は保存できません。"},
      {ErrorCode::kKeyTooLong, -2147217887,
       "テーブル '工法表' のインデックス '工法' の値が長すぎます。"},
      {ErrorCode::kUnsortable, -2147217887,
       "テーブル '工法表' の '工法' の値は並べ替え順序が定まらないため、保存できません。"},
      {ErrorCode::kNotSupported, -2147467259, "テーブル '工法表' に対するこの操作はできません。"},
  };
  ASSERT_EQ(std::size(cases), std::size_t{kCodes});
  for (int code = 0; code < kCodes; ++code) {
    const Case& each = cases[code];
    SCOPED_TRACE(each.text);
    EXPECT_EQ(static_cast<int>(each.code), code);
    const Error error = Error::From(Named(each.code));
    EXPECT_EQ(error.number(), each.number);
    EXPECT_EQ(error.text(), each.text);
    EXPECT_EQ(error.cause(), each.code);
    EXPECT_EQ(error.what(), each.text + "（the detail）") << "for whoever looks into it";
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
