// Two databases compared by what they hold, not by how it is stored.
#include <algorithm>
#include <map>

#include "ado/catalog.h"
#include "mdbadm/output.h"
#include "mdbadm/verbs.h"
#include "sql/error.h"

namespace mdbadm {
namespace {

class Comparison {
 public:
  Comparison(const DiffOptions& options, jet::Database& a, jet::Database& b)
      : options_(options), a_(a), b_(b), list_(options.json, {"object", "what", "a", "b"}) {}

  bool Run() {
    std::vector<jet::ObjectInfo> rest = Content(b_);
    for (const jet::ObjectInfo& object : Content(a_)) {
      const auto twin = std::find_if(rest.begin(), rest.end(), [&](const jet::ObjectInfo& other) {
        return other.kind == object.kind && other.name == object.name;
      });
      if (twin == rest.end()) {
        Differ(object.name, KindName(object), "present", nullptr);
        continue;
      }
      CompareObjects(object, *twin);
      rest.erase(twin);
    }
    for (const jet::ObjectInfo& object : rest) {
      Differ(object.name, KindName(object), nullptr, "present");
    }
    return same_;
  }

 private:
  using Facts = std::map<std::string, std::string>;

  static const char* KindName(const jet::ObjectInfo& object) {
    return object.kind == jet::ObjectKind::kQuery ? "query" : "table";
  }

  static std::vector<jet::ObjectInfo> Content(jet::Database& database) {
    std::vector<jet::ObjectInfo> objects = database.Objects();
    std::erase_if(objects, [](const jet::ObjectInfo& object) {
      return object.kind != jet::ObjectKind::kTable && object.kind != jet::ObjectKind::kQuery;
    });
    return objects;
  }

  void Differ(const std::string& object, const std::string& what, Json a, Json b) {
    same_ = false;
    list_.Add({object, what, std::move(a), std::move(b)});
  }

  void CompareFacts(const std::string& object, const Facts& a, const Facts& b) {
    for (const auto& [what, value] : a) {
      const auto other = b.find(what);
      if (other == b.end()) {
        Differ(object, what, value, nullptr);
      } else if (other->second != value) {
        Differ(object, what, value, other->second);
      }
    }
    for (const auto& [what, value] : b) {
      if (!a.contains(what)) Differ(object, what, nullptr, value);
    }
  }

  void CompareObjects(const jet::ObjectInfo& a, const jet::ObjectInfo& b) {
    Facts facts_a = PropertyFacts(a_, a), facts_b = PropertyFacts(b_, b);
    if (a.kind == jet::ObjectKind::kQuery) {
      facts_a["text"] = QueryText(a_, a);
      facts_b["text"] = QueryText(b_, b);
      CompareFacts(a.name, facts_a, facts_b);
      return;
    }
    const std::shared_ptr<jet::Table> table_a = a_.OpenTable(a), table_b = b_.OpenTable(b);
    facts_a.merge(TableFacts(*table_a));
    facts_b.merge(TableFacts(*table_b));
    CompareFacts(a.name, facts_a, facts_b);
    CompareRows(*table_a, *table_b);
  }

  // Of rows that make no sense, what is wrong with them.
  static std::string QueryText(jet::Database& database, const jet::ObjectInfo& query) {
    try {
      return ado::QueryText(database, query);
    } catch (const sql::Error& error) {
      return fmt::format("({})", error.what());
    }
  }

  static Facts PropertyFacts(jet::Database& database, const jet::ObjectInfo& object) {
    Facts facts;
    const jet::Properties properties = database.LoadProperties(object);
    for (const jet::Properties::Group& group : properties.groups()) {
      for (const jet::Property& property : group.values) {
        // The verbatim text of a query is compared as its text.
        if (property.name == jet::kCommandTextProperty) continue;
        const std::string owner = group.column.empty() ? "" : "column " + group.column + " ";
        facts[owner + "property " + property.name] = Cell(ToJson(property));
      }
    }
    return facts;
  }

  static Facts TableFacts(const jet::Table& table) {
    const std::vector<jet::ColumnInfo>& columns = table.columns();
    Facts facts;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      facts["column " + columns[i].name] =
          fmt::format("{} {} at {}", jet::TypeName(columns[i].type), columns[i].size_bytes, i + 1);
    }
    for (const jet::IndexInfo& index : table.indexes()) {
      std::string text = fmt::format("flags {:02X}:", index.flags);
      for (const jet::IndexInfo::Column& part : index.columns) {
        text += " " + (part.ordinal ? columns[*part.ordinal].name : "?") +
                (part.descending ? " desc" : "");
      }
      facts["index " + index.name] = text;
    }
    return facts;
  }

  // Row by row in stored order, over the columns that both have.
  void CompareRows(const jet::Table& a, const jet::Table& b) {
    std::vector<std::pair<std::size_t, std::size_t>> shared;
    for (std::size_t i = 0; i < a.columns().size(); ++i) {
      for (std::size_t k = 0; k < b.columns().size(); ++k) {
        if (b.columns()[k].name == a.columns()[i].name) shared.emplace_back(i, k);
      }
    }
    jet::TableScan scan_a(a), scan_b(b);
    std::uint64_t rows_a = 0, rows_b = 0, different = 0;
    for (;;) {
      const bool more_a = scan_a.Next(), more_b = scan_b.Next();
      rows_a += more_a ? 1 : 0;
      rows_b += more_b ? 1 : 0;
      if (!more_a || !more_b) break;
      if (!SameRow(a, rows_a, scan_a.row(), scan_b.row(), shared, different < options_.rows)) {
        ++different;
      }
    }
    while (scan_a.Next()) ++rows_a;
    while (scan_b.Next()) ++rows_b;
    if (rows_a != rows_b) Differ(a.name(), "rows", rows_a, rows_b);
    if (different > options_.rows) {
      Differ(a.name(), "more rows that differ", different - options_.rows,
             different - options_.rows);
    }
  }

  bool SameRow(const jet::Table& table, std::uint64_t number, const jet::Table::Row& a,
               const jet::Table::Row& b,
               const std::vector<std::pair<std::size_t, std::size_t>>& shared, bool report) {
    bool same = true;
    for (const auto& [i, k] : shared) {
      const jet::Value value_a = a.Get(i), value_b = b.Get(k);
      if (value_a == value_b) continue;
      same = same_ = false;
      if (!report) return false;
      const jet::ColumnInfo& column = table.columns()[i];
      Differ(table.name(), fmt::format("row {} {}", number, column.name),
             ToJson(value_a, column.scale), ToJson(value_b, column.scale));
    }
    return same;
  }

  const DiffOptions& options_;
  jet::Database& a_;
  jet::Database& b_;
  Listing list_;
  bool same_ = true;
};

}  // namespace

ExitCode Diff(Program& program, const DiffOptions& options) {
  const auto a = OpenToRead(program, options.a, options.password);
  const auto b = OpenToRead(program, options.b, options.password);
  return Comparison(options, *a, *b).Run() ? ExitCode::kDone : ExitCode::kFailed;
}

}  // namespace mdbadm
