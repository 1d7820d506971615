#include "jet/recover/old_queries.h"

#include <fmt/format.h>

#include <array>
#include <optional>
#include <set>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/database/stored_query.h"

namespace jet::recover {
namespace {

constexpr char kLostName[] = "復旧_クエリ";

// The rows of one query, of which all are whole.
struct Query {
  std::vector<std::vector<Value>> rows;  // by ordinal of the new table
  // How many rows each attribute has, and the highest number among them.
  std::array<std::uint32_t, 256> count{}, highest{};
  bool damaged = false;

  // Rows of an attribute are numbered from 1, the last one is marked.
  bool IsWhole() const {
    return !damaged && count == highest && count[QueryRow::kStart] == 1 &&
           count[QueryRow::kEnd] == 1;
  }
};

class QueryCopy {
 public:
  QueryCopy(OldFile& old, NewFile& file, RecoverReport& report)
      : old_(&old), file_(&file), report_(&report), table_(file.SystemTable(kQueriesPage)) {}

  void Run() {
    Read();
    for (const OldObject& object : old_->catalog().objects) {
      if (object.type == kQueryObject) Copy(object);
    }
    int number = 0;
    for (auto& [id, query] : queries_) {
      if (!query.IsWhole()) continue;
      OldObject object;
      object.id = id;
      object.type = kQueryObject;
      object.name = fmt::format("{}_{}", kLostName, ++number);
      report_->losses.push_back(fmt::format("the name of the query {}", object.name));
      Write(object, query);
    }
  }

 private:
  void Read();
  void AddRow(const OldRow& row, const RowJudge& judge);
  void Copy(const OldObject& object);
  void Write(const OldObject& object, const Query& query);

  OldFile* old_;
  NewFile* file_;
  RecoverReport* report_;
  std::shared_ptr<Table> table_;
  std::map<std::int32_t, Query> queries_;
};

void QueryCopy::Read() {
  const RowJudge judge(old_->definitions().at(kQueriesPage).def);
  OldRows rows = old_->RowsOf(kQueriesPage, judge);
  std::uint64_t found = 0;
  rows.Visit([&](const OldRow& row) {
    AddRow(row, judge);
    ++found;
  });
  if (rows.broken() != 0 || !rows.lost_pages().empty() || found < judge.def().row_count) {
    report_->losses.emplace_back("rows of queries: those that are saved may lack conditions");
  }
}

void QueryCopy::AddRow(const OldRow& row, const RowJudge& judge) {
  std::vector<Value> values(table_->columns().size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto from = judge.def().FindColumn(table_->columns()[i].name, kGeneral);
    if (from) values[i] = judge.ValueOf(row, *from);
  }
  const Value &id = values[table_->OrdinalOf("ObjectId")],
              &attribute = values[table_->OrdinalOf("Attribute")],
              &order = values[table_->OrdinalOf("Order")];
  if (!std::holds_alternative<std::int32_t>(id)) return;
  Query& query = queries_[std::get<std::int32_t>(id)];
  const auto* number = std::get_if<Bytes>(&order);
  const auto* kind = std::get_if<std::uint8_t>(&attribute);
  query.damaged = query.damaged || !row.gone.empty() || kind == nullptr || number == nullptr ||
                  number->size() != 4;
  if (query.damaged) return;
  std::uint32_t place = 0;
  for (const std::uint8_t byte : *number) place = place << 8 | byte;
  ++query.count[*kind];
  query.highest[*kind] = std::max(query.highest[*kind], place);
  query.rows.push_back(std::move(values));
}

void QueryCopy::Copy(const OldObject& object) {
  const auto found = queries_.find(object.id);
  if (found == queries_.end() || !found->second.IsWhole()) {
    report_->losses.push_back(fmt::format("the query {}: rows of it are lost", object.name));
  } else {
    Write(object, found->second);
  }
  if (found != queries_.end()) queries_.erase(found);
}

void QueryCopy::Write(const OldObject& object, const Query& query) {
  NewObject entry;
  entry.name = file_->FreeName(object.name);
  entry.type = object.type;
  entry.flags = object.flags;
  entry.created = object.created;
  entry.updated = object.updated;
  entry.properties = object.properties;
  entry.other_fields = object.other_fields;
  if (object.lost_properties || entry.name != object.name) {
    report_->losses.push_back(fmt::format("the query {}: {}", entry.name,
                                          object.lost_properties ? "its properties" : "its name"));
  }
  const ObjectInfo info = file_->AddObject(std::nullopt, entry);
  Scope scope(file_->pager());
  for (std::vector<Value> values : query.rows) {
    values[table_->OrdinalOf("ObjectId")] = info.id;
    table_->Insert(values);
  }
  scope.Commit();
}

}  // namespace

void CopyQueries(OldFile& old, NewFile& file, RecoverReport& report) {
  QueryCopy(old, file, report).Run();
}

}  // namespace jet::recover
