// Verbs that print rows and saved queries: rows, sql.
#include <array>

#include "ado/catalog.h"
#include "ado/value.h"
#include "jet/sort/collation.h"
#include "mdbadm/output.h"
#include "mdbadm/query.h"
#include "mdbadm/verbs.h"
#include "sql/sql.h"

namespace mdbadm {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// As RFC 4180 has it. An empty text is quoted, too: Null is the cell with nothing in it.
void AppendQuoted(std::string& line, std::string_view text) {
  if (!text.empty() && text.find_first_of(",\"\r\n") == std::string_view::npos) {
    line += text;
    return;
  }
  line += '"';
  for (const char c : text) {
    if (c == '"') line += c;
    line += c;
  }
  line += '"';
}

// Prints rows one by one; the buffers are reused, so a long table costs no more
// memory than a short one.
class RowPrinter {
 public:
  RowPrinter(const RowOptions& options, std::vector<std::string> names)
      : names_(std::move(names)), csv_(options.csv) {
    if (options.json) {
      array_.emplace();
      return;
    }
    if (options.bom) out_ = kByteOrderMark;
    for (const std::string& name : names_) AddText(name);
    EndLine();
    whole_ = out_.size();
  }
  // A row that an error cut short is not printed.
  ~RowPrinter() { Print(std::string_view(out_).substr(0, whole_)); }
  RowPrinter(const RowPrinter&) = delete;
  RowPrinter& operator=(const RowPrinter&) = delete;

  void Begin() {
    if (array_) object_ = Json::object();
    at_ = 0;
  }
  void Add(const jet::Value& value, int scale) {
    const auto* date = std::get_if<jet::DateTime>(&value);
    if (array_) {
      object_[names_[at_++]] = ToJson(value, scale);
    } else if (date != nullptr) {
      Separate();
      out_ += DateText(*date);
    } else {
      AddCell(value, scale);
    }
  }
  // Writes a field straight from the row where building a Value costs more.
  void AddField(const jet::Table::Row& row, std::size_t ordinal, const jet::ColumnInfo& column) {
    using jet::ColumnType;
    if (array_) return Add(row.Get(ordinal), column.scale);
    double number = 0;
    switch (column.type) {
      case ColumnType::kText:
      case ColumnType::kMemo:
        if (!row.GetText(ordinal, text_)) return AddCell(jet::Null{}, 0);
        return AddText(text_);
      case ColumnType::kByte:
      case ColumnType::kInteger:
      case ColumnType::kLong:
      case ColumnType::kDouble:
        if (!row.GetNumber(ordinal, number)) return AddCell(jet::Null{}, 0);
        return AddNumber(number);
      case ColumnType::kDateTime:
        if (!row.GetNumber(ordinal, number)) return AddCell(jet::Null{}, 0);
        Separate();
        out_ += DateText({number});
        return;
      default:
        return Add(row.Get(ordinal), column.scale);
    }
  }
  void End() {
    if (array_) return array_->Add(object_);
    EndLine();
    whole_ = out_.size();
    if (whole_ < kBufferBytes) return;
    Print(out_);
    out_.clear();
    whole_ = 0;
  }

 private:
  static constexpr std::size_t kBufferBytes = 1 << 16;

  void Separate() {
    if (at_++ != 0) out_ += csv_ ? ',' : '\t';
  }
  // With its separator in one piece: most cells are numbers.
  void AddNumber(double number) {
    std::array<char, 1 + kMaxNumberBytes> cell;
    char* at = cell.data();
    if (at_++ != 0) *at++ = csv_ ? ',' : '\t';
    at = PutNumber(at, number);
    out_.append(cell.data(), static_cast<std::size_t>(at - cell.data()));
  }
  void EndLine() { out_ += csv_ ? "\r\n" : "\n"; }
  void AddText(std::string_view text) {
    Separate();
    if (csv_) {
      AppendQuoted(out_, text);
    } else {
      AppendEscaped(out_, text);
    }
  }
  void AddCell(const jet::Value& value, int scale) {
    if (const auto* text = std::get_if<std::string>(&value)) return AddText(*text);
    Separate();
    if (!csv_ || !jet::IsNull(value)) AppendCell(out_, value, scale);
  }
  // Rows that stand together often have the same date.
  const std::string& DateText(jet::DateTime date) {
    if (date_text_.empty() || date_.days != date.days) {
      date_ = date;
      date_text_ = ado::ToText(date);
    }
    return date_text_;
  }

  std::optional<JsonArray> array_;  // with JSON
  std::vector<std::string> names_;
  bool csv_;
  std::string out_, text_;
  std::size_t whole_ = 0;  // bytes of out_ up to the end of the last row
  Json object_;
  std::size_t at_ = 0;
  jet::DateTime date_;
  std::string date_text_;
};

// The saved query of that name, or the text.
// With the parameters that `settings` and the person at the terminal give.
std::unique_ptr<sql::RowSet> RunDefinition(jet::Database& database,
                                           const jet::QueryDefinition& definition,
                                           const std::vector<std::string>& settings) {
  RequireSelect(definition);
  sql::Inputs inputs;
  inputs.parameters = GivenValues(settings);
  inputs.parameters = ParameterValues(sql::ParametersOf(database, definition, inputs), settings);
  return sql::Run(database, definition, inputs);
}

std::unique_ptr<sql::RowSet> RunSource(jet::Database& database, const RowOptions& options) {
  const std::optional<jet::ObjectInfo> saved = database.Find(options.source);
  if (!saved || saved->kind != jet::ObjectKind::kQuery) {
    return RunDefinition(database, sql::Parse(options.source, sql::Wildcards::kAsterisk),
                         options.set);
  }
  try {
    return RunDefinition(database, database.LoadQuery(*saved), options.set);
  } catch (const sql::Error& error) {
    throw sql::Error(error.code(), fmt::format("{}: {}", saved->name, error.what()));
  }
}

}  // namespace

ExitCode Rows(Program& program, const RowOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  const std::shared_ptr<jet::Table> table = database->OpenTable(options.source);
  const std::vector<jet::ColumnInfo>& columns = table->columns();
  std::vector<std::string> names;
  for (const jet::ColumnInfo& column : columns) names.push_back(column.name);
  RowPrinter printer(options, names);
  jet::TableScan scan(*table);
  for (std::uint64_t n = 0; n < options.limit && scan.Next(); ++n) {
    printer.Begin();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      printer.AddField(scan.row(), i, columns[i]);
    }
    printer.End();
  }
  return ExitCode::kDone;
}

ExitCode Sql(Program& program, const RowOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  const std::unique_ptr<sql::RowSet> rows = RunSource(*database, options);
  std::vector<std::string> names;
  for (const sql::OutputColumn& column : rows->columns()) names.push_back(column.name);
  RowPrinter printer(options, names);
  for (std::uint64_t n = 0; n < options.limit && rows->Next(); ++n) {
    printer.Begin();
    for (std::size_t i = 0; i < names.size(); ++i) {
      printer.Add(rows->value(i), rows->columns()[i].scale);
    }
    printer.End();
  }
  return ExitCode::kDone;
}

}  // namespace mdbadm
