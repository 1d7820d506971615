#include "ado/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace ado {
namespace {

// The standard text of an error number; `named` has a {} for the object.
struct StandardText {
  ErrorNumber number;
  std::string_view plain;
  std::string_view named;
};

constexpr StandardText kStandardTexts[] = {
    {kErrFail, "データベースの操作に失敗しました。", "データベースの操作に失敗しました: {}"},
    {kErrWrongPassword, "データベースのパスワードが正しくありません。",
     "ファイル '{}' のデータベース パスワードが正しくありません。"},
    {kErrNoTable, "テーブルまたはクエリが見つかりません。",
     "テーブルまたはクエリ '{}' が見つかりません。名前が正しいかどうかを確認してください。"},
    {kErrObjectExists, "同じ名前のテーブルまたはクエリが既に存在します。",
     "テーブルまたはクエリ '{}' は既に存在します。"},
    {kErrColumnExists, "同じ名前のフィールドが既に存在します。",
     "フィールド '{}' は既に存在します。"},
    {kErrSql, "SQL ステートメントが正しくありません。", "SQL ステートメントが正しくありません: {}"},
    {kErrIntegrity, "値を保存できません。", "フィールド '{}' に値を保存できません。"},
    {kErrMissingStep, "更新手順が見つかりません。データベースは変更されていません。",
     "更新手順 {} が見つかりません。データベースは変更されていません。"},
    {kErrItemNotFound, "要求された名前、または序数に対応する項目がコレクションで見つかりません。",
     "要求された名前、または序数に対応する項目がコレクションで見つかりません。（'{}'）"},
    {kErrNoCurrentRow,
     "BOF と EOF のいずれかが True "
     "になっているか、または現在のレコードが削除されています。要求された操作には、現在のレコードが"
     "必要です。",
     {}},
    {kErrClosed, "オブジェクトが閉じているため、要求された操作を実行できません。", {}},
    {kErrOpen, "オブジェクトが既に開いているため、要求された操作を実行できません。", {}},
    {kErrNoConnection,
     "接続が閉じているか、この操作では無効なため、要求された操作を実行できません。",
     {}},
    {kErrPendingEdit, "保存されていない編集があるため、要求された操作を実行できません。", {}},
    {kErrReadOnly, "レコードセットは読み取り専用です。更新はできません。", {}},
    {kErrOverflow, "オーバーフローしました。", {}},
    {kErrInvalidCall, "プロシージャの呼び出し、または引数が不正です。", {}},
    {kErrInvalidNull, "Null の使い方が不正です。", {}},
};

// The number and the text for an error of the engine. In the text {file}, {table}, {column}
// and {page} are the places, {name} the column or else the table. The engine's own
// words are English and come after the text, in what().
struct Translation {
  jet::ErrorCode code;
  ErrorNumber number;
  std::string_view text;
};

using jet::ErrorCode;

constexpr Translation kTranslations[] = {
    {ErrorCode::kFileNotFound, kErrFail,
     "ファイル '{file}' が見つかりません。ファイルの場所と名前を確認してください。"},
    {ErrorCode::kNoPermission, kErrFail,
     "ファイル '{file}' を開く権限がありません。読み取り専用の属性とフォルダーのアクセス許可を"
     "確認してください。"},
    {ErrorCode::kInUse, kErrFail,
     "ファイル '{file}'（または同じ名前の .ldb ファイル）はほかのプログラムが使用中です。"
     "そのプログラムを終了してから、やり直してください。"},
    {ErrorCode::kNotJet4, kErrFail,
     "ファイル '{file}' は Jet 4.0 形式のデータベースではありません。"},
    {ErrorCode::kWrongPassword, kErrWrongPassword,
     "ファイル '{file}' のデータベース パスワードが正しくありません。"},
    {ErrorCode::kNeedsRepair, kErrFail,
     "ファイル '{file}' はほかのプログラムの書き込みの途中で中断されています。"
     "ファイルは変更されていません。"},
    {ErrorCode::kIo, kErrFail,
     "ファイル '{file}' の読み書きに失敗しました。ディスクの状態を確認してください。"},
    {ErrorCode::kUnfinished, kErrFail,
     "ファイル '{file}' への保存が途中で止まりました。保存する内容はすべて記録されています。"},
    {ErrorCode::kUncertain, kErrFail,
     "ファイル '{file}' への保存に失敗し、書きかけの内容を取り消せませんでした。"},
    {ErrorCode::kDiskFull, kErrFail,
     "ファイル '{file}' "
     "を書き込むディスクの空き領域が足りません。空き領域を増やしてから、やり直して"
     "ください。"},
    {ErrorCode::kFileTooLarge, kErrFail,
     "ファイル '{file}' が大きすぎます。データベースは 2 GB まで、1 回の変更は 1 GB までです。"},
    {ErrorCode::kReadOnly, kErrReadOnly,
     "ファイル '{file}' は読み取り専用で開かれています。更新はできません。"},
    {ErrorCode::kDamaged, kErrFail, "ファイル '{file}' {page}が壊れています。（'{table}'）"},
    {ErrorCode::kTableMissing, kErrNoTable,
     "テーブルまたはクエリ '{table}' が見つかりません。名前が正しいかどうかを確認してください。"},
    {ErrorCode::kNameTaken, kErrObjectExists, "テーブルまたはクエリ '{table}' は既に存在します。"},
    {ErrorCode::kColumnMissing, kErrItemNotFound,
     "要求された名前、または序数に対応する項目がコレクションで見つかりません。（'{column}'）"},
    {ErrorCode::kColumnExists, kErrColumnExists,
     "フィールド '{column}' はテーブル '{table}' に既に存在します。"},
    {ErrorCode::kIndexExists, kErrObjectExists,
     "インデックス '{column}' はテーブル '{table}' に既に存在します。"},
    {ErrorCode::kBadName, kErrFail, "名前 '{name}' は使用できません。"},
    {ErrorCode::kTooManyColumns, kErrFail, "テーブル '{table}' のフィールドが多すぎます。"},
    {ErrorCode::kTooManyIndexes, kErrFail, "テーブル '{table}' のインデックスが多すぎます。"},
    {ErrorCode::kRowTooLong, kErrIntegrity, "テーブル '{table}' のレコードが長すぎます。"},
    {ErrorCode::kTextTooLong, kErrIntegrity, "フィールド '{column}' の値が長すぎます。"},
    {ErrorCode::kOutOfRange, kErrIntegrity, "フィールド '{column}' の値が範囲を超えています。"},
    {ErrorCode::kWrongType, kErrIntegrity, "フィールド '{column}' の型に値を変換できません。"},
    {ErrorCode::kBadText, kErrIntegrity,
     "フィールド '{column}' の文字列が正しい Unicode ではありません。"},
    {ErrorCode::kRequired, kErrIntegrity,
     "フィールド '{column}' には値が必要です。Null は保存できません。"},
    {ErrorCode::kZeroLength, kErrIntegrity,
     "フィールド '{column}' に長さ 0 の文字列は保存できません。"},
    {ErrorCode::kDuplicateKey, kErrIntegrity,
     "テーブル '{table}' のインデックス '{column}' の値が重複するため、保存できません。"},
    {ErrorCode::kNullKey, kErrIntegrity,
     "テーブル '{table}' の主キー '{column}' に Null は保存できません。"},
    {ErrorCode::kKeyTooLong, kErrIntegrity,
     "テーブル '{table}' のインデックス '{column}' の値が長すぎます。"},
    {ErrorCode::kUnsortable, kErrIntegrity,
     "テーブル '{table}' の '{column}' の値は並べ替え順序が定まらないため、保存できません。"},
    {ErrorCode::kNotSupported, kErrFail, "テーブル '{table}' に対するこの操作はできません。"},
};

// The same for errors of a SELECT.
struct SqlTranslation {
  sql::ErrorCode code;
  ErrorNumber number;
  std::string_view text;
};

constexpr SqlTranslation kSqlTranslations[] = {
    {sql::ErrorCode::kSyntax, kErrSql, "SQL ステートメントが正しくありません。"},
    {sql::ErrorCode::kNotSupported, kErrSql, "この SQL は実行できません。"},
    {sql::ErrorCode::kNoTable, kErrNoTable, "テーブルまたはクエリが見つかりません。"},
    {sql::ErrorCode::kUnresolved, kErrSql, "SQL の名前を解決できません。"},
    {sql::ErrorCode::kBadValue, kErrIntegrity, "値を変換できません。"},
    {sql::ErrorCode::kBadQuery, kErrSql, "保存されているクエリが正しくありません。"},
};

std::string Compose(std::string_view text, const jet::Error& error) {
  const std::string& name = error.column().empty() ? error.table() : error.column();
  const std::string page =
      error.page() ? fmt::format("のページ {} ", error.page()->value) : std::string();
  std::string filled = fmt::format(fmt::runtime(text), fmt::arg("file", error.file()),
                                   fmt::arg("table", error.table()), fmt::arg("name", name),
                                   fmt::arg("column", error.column()), fmt::arg("page", page));
  // A place that the engine could not name leaves no empty quotes or brackets.
  for (std::string_view empty : {"（）", " ''", "（''）", "'' "}) {
    for (std::size_t at; (at = filled.find(empty)) != std::string::npos;) {
      filled.erase(at, empty.size());
    }
  }
  return filled;
}

}  // namespace

Error::Error(ErrorNumber number, std::string text, std::optional<jet::ErrorCode> cause,
             std::string_view detail)
    : number_(number), text_(std::move(text)), whole_(text_), cause_(cause) {
  if (!detail.empty()) whole_ += fmt::format("（{}）", detail);
}

Error Error::Standard(ErrorNumber number, std::string_view what) {
  const auto* row = std::ranges::find(kStandardTexts, number, &StandardText::number);
  if (row == std::end(kStandardTexts)) return {number, std::string(what)};
  if (what.empty() || row->named.empty()) return {number, std::string(row->plain)};
  return {number, fmt::format(fmt::runtime(row->named), what)};
}

Error Error::From(const jet::Error& error) {
  const auto* row = std::ranges::find(kTranslations, error.code(), &Translation::code);
  if (row == std::end(kTranslations)) {
    return {kErrFail, Standard(kErrFail).text(), error.code(), error.what()};
  }
  return {row->number, Compose(row->text, error), error.code(), error.detail()};
}

Error Error::From(const sql::Error& error, std::string_view query) {
  const auto* row = std::ranges::find(kSqlTranslations, error.code(), &SqlTranslation::code);
  std::string text;
  if (!query.empty()) text = fmt::format("クエリ '{}'、", query);
  if (error.line() != 0) text += fmt::format("{} 行 {} 文字目: ", error.line(), error.column());
  text += row->text;
  if (!error.name().empty()) text += fmt::format("（'{}'）", error.name());
  return {row->number, std::move(text), std::nullopt, error.what()};
}

}  // namespace ado
