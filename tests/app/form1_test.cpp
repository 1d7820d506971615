#include "app/form1.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>

#include "samples/columns.h"
#include "tests/app/program.h"
#include "tests/support/fault_file.h"
#include "upgrade/ladders.h"

namespace app_test {
namespace {

using app::Button;
using test_support::ExpectSound;
using test_support::ExpectSoundByOurs;
using test_support::FaultFiles;
using test_support::TempFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using upgrade::kDataLatest;
using upgrade::kTenkaiLatest;

constexpr const char* kNotSelected = "未選択";
constexpr const char* kNoFile = "選択エラー: ファイルが選択されていません";
constexpr const char* kWrongFile =
    "選択エラー: 選択されたファイルはZVTデータファイルではありません";

constexpr const char* kOnDisk = "/disk/Data.mdb";

std::string Caption(double version) { return fmt::format(" Ver {}", version); }

// Keeps what a window would show; answers the file dialog with prepared paths.
class RecordingView : public app::Form1View {
 public:
  std::array<std::string, 4> captions;
  std::map<Button, bool> visible;
  std::vector<std::string> list, asked, boxes;
  std::string answer;
  std::function<void()> while_busy, while_waiting;
  int times_busy = 0;
  bool busy = false;
  std::optional<int> exit_status;

  void SetVersionCaption(int element, const std::string& caption) override {
    captions.at(static_cast<std::size_t>(element)) = caption;
  }
  void SetVisible(Button button, bool shown) override { visible[button] = shown; }
  void ClearList() override { list.clear(); }
  void AddListItem(const std::string& text) override { list.push_back(text); }
  std::string AskFile(const std::string& initial, const std::string& filter) override {
    asked = {initial, filter};
    Wait();
    return answer;
  }
  void ShowMessage(const std::string& text, const std::string& title) override {
    boxes.push_back(title + ": " + text);
    Wait();
  }
  void ShowError(const std::string& text) override {
    EXPECT_FALSE(busy);
    EXPECT_FALSE(exit_status) << "the box comes before the end";
    boxes.push_back(text);
    Wait();
  }
  void SetBusy(bool now) override {
    busy = now;
    if (!now) return;
    ++times_busy;
    if (while_busy) while_busy();
  }
  void End(int status) override { exit_status = status; }

 private:
  void Wait() {
    if (while_waiting) while_waiting();
  }
};

class Form1Test : public ::testing::Test {
 protected:
  Form1Test() { Start(); }

  // The program from its start; what was open before is closed.
  void Start(jet::FileSystem* files = nullptr) {
    form.reset();
    program.reset();
    view = {};
    program = std::make_unique<app::Assembly>(files != nullptr ? *files : *system_files, FixedNow);
    form =
        std::make_unique<app::Form1>(program->module(), program->repairs(), view, "/opt/program");
    form->Form_Load();
  }
  // The program on a disk that may fail, with a Data file of these bytes chosen.
  void StartOn(FaultFiles& disk, const std::string& bytes) {
    disk.bytes(kOnDisk) = bytes;
    Start(&disk);
    ChooseData(kOnDisk);
  }
  void ChooseData(const std::string& path) {
    view.answer = path;
    form->CB_DataDB_Click();
  }
  void ChooseTenkai(const std::string& path) {
    view.answer = path;
    form->CB_TenkaiDB_Click();
  }
  // Lets go of all files, so that they can be looked into.
  void Leave() {
    form.reset();
    program.reset();
  }
  std::string Data(std::int16_t version) { return Sample(folder.path(), Kind::kData, version); }
  std::string Tenkai(std::int16_t version) { return Sample(folder.path(), Kind::kTenkai, version); }
  std::string SubFolder(std::string_view name) {
    std::string path = folder.File(name);
    std::filesystem::create_directories(test_support::PathOf(path));
    return path;
  }
  // The program has shown exactly one error box, that of `number`, and ended.
  void ExpectEndedBy(std::string_view number, std::string_view text = {},
                     std::string_view advice = {}) {
    ASSERT_THAT(view.boxes, ElementsAre(StartsWith("実行時エラー '" + std::string(number))));
    EXPECT_THAT(view.boxes[0], HasSubstr(std::string(text)));
    EXPECT_THAT(view.boxes[0].substr(view.boxes[0].rfind("\n\n")), HasSubstr(std::string(advice)));
    EXPECT_EQ(view.exit_status, 1);
    EXPECT_TRUE(form->ended());
    const int times_busy = view.times_busy;
    form->CB_TenkaiDB_Click();
    form->CB_DB_Up_Click();
    form->Command5_Click();
    EXPECT_EQ(view.boxes.size(), 1u);
    EXPECT_EQ(view.times_busy, times_busy) << "something ran after the end";
  }

  TempFolder folder;
  std::unique_ptr<jet::FileSystem> system_files = jet::MakeSystemFiles();
  RecordingView view;
  std::unique_ptr<app::Assembly> program;
  std::unique_ptr<app::Form1> form;
};

TEST_F(Form1Test, LoadShowsTheLatestVersionsAndOpensNothing) {
  EXPECT_THAT(view.captions, ElementsAre(kNotSelected, kNotSelected, "最新　            Ver 27",
                                         "最新　            Ver 22"));
  EXPECT_EQ(program->module().DataDB_NewVer(), 27);
  EXPECT_EQ(program->module().TenkaiDB_NewVer(), 22);
  EXPECT_EQ(program->module().DataDB_Con, nullptr);
  EXPECT_EQ(program->module().TenkaiDB_Con, nullptr);
}

TEST_F(Form1Test, DialogStartsAtTheNameBesideTheProgramEveryTime) {
  const std::string data = Data(27);
  const std::string tenkai = Tenkai(22);
  for (const std::string& answer : {std::string(), data, folder.File("old.mdb"), std::string()}) {
    ChooseData(answer);
    EXPECT_THAT(view.asked, ElementsAre("/opt/program\\Data.mdb", "ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)|*.mdb"));
  }
  for (const std::string& answer : {tenkai, std::string()}) {
    ChooseTenkai(answer);
    EXPECT_THAT(view.asked, ElementsAre("/opt/program\\展開Data.mdb", "ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)|*.mdb"));
  }
  form->FilesDropped({data});
  ChooseData("");
  EXPECT_EQ(view.asked[0], "/opt/program\\Data.mdb");
}

// While a dialog or a box waits, nothing else is taken.
TEST_F(Form1Test, NothingIsTakenWhileSomethingWaitsForItsAnswer) {
  const std::string data = Data(26), tenkai = Tenkai(22);
  int waited = 0;
  view.while_waiting = [&] {
    ++waited;
    EXPECT_FALSE(form->ready());
    form->FilesDropped({tenkai});
    form->CB_TenkaiDB_Click();
  };
  ChooseData(data);  // the dialog
  EXPECT_EQ(waited, 1);
  EXPECT_EQ(view.captions[0], " Ver 26");
  ChooseData("");  // the dialog and the message
  form->FilesDropped({"/x/data.mdb"});
  EXPECT_EQ(waited, 4);
  EXPECT_EQ(view.captions[1], kNotSelected);
  EXPECT_TRUE(form->ready());
  form->FilesDropped({folder.File("none") + "/Data.mdb"});  // the error box
  EXPECT_EQ(waited, 5);
  EXPECT_EQ(view.captions[1], kNotSelected);
}

TEST_F(Form1Test, DroppedFilesAreChosenByTheirNames) {
  const std::string data = Data(26), tenkai = Tenkai(22);
  form->FilesDropped({tenkai, data});
  EXPECT_EQ(view.captions[0], " Ver 26");
  EXPECT_EQ(view.captions[1], " Ver 22");
  EXPECT_TRUE(view.visible[Button::kCB_DB_Up]);
  EXPECT_THAT(view.boxes, IsEmpty());
  for (const char* name : {"data.mdb", "展開data.mdb", "Ｄata.mdb", "Data.mdb.bak"}) {
    form->FilesDropped({"/x/" + std::string(name), data});
  }
  EXPECT_THAT(view.boxes, ElementsAre(kWrongFile, kWrongFile, kWrongFile, kWrongFile));
  form->FilesDropped({});
  view.boxes.clear();
  form->FilesDropped({folder.File("none") + "/Data.mdb", data});
  ExpectEndedBy("-2147467259 (80004005)'", "", "上の原因を取り除いて");
}

TEST_F(Form1Test, WrongChoicesLeaveEverythingAsItIs) {
  const std::string data = Data(kDataLatest), tenkai = Tenkai(kTenkaiLatest);
  ChooseData(data);
  ChooseTenkai(tenkai);
  const RecordingView before = view;
  struct Case {
    const char *data, *tenkai, *box;
  };
  const Case cases[] = {
      {"", "", kNoFile},
      {"/x/", "/x/y/", kNoFile},
      {"/x/data.mdb", "/x/展開data.mdb", kWrongFile},
      {"/x/DATA.MDB", "/x/展開DATA.MDB", kWrongFile},
      {"/x/展開Data.mdb", "/x/Data.mdb", kWrongFile},
      {"/x/Data.mdb ", "/x/展開Data.mdb2", kWrongFile},
      {"/x/Ｄata.mdb", "/x/展開Ｄata.mdb", kWrongFile},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.data);
    view.boxes.clear();
    ChooseData(each.data);
    ChooseTenkai(each.tenkai);
    EXPECT_THAT(view.boxes, ElementsAre(each.box, each.box));
  }
  EXPECT_EQ(view.captions, before.captions);
  EXPECT_EQ(view.list, before.list);
  EXPECT_EQ(view.visible, before.visible);
  EXPECT_EQ(view.times_busy, before.times_busy);
  EXPECT_FALSE(view.exit_status);
  EXPECT_EQ(program->module().DataDB_Path, folder.path());
  EXPECT_EQ(program->module().TenkaiDB_Path, folder.path() + "/");
  program->module().Get_DataVer();  // the sessions still answer
  program->module().Get_TenkaiVer();
}

TEST_F(Form1Test, ChoosingShowsTheVersionAndWhatItAllows) {
  struct Case {
    Kind kind;
    std::int16_t schema;
    double stored;
    const char* caption;  // none: as the number says
    bool upgrade, repair;
  };
  const Case cases[] = {
      {Kind::kData, 2, 2, " Ver 2", true, false},
      {Kind::kData, 13, 13, " Ver 13", true, false},
      {Kind::kData, 13, 13.5, " Ver 13.5", true, false},
      {Kind::kData, 14, 14, " Ver 14", true, false},
      {Kind::kData, 14, 14.5, " Ver 14.5", true, true},
      {Kind::kData, 15, 15, " Ver 15", true, true},
      {Kind::kData, 18, 18, " Ver 18", true, true},
      {Kind::kData, kDataLatest, kDataLatest, {}, false, true},
      {Kind::kData, kDataLatest, kDataLatest + 0.5, {}, true, true},
      {Kind::kData, kDataLatest, kDataLatest + 1, {}, true, true},
      {Kind::kTenkai, 2, 2, " Ver 2", true, false},
      {Kind::kTenkai, 2, 21.5, " Ver 21.5", true, false},
      {Kind::kTenkai, kTenkaiLatest, kTenkaiLatest, {}, false, false},
      {Kind::kTenkai, kTenkaiLatest, kTenkaiLatest + 1, {}, true, false},
  };
  for (const Case& each : cases) {
    const std::string caption = each.caption ? each.caption : Caption(each.stored);
    SCOPED_TRACE(caption);
    const bool data = each.kind == Kind::kData;
    Start();
    const std::string path = Sample(folder.path(), each.kind, each.schema);
    if (each.stored != each.schema) StoreVersion(path, each.stored);
    data ? ChooseData(path) : ChooseTenkai(path);
    EXPECT_EQ(view.captions[data ? 0 : 1], caption);
    EXPECT_EQ(view.captions[data ? 1 : 0], kNotSelected);
    EXPECT_EQ(data ? program->module().DataDB_Ver : program->module().TenkaiDB_Ver, each.stored);
    EXPECT_EQ(view.visible[Button::kCB_DB_Up], data && each.upgrade);
    EXPECT_EQ(view.visible[Button::kCB_TenkaiDB_Up], !data && each.upgrade);
    EXPECT_EQ(view.visible[Button::kCommand1], each.repair);
    EXPECT_EQ(view.list.size(), each.repair ? 12u : 0u);
    EXPECT_THAT(view.boxes, IsEmpty());
    EXPECT_EQ(view.times_busy, 1);
    EXPECT_FALSE(view.busy);
  }
}

TEST_F(Form1Test, SecondFileClosesTheFirstAndKeepsButtonAndList) {
  const std::string new_file = Sample(SubFolder("new"), Kind::kData, kDataLatest);
  const std::string old_file = Sample(SubFolder("old"), Kind::kData, 13);
  ChooseData(new_file);
  const std::vector<std::string> items = view.list;
  ChooseData(old_file);
  EXPECT_EQ(StoredVersion(new_file), std::to_string(kDataLatest)) << "still held";
  EXPECT_TRUE(view.visible[Button::kCB_DB_Up]);
  EXPECT_FALSE(view.visible[Button::kCommand1]);
  EXPECT_EQ(view.list, items) << "of the file before";
  ChooseData(new_file);
  EXPECT_EQ(view.captions[0], Caption(kDataLatest));
  EXPECT_TRUE(view.visible[Button::kCB_DB_Up]) << "equality does not hide it";
  EXPECT_TRUE(view.visible[Button::kCommand1]);
  ChooseTenkai(Sample(SubFolder("new"), Kind::kTenkai, 2));
  ChooseTenkai(Sample(SubFolder("old"), Kind::kTenkai, kTenkaiLatest));
  EXPECT_TRUE(view.visible[Button::kCB_TenkaiDB_Up]);
  ChooseData(new_file);  // the same one once more
  EXPECT_THAT(view.boxes, IsEmpty());
}

TEST_F(Form1Test, FolderIsCutByCharacters) {
  const std::string inside = SubFolder("図面／𠮷野_ｶﾞ");
  ChooseData(Sample(inside, Kind::kData, kDataLatest));
  ChooseTenkai(Sample(inside, Kind::kTenkai, kTenkaiLatest));
  const db::Module1& module = program->module();
  const std::string head = "Provider=Microsoft.jet.OLEDB.4.0;Data Source=";
  const std::string tail = ";Jet OLEDB:Database Password=TovaMDB;";
  EXPECT_EQ(module.DataDB_Path, inside);
  EXPECT_EQ(module.DataDB_ConStr, head + inside + "\\Data.mdb" + tail);
  EXPECT_EQ(module.TenkaiDB_Path, inside + "/");
  EXPECT_EQ(module.TenkaiDB_ConStr, head + inside + "/\\展開Data.mdb" + tail);

  ChooseTenkai("/展開Data.mdb");
  EXPECT_EQ(module.TenkaiDB_Path, "/");
  Start();
  ChooseData("/Data.mdb");
  EXPECT_EQ(program->module().DataDB_Path, "");
}

TEST_F(Form1Test, BackslashesPartNamesWhereTheSystemHasItSo) {
  if (jet::PathSeparators() != "/") {
    std::string turned = Sample(SubFolder("図面"), Kind::kTenkai, kTenkaiLatest);
    std::ranges::replace(turned, '/', '\\');
    ChooseTenkai(turned);
    EXPECT_EQ(view.captions[1], Caption(kTenkaiLatest));
    EXPECT_THAT(view.boxes, IsEmpty());
    return;
  }
  // There are files, too, where the backslash would lead as a separator.
  for (const char* wrong : {"a/b", "c"}) {
    Sample(SubFolder(wrong), Kind::kData, 15);
    Sample(SubFolder(wrong), Kind::kTenkai, 5);
  }
  for (const char* right : {"a\\b", "c\\"}) {
    Start();
    const std::string inside = SubFolder(right);
    ChooseData(Sample(inside, Kind::kData, kDataLatest));
    ChooseTenkai(Sample(inside, Kind::kTenkai, kTenkaiLatest));
    EXPECT_EQ(view.captions[0], Caption(kDataLatest));
    EXPECT_EQ(view.captions[1], Caption(kTenkaiLatest));
  }
  std::filesystem::copy_file(folder.File("c\\") + "/Data.mdb", folder.File("c\\Data.mdb"));
  ChooseData(folder.File("c\\Data.mdb"));  // the whole name of a file
  EXPECT_THAT(view.boxes, ElementsAre(kWrongFile));
}

// The file that is open, by another of its names.
TEST_F(Form1Test, OpenFileChosenAgainUnderAnotherPathStaysOpen) {
  namespace fs = std::filesystem;
  const std::string inside = SubFolder("first"), other = SubFolder("other");
  const std::string data = Sample(inside, Kind::kData, 26);
  const std::string tenkai = Sample(inside, Kind::kTenkai, 5);
  fs::create_hard_link(test_support::PathOf(data), test_support::PathOf(other + "/Data.mdb"));
  fs::create_hard_link(test_support::PathOf(tenkai), test_support::PathOf(other + "/展開Data.mdb"));
  std::vector<std::string> folders = {inside, other, inside};
  std::error_code no_links;
  fs::create_directory_symlink(test_support::PathOf(inside),
                               test_support::PathOf(folder.File("link")), no_links);
  if (!no_links) folders.push_back(folder.File("link"));
  for (const std::string& each : folders) {
    view.captions[0].clear();
    view.captions[1].clear();
    ChooseData(each + "/Data.mdb");
    ChooseTenkai(each + "/展開Data.mdb");
    EXPECT_EQ(view.captions[0], " Ver 26") << each;
    EXPECT_EQ(view.captions[1], " Ver 5") << each;
  }
  form->CB_DB_Up_Click();
  EXPECT_THAT(view.boxes, IsEmpty());
  Leave();
  EXPECT_EQ(StoredVersion(data), std::to_string(kDataLatest));
}

TEST_F(Form1Test, ListPadsNamesAndPassesOverThoseThatFail) {
  struct Case {
    ado::Value name, transfer;
    const char* item;  // null: none
  };
  const Case cases[] = {
      {std::string("補強補強補強補強補強補強補強補"), std::string("ＦＧ"),
       "補強補強補強補強補強補強補強補\tＦＧ"},
      {std::string("ｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞｱ"), ado::Null{}, "ｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞｱ\t"},
      {std::string("ｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞｶﾞ"), std::string("x"), nullptr},
      {std::string("𠮷𠮷𠮷𠮷𠮷𠮷𠮷"), std::string("x"), "𠮷𠮷𠮷𠮷𠮷𠮷𠮷 \tx"},
      {std::string("ends"), std::string(""), "ends           \t"},
  };
  std::vector<std::string> expected;
  // Where others made the column of transfer names, it may hold Null.
  const auto fill = [&](std::vector<samples::BaseTable>& tables) {
    samples::TableNamed(tables, kVersions).rows = {{15.0}};
    samples::BaseTable& table = samples::TableNamed(tables, kReinforcements);
    table.AddColumn(samples::Text("転送名称", 50));
    table.rows.clear();
    for (const Case& each : cases) {
      table.rows.push_back(
          {static_cast<std::int32_t>(table.rows.size()), each.name, each.transfer});
      if (each.item != nullptr) expected.emplace_back(each.item);
    }
  };
  ChooseData(Sample(folder.path(), Kind::kData, 2, fill));
  EXPECT_EQ(view.list, expected);
}

TEST_F(Form1Test, UpgradeBringsTheFileToTheLatestVersion) {
  struct Case {
    Kind kind;
    std::int16_t schema;
    double stored;
  };
  // A higher version runs no step and is still written over; half goes to even.
  const Case cases[] = {{Kind::kData, 2, 2},
                        {Kind::kData, 14, 13.5},
                        {Kind::kData, 26, 26.5},
                        {Kind::kData, kDataLatest, kDataLatest + 0.5},
                        {Kind::kData, kDataLatest, kDataLatest + 1},
                        {Kind::kTenkai, 2, 2},
                        {Kind::kTenkai, kTenkaiLatest, kTenkaiLatest + 1}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.stored);
    const bool data = each.kind == Kind::kData;
    const std::int16_t latest = data ? kDataLatest : kTenkaiLatest;
    Start();
    const std::string path = Sample(folder.path(), each.kind, each.schema);
    StoreVersion(path, each.stored);
    data ? ChooseData(path) : ChooseTenkai(path);
    const std::vector<std::string> items = view.list;
    const bool repair = view.visible[Button::kCommand1];
    data ? form->CB_DB_Up_Click() : form->CB_TenkaiDB_Up_Click();
    EXPECT_THAT(view.boxes, IsEmpty());
    EXPECT_EQ(view.captions[data ? 0 : 1], Caption(latest));
    EXPECT_FALSE(view.visible[data ? Button::kCB_DB_Up : Button::kCB_TenkaiDB_Up]);
    EXPECT_EQ(view.list, items) << "as the choice left it";
    EXPECT_EQ(view.visible[Button::kCommand1], repair);
    EXPECT_EQ(data ? program->module().DataDB_Ver : program->module().TenkaiDB_Ver, latest);
    Leave();
    EXPECT_EQ(StoredVersion(path), std::to_string(latest));
    ExpectSoundByOurs(path);
    if (each.schema == 2) {
      ExpectSound(path);
      EXPECT_EQ(Content(path), Content(Sample(SubFolder("direct"), each.kind, latest)));
    }
  }
}

TEST_F(Form1Test, UpgradeOfAVersionBeyondSixteenBitsFailsAtTheButton) {
  const std::string path = Data(kDataLatest);
  StoreVersion(path, 40000.0);
  ChooseData(path);
  EXPECT_EQ(view.captions[0], " Ver 40000");
  EXPECT_TRUE(view.visible[Button::kCB_DB_Up]);
  form->CB_DB_Up_Click();
  ExpectEndedBy("6'", "オーバーフロー",
                "ファイルは変更されていません。ファイルのバージョンの番号が大きすぎます。");
  Leave();
  EXPECT_EQ(StoredVersion(path), "40000");
}

TEST_F(Form1Test, FailureInTheMiddleKeepsCompletedStepsAndTheVersion) {
  const std::string path = Data(13);
  ChooseData(path);
  // Too early: the English names append their column, required, and fail for
  // want of rows; the step to 18 does not fill it and fails from then on.
  form->Command5_Click();
  ExpectEndedBy("3021'");
  Start();
  ChooseData(path);
  EXPECT_EQ(view.captions[0], " Ver 13");
  form->CB_DB_Up_Click();
  ExpectEndedBy("-", "", "コピーにファイルを戻し");
  Leave();
  EXPECT_EQ(StoredVersion(path), "13");
  // What the step to 23 would make of the fifth row is not there yet.
  EXPECT_THAT(Values(path, kReinforcements, "転送名称"),
              ElementsAre("なし", "FG", "FG", "FG", "なし", "補強", "補強", "補強", "補強", "補強",
                          "縦補強", "補強"));
  ExpectSound(path);
}

TEST_F(Form1Test, ReinforcementRepairUndoesLaterNames) {
  const std::string path = Data(kDataLatest);
  ChooseData(path);
  const std::vector<std::string> items = view.list;
  form->Command1_Click();
  EXPECT_THAT(view.boxes, IsEmpty());
  ChooseTenkai(Tenkai(kTenkaiLatest));
  EXPECT_EQ(view.list, items) << "not read again";
  EXPECT_TRUE(view.visible[Button::kCommand1]);
  Leave();
  EXPECT_EQ(Values(path, kReinforcements, "転送名称").at(4), "FG");
  EXPECT_EQ(Values(Data(kDataLatest), kReinforcements, "転送名称").at(4), "相ＦＧ");
  EXPECT_EQ(StoredVersion(path), std::to_string(kDataLatest));
}

TEST_F(Form1Test, RepairsDoTheirWorkFromTheirVersionOn) {
  const auto latest = Content(Data(kDataLatest));
  struct Case {
    std::int16_t version;
    void (app::Form1::*press)();
    bool changes;
  };
  const Case cases[] = {{kDataLatest, &app::Form1::Command4_Click, false},
                        {kDataLatest, &app::Form1::Command5_Click, false},
                        {18, &app::Form1::Command5_Click, true}};
  for (const Case& each : cases) {
    const std::string path = Data(each.version);
    const auto before = Content(path);
    Start();
    ChooseData(path);
    (*form.*each.press)();
    EXPECT_THAT(view.boxes, IsEmpty());
    Leave();
    EXPECT_EQ(Content(path) != before, each.changes);
    EXPECT_EQ(StoredVersion(path), std::to_string(each.version));
    Start();
    ChooseData(path);
    form->CB_DB_Up_Click();  // the ladder finds the names there
    EXPECT_THAT(view.boxes, IsEmpty());
    Leave();
    EXPECT_EQ(Content(path), latest);
  }
}

TEST_F(Form1Test, RepairsBeforeTheirVersionFailWithTheirFirstWorkDone) {
  struct Case {
    void (app::Form1::*press)();
    const char* number;
    // What it has changed, or added, before it fails.
    std::vector<std::pair<const char*, const char*>> changes;
  };
  const Case cases[] = {
      {&app::Form1::Command1_Click, "3265'", {}},
      {&app::Form1::Command4_Click,
       "-2147217865 (80040E37)'",
       {{"Spec_ﾌﾚｷ種類名", "ﾌﾚｷ種類名"}, {"仕様_名称", "ﾌﾚｷ種類2"}}},
      {&app::Form1::Command5_Click, "3021'", {{"Spec_形状名（角）", "形状名_英語"}}},
  };
  const std::string untouched = Sample(SubFolder("untouched"), Kind::kData, 13);
  const auto values = [](const std::string& path, const auto& change) {
    try {
      return Values(path, change.first, change.second);
    } catch (const ado::Error& error) {
      return std::vector<std::string>{error.text()};
    }
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.number);
    const std::string path = Data(13);
    Start();
    ChooseData(path);
    (*form.*each.press)();
    ExpectEndedBy(each.number);
    Leave();
    EXPECT_EQ(Content(path) == Content(untouched), each.changes.empty());
    for (const auto& change : each.changes) {
      EXPECT_NE(values(path, change), values(untouched, change)) << change.first;
    }
    EXPECT_EQ(StoredVersion(path), "13");
    ExpectSoundByOurs(path);
  }
}

TEST_F(Form1Test, ButtonsWithoutASessionEndTheProgram) {
  for (const auto press :
       {&app::Form1::Command1_Click, &app::Form1::Command4_Click, &app::Form1::Command5_Click}) {
    Start();
    (*form.*press)();
    ExpectEndedBy("3709'", "", "先に［データベース選択］");
  }
}

TEST_F(Form1Test, FilesThatCannotBeReadEndTheProgram) {
  using Tables = std::vector<samples::BaseTable>;
  const auto with = [&](const std::function<void(samples::BaseTable&)>& change) {
    Sample(folder.path(), Kind::kData, 2,
           [&](Tables& tables) { change(samples::TableNamed(tables, kVersions)); });
  };
  std::unique_ptr<jet::File> held;
  struct Case {
    const char* name;
    std::function<void(const std::string&)> make;
    const char *number, *text;
  };
  const Case cases[] = {
      {"in use",
       [&](const std::string& path) {
         Data(2);
         held = system_files->Open(path, jet::OpenMode::kExclusive);
       },
       "-2147467259 (80004005)'", "使用中"},
      {"damaged",  // every page but the first has lost its kind
       [&](const std::string& path) {
         std::string bytes = test_support::ReadFileBytes(Data(2));
         for (std::size_t at = 4096; at < bytes.size(); at += 4096) bytes[at] = '\x7f';
         test_support::WriteFileBytes(path, bytes);
       },
       "-2147467259 (80004005)'", "Data.mdb"},
      {"missing", [](const std::string&) {}, "-2147467259 (80004005)'", "見つかりません"},
      {"no database", [](const std::string& path) { test_support::WriteFileBytes(path, "x"); },
       "-2147467259 (80004005)'", "Data.mdb"},
      {"other password",
       [&](const std::string& path) {
         samples::SampleOptions options;
         options.jobs = 1;
         options.password = "other";
         samples::MakeSample(*system_files, path, Kind::kData, options);
       },
       "-2147217843 (80040E4D)'", "パスワード"},
      {"no version table",
       [&](const std::string&) { with([](samples::BaseTable& table) { table.name = "別"; }); },
       "-2147217865 (80040E37)'", "ﾊﾞｰｼﾞｮﾝ番号"},
      {"no version row",
       [&](const std::string&) { with([](samples::BaseTable& table) { table.rows.clear(); }); },
       "3021'", ""},
      {"Null version",
       [&](const std::string& path) {
         Data(2);
         StoreVersion(path, ado::Null{});
       },
       "94'", ""},
      {"no reinforcements",
       [&](const std::string&) {
         Sample(folder.path(), Kind::kData, 2, [](Tables& tables) {
           samples::TableNamed(tables, kReinforcements).name = "別";
           samples::TableNamed(tables, kVersions).rows = {{15.0}};
         });
       },
       "-2147217865 (80040E37)'", "Spec_補強名称"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const std::string path = folder.File("Data.mdb");
    std::filesystem::remove(test_support::PathOf(path));
    each.make(path);
    const auto bytes = [&] {
      const bool readable = !held && std::filesystem::exists(test_support::PathOf(path));
      return readable ? test_support::ReadFileBytes(path) : std::string();
    };
    const std::string before = bytes();
    Start();
    ChooseData(path);
    ExpectEndedBy(each.number, each.text);
    Leave();
    EXPECT_EQ(bytes(), before);
    held.reset();
  }
}

TEST_F(Form1Test, FullDiskLeavesTheFileAsItWas) {
  struct Case {
    std::int16_t schema;
    double stored;
    void (app::Form1::*press)();
    std::string number, text;
  };
  const Case cases[] = {
      {26, 26, &app::Form1::CB_DB_Up_Click, "-2147467259 (80004005)'", "空き領域"},
      // A step that fails before the disk is full: both are shown, the first gives the
      // number, the last the advice.
      {13, 13, &app::Form1::Command5_Click, "3021'",
       "現在のレコードが必要です。\n\nファイル '" + jet::NormalisePath(kOnDisk) +
           "' を書き込むディスク"},
      {27, 13, &app::Form1::CB_DB_Up_Click, "-2147217857 (80040E3F)'", "空き領域"},
  };
  for (const Case& each : cases) {
    const std::string path = Data(each.schema);
    StoreVersion(path, each.stored);
    const std::string before = test_support::ReadFileBytes(path);
    FaultFiles disk;
    StartOn(disk, before);
    disk.SetFault({.kind = test_support::Fault::Kind::kFull, .at = 1});
    (*form.*each.press)();
    ExpectEndedBy(each.number, each.text,
                  "変更を保存できませんでした。ファイルは変更されていません。上の原因を取り除いて");
    EXPECT_EQ(view.captions[0], Caption(each.stored)) << "as the file has it";
    Leave();
    EXPECT_EQ(disk.bytes(kOnDisk), before);
  }
}

// From the moment on in which the marks are set, the next opening does the rest.
TEST_F(Form1Test, InterruptedSaveSaysWhatTheNextOpeningDoes) {
  struct Case {
    std::int16_t version;
    void (app::Form1::*press)();
    const char* pending;
    double completed;
  };
  const Case cases[] = {
      {26, &app::Form1::CB_DB_Up_Click, "変更はすべて記録されていて、", kDataLatest},
      {13, &app::Form1::Command5_Click, "ここまでに終わった変更は記録されていて、", 13},
  };
  for (const Case& each : cases) {
    const std::string before = test_support::ReadFileBytes(Data(each.version));
    int pending = 0, uncertain = 0;
    for (std::uint64_t at = 1; pending < 3; ++at) {
      SCOPED_TRACE(at);
      FaultFiles disk;
      StartOn(disk, before);
      disk.SetFault({.kind = test_support::Fault::Kind::kFailForEver, .at = at});
      (*form.*each.press)();
      ASSERT_EQ(view.boxes.size(), 1U);
      const auto says = [&](const char* text) {
        return view.boxes[0].find(text) != std::string::npos;
      };
      const bool completes = says("選んだときに保存が完了します");
      const bool unknown = says("変更が保存されたかどうか分かりません");
      EXPECT_EQ(says("ファイルは変更されていません"), !completes && !unknown);
      EXPECT_EQ(says(each.pending), completes);
      disk.ClearFault();
      Start(&disk);
      ChooseData(kOnDisk);
      if (!unknown) {
        EXPECT_EQ(view.captions[0], Caption(completes ? each.completed : each.version));
      }
      Leave();
      pending += completes ? 1 : 0;
      uncertain += unknown ? 1 : 0;
    }
    EXPECT_GT(uncertain, 0) << "the tail is whole, and nothing can take it back";
  }
}

TEST_F(Form1Test, OwnFaultsAreShownAndNothingOfTheEventStays) {
  const std::string path = Data(kDataLatest);
  struct Case {
    std::function<void()> fault;
    const char *number, *text;
  };
  const Case cases[] = {{[] { throw std::bad_alloc(); }, "7'", "メモリ"},
                        {[] { throw std::logic_error("why"); }, "51'", "内部エラー"}};
  for (const Case& each : cases) {
    Start();
    db::Repairs repairs = program->repairs();
    const std::function<void()> whole = repairs.reinforcements;
    repairs.flex_names = [&] {
      whole();
      each.fault();
    };
    form.reset();
    form = std::make_unique<app::Form1>(program->module(), repairs, view, "/opt/program");
    form->Form_Load();
    ChooseData(path);
    form->Command4_Click();
    ExpectEndedBy(each.number, each.text, "ファイルは変更されていません。ほかのプログラムを");
    Leave();
    EXPECT_EQ(Values(path, kReinforcements, "転送名称").at(4), "相ＦＧ");
  }
}

TEST_F(Form1Test, EventsDuringAnEventDoNothing) {
  const std::string path = Data(26);
  ChooseData(path);
  view.asked.clear();
  view.while_busy = [&] {
    form->CB_DB_Up_Click();
    form->CB_DataDB_Click();
    form->Command1_Click();
  };
  form->CB_DB_Up_Click();
  EXPECT_THAT(view.boxes, IsEmpty());
  EXPECT_THAT(view.asked, IsEmpty());
  EXPECT_EQ(view.times_busy, 2);
  EXPECT_EQ(view.captions[0], Caption(kDataLatest));
}

// Words of another language than the operator's, but for names and what the
// provider's own texts say so.
std::vector<std::string> ForeignWords(const std::string& box) {
  static const std::set<std::string> kKnown = {"BOF", "EOF",     "True", "Null", "Jet", "GB",
                                               "SQL", "Unicode", "Data", "mdb",  "ldb", "DB"};
  std::vector<std::string> words;
  std::string word;
  for (const char c : box + " ") {
    if (std::isalpha(static_cast<unsigned char>(c)) != 0) {
      word += c;
    } else if (!word.empty()) {
      if (!kKnown.contains(word)) words.push_back(word);
      word.clear();
    }
  }
  return words;
}

TEST(ErrorBoxTextTest, IsJapaneseForEveryErrorAndEveryEnd) {
  std::vector<ado::Error> errors;
  for (int code = 0; code <= static_cast<int>(jet::ErrorCode::kNotSupported); ++code) {
    jet::Error engine(static_cast<jet::ErrorCode>(code), "some detail: No such file");
    errors.push_back(ado::Error::From(engine));
    engine.In("/業務/Data.mdb").OfTable("工法表").OfColumn("工法");
    errors.push_back(ado::Error::From(engine));
  }
  for (int code = 0; code <= static_cast<int>(sql::ErrorCode::kBadQuery); ++code) {
    sql::Error engine(static_cast<sql::ErrorCode>(code), "there is no column", 1, 2);
    errors.push_back(ado::Error::From(engine.Of("工法"), "集計"));
  }
  for (const ado::ErrorNumber number :
       {ado::kErrFail, ado::kErrWrongPassword, ado::kErrNoTable, ado::kErrObjectExists,
        ado::kErrColumnExists, ado::kErrSql, ado::kErrIntegrity, ado::kErrMissingStep,
        ado::kErrItemNotFound, ado::kErrNoCurrentRow, ado::kErrClosed, ado::kErrOpen,
        ado::kErrNoConnection, ado::kErrPendingEdit, ado::kErrReadOnly, ado::kErrOverflow,
        ado::kErrInvalidCall, ado::kErrInvalidNull}) {
    errors.push_back(ado::Error::Standard(number));
    errors.push_back(ado::Error::Standard(number, "工法"));
  }
  for (const ado::Error& error : errors) {
    for (const auto event : {app::Event::kChoose, app::Event::kUpgrade, app::Event::kRepair}) {
      for (int saved = 0; saved <= static_cast<int>(app::Saved::kUnknown); ++saved) {
        for (const bool incomplete : {true, false}) {
          const std::string advice = app::Advice(event, {error.number(), error.cause(), incomplete},
                                                 static_cast<app::Saved>(saved));
          EXPECT_THAT(ForeignWords(app::ErrorBoxText(1, error.text(), advice)), IsEmpty())
              << error.text() << advice;
        }
      }
    }
  }
}

TEST(ErrorBoxTextTest, ShowsNegativeNumbersInHexadecimalToo) {
  EXPECT_EQ(app::ErrorBoxText(3265, "A", "B"), "実行時エラー '3265':\n\nA\n\nB");
  EXPECT_EQ(app::ErrorBoxText(-2147467259, "A\nB", "C"),
            "実行時エラー '-2147467259 (80004005)':\n\nA\nB\n\nC");
}

}  // namespace
}  // namespace app_test
