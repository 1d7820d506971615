#include "db/version_record.h"

#include <fmt/format.h>

#include "ado/recordset.h"

namespace db {
namespace {

std::string VersionSql() {
  return fmt::format("SELECT {0}.{1} FROM {0};", kVersionTable, kVersionField);
}

double NumberOf(const ado::Value& value) { return ado::LeadingNumber(ado::ToText(value)); }

}  // namespace

double ReadVersion(ado::Connection& connection, const std::function<void(double)>& show) {
  ado::Recordset Ver_RS;
  const std::string Ver_SQL = VersionSql();
  Ver_RS.Open(Ver_SQL, connection, ado::adOpenUnspecified, ado::adLockUnspecified,
              ado::adCmdUnspecified);
  // The caption stands even if the second read fails.
  if (show) show(NumberOf(Ver_RS.Get(kVersionField)));
  const double version = NumberOf(Ver_RS.Get(kVersionField));
  Ver_RS.Close();
  return version;
}

void WriteVersion(ado::Connection& connection, double version) {
  ado::Recordset Ver_RS;
  const std::string Ver_SQL = VersionSql();
  Ver_RS.Open(Ver_SQL, connection, ado::adOpenUnspecified, ado::adLockOptimistic,
              ado::adCmdUnspecified);
  Ver_RS.Set(kVersionField, version);
  Ver_RS.Update();
}

std::optional<double> FindVersion(jet::Database& database) {
  const std::optional<jet::ObjectInfo> found = database.Find(kVersionTable);
  if (!found || found->kind != jet::ObjectKind::kTable) return std::nullopt;
  const std::shared_ptr<jet::Table> table = database.OpenTable(*found);
  const auto ordinal = table->FindColumn(kVersionField);
  const std::optional<jet::RowId> first = table->First();
  jet::Table::Row row;
  if (!ordinal || !first || !table->Read(*first, row)) return std::nullopt;
  const jet::Value value = row.Get(*ordinal);
  if (jet::IsNull(value)) return std::nullopt;
  return NumberOf(value);
}

void StoreVersion(jet::Database& database, double version) {
  const std::shared_ptr<jet::Table> table = database.OpenTable(kVersionTable);
  const std::size_t ordinal = table->OrdinalOf(kVersionField);
  const jet::FieldChange change{ordinal, ado::ConvertTo(table->columns()[ordinal], version)};
  if (const std::optional<jet::RowId> first = table->First()) {
    table->Update(*first, {&change, 1});
  } else {
    table->Insert(table->NewRow({&change, 1}));
  }
}

std::string VersionCaption(double version) { return " Ver " + ado::ToText(version); }

}  // namespace db
