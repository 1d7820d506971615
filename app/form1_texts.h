// What stands on the window, the same in every view.
#pragma once

#include <array>

namespace app {

inline constexpr char kProgramTitle[] = "DB更新";
inline constexpr char kWindowTitle[] = "DB情報";
inline constexpr char kLabelCaption[] = "バージョン";
inline constexpr char kBuildDate[] = "Up Date 2019/6/4";
inline constexpr char kVersionFontFamily[] = "ＭＳ Ｐ明朝";
inline constexpr double kVersionFontScale = 1.25;  // against the other labels

inline constexpr std::array kFrameCaptions = {"Data.mdb", "展開Data.mdb"};

struct ButtonText {
  const char* name;
  const char* caption;
  const char* accessible_name;  // says which of two with the same caption
};

// By Button.
inline constexpr std::array<ButtonText, 9> kButtonTexts = {{
    {"CB_DataDB", "データベース選択", "Data.mdb データベース選択"},
    {"CB_DB_Up", "DB更新", "Data.mdb DB更新"},
    {"CB_TenkaiDB", "データベース選択", "展開Data.mdb データベース選択"},
    {"CB_TenkaiDB_Up", "DB更新", "展開Data.mdb DB更新"},
    {"Command1", "補強修正", "補強修正"},
    {"Command2", "取り込み", "取り込み"},
    {"Command3", "コード", "コード"},
    {"Command4", "ﾌﾚｷ名称変換", "ﾌﾚｷ名称変換"},
    {"Command5", "英語適用", "英語適用"},
}};

// By element of L_Ver: what a screen reader says before the caption.
inline constexpr std::array kVersionMeanings = {
    "Data.mdb バージョン",
    "展開Data.mdb バージョン",
    "Data.mdb",
    "展開Data.mdb",
};

inline constexpr char kListMeaning[] = "補強名と転送名称";

}  // namespace app
