// What the names of a query mean while it becomes a view of sqlite3.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/column_type.h"
#include "jet/sort/name.h"
#include "sql/text/select_ast.h"

namespace mdbadm {

// Why a query has no counterpart; ends as a comment.
class NoCounterpart : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// How sqlite3 holds a value that is something else here. A flag is 1 there and -1 here, a
// date a text there. A Single is a decimal there that its binary value here is only near.
enum class ViewKind { kNull, kFlag, kWhole, kMoney, kReal, kSingle, kDate, kText, kGuid, kBytes };
ViewKind ViewKindOf(jet::ColumnType type);
bool IsNumber(ViewKind kind);

struct ViewColumn {
  std::string name;
  ViewKind kind = ViewKind::kNull;
};

struct ViewSource {
  std::string name;
  std::vector<ViewColumn> columns;
};

// A name in brackets: one in double quotes sqlite3 would take for a text, where it does not
// find it.
std::string Bracketed(const std::string& name);

// An expression of sqlite3. What is computed stands in parentheses.
struct Piece {
  std::string text;
  ViewKind kind = ViewKind::kNull;
};

// The sources of one SELECT under the names that its expressions use, and those of the
// SELECTs around it.
class ViewScope {
 public:
  ViewScope(jet::SortOrder order, const ViewScope* outer) : order_(order), outer_(outer) {}

  void Add(ViewSource source) { sources_.push_back(std::move(source)); }
  const std::vector<ViewSource>& sources() const { return sources_; }
  jet::SortOrder order() const { return order_; }
  // Nothing if it is not a column. NoCounterpart if it may be several.
  std::optional<Piece> Column(const sql::Expr& column) const;
  // Of this SELECT only.
  std::optional<Piece> OwnColumn(const sql::Expr& column) const;
  const ViewSource& Source(const std::string& name) const;

 private:
  std::optional<Piece> Find(const std::string& qualifier, const std::string& name) const;

  jet::SortOrder order_;
  const ViewScope* outer_;
  std::vector<ViewSource> sources_;
};

}  // namespace mdbadm
