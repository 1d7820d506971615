// In which order each step binds catalogs, changes the schema, closes and opens
// the session, and opens tables.
#include <fstream>
#include <sstream>

#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

// Keeps what a handle asks of it, and between that whether the schema changed.
class RecordingSession : public db::Session {
 public:
  RecordingSession(ado::Environment& environment, std::string text)
      : connection_(environment), text_(std::move(text)) {
    connection_.Open(text_);
    size_ = SchemaSize();
  }

  void Open() override {
    connection_.Open(text_);
    Note("open");
  }
  void Close() override {
    Note("close");
    connection_.Close();
  }
  ado::Connection& connection() override {
    Note("table");
    return connection_;
  }
  const std::string& connection_string() const override {
    Note("catalog");
    return text_;
  }
  ado::Environment& environment() override { return connection_.environment(); }

  // What happened since the last call.
  std::string Take() {
    Note("");
    return std::exchange(events_, {});
  }

 private:
  void Note(const char* event) const {
    if (const std::size_t size = SchemaSize(); size != size_) {
      events_ += " schema";
      size_ = size;
    }
    if (*event != '\0') events_ += std::string(" ") + event;
  }
  // Grows with every table, column and query.
  std::size_t SchemaSize() const {
    jet::Database& database = *connection_.database();
    std::size_t size = 0;
    for (const jet::ObjectInfo& object : database.Objects()) {
      ++size;
      if (object.kind == jet::ObjectKind::kTable) {
        size += database.OpenTable(object)->columns().size();
      }
    }
    return size;
  }

  ado::Connection connection_;
  std::string text_;
  mutable std::string events_;
  mutable std::size_t size_ = 0;
};

std::string Record(Kind kind) {
  test_support::FaultFiles files;
  const std::string path = "/order/" + std::string(db::FileNameOf(kind));
  samples::SampleOptions options;
  options.jobs = 2;
  samples::MakeSample(files, path, kind, options);
  ado::Environment environment(files);
  const ado::Environment::Action action(environment);
  RecordingSession session(
      environment, "Provider=Microsoft.jet.OLEDB.4.0;Data Source=" + path +
                       ";Jet OLEDB:Database Password=" + std::string(db::kDatabasePassword));
  db::DbHandle handle(session);
  std::string lines;
  const db::Ladder ladder = upgrade::MakeLadder(kind, handle);
  for (const db::LadderStep& step : ladder.steps()) {
    step.run();
    lines += step.name + ":" + session.Take() + "\n";
  }
  handle.ReleaseTable();
  return lines;
}

TEST(SessionOrder, OfEveryStep) {
  std::ostringstream expected;
  expected << std::ifstream(UPGRADE_TESTS "/session_order.txt").rdbuf();
  EXPECT_EQ(Record(Kind::kData) + Record(Kind::kTenkai), expected.str());
}

}  // namespace
}  // namespace upgrade_test
