// A SELECT as a tree. Every expression also keeps its text as written, because
// that is what the rows of a saved query hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jet/base/value.h"

namespace sql {

enum class Operator {
  kImp,
  kEqv,
  kXor,
  kOr,
  kAnd,
  kEqual,
  kNotEqual,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
  kConcatenate,
  kAdd,
  kSubtract,
  kModulo,
  kIntegerDivide,
  kMultiply,
  kDivide,
  kPower,
};

struct Expr;
using ExprPtr = std::shared_ptr<const Expr>;
struct Select;

struct Expr {
  enum class Kind {
    kLiteral,    // value
    kColumn,     // qualifier (or empty), name
    kStar,       // of Count(*)
    kParen,      // one argument, for its text's sake
    kNot,        // one
    kNegate,     // one
    kBinary,     // op, two
    kIsNull,     // one; negated: IS NOT NULL
    kLike,       // value, pattern; negated; ansi
    kBetween,    // value, low, high; negated
    kIn,         // value, then the list; negated
    kCall,       // name, arguments
    kSubquery,   // query; its text in name
    kExists,     // a subquery
    kAny,        // op; value, then a subquery
    kAll,        // op; value, then a subquery
    kParameter,  // "?", or the path in name
  };
  Kind kind = Kind::kLiteral;
  Operator op = Operator::kAnd;
  bool negated = false;
  bool ansi = false;  // ALIKE: the wildcards are % and _ in every query
  std::string qualifier = {}, name = {};
  jet::Value value = {};
  std::vector<ExprPtr> args = {};
  std::shared_ptr<const Select> query = {};
  std::size_t begin = 0, end = 0;  // bytes of the text it was read from
  std::size_t depth = 1;
};

// Without the parentheses around it.
inline const Expr& Bare(const Expr& expr) {
  const Expr* bare = &expr;
  while (bare->kind == Expr::Kind::kParen) bare = bare->args[0].get();
  return *bare;
}

// `tree` is absent as long as only the text is known.
struct SqlText {
  std::string text;
  ExprPtr tree = nullptr;
};

struct OutputItem {
  SqlText expression;  // without tree for `*` and `T.*`
  bool star = false;
  std::string star_qualifier = {};  // empty: all sources
  std::optional<std::string> alias = {};
};

struct SourceItem {
  std::string table = {};  // table or saved query; empty: subquery
  std::string subquery = {};
  std::optional<std::string> alias = {};
  const std::string& name() const { return alias ? *alias : table; }
};

enum class JoinKind : std::int16_t { kInner = 1, kLeft = 2, kRight = 3 };

// A source, or a join of two trees.
struct FromNode {
  std::size_t source = 0;  // of a leaf
  JoinKind kind = JoinKind::kInner;
  std::unique_ptr<FromNode> left, right;
  std::vector<SqlText> on;  // terms joined by AND
  bool leaf() const { return left == nullptr; }
};

struct OrderItem {
  SqlText expression;
  bool descending = false;
};

struct Parameter {
  std::string name = {};
  std::int16_t type = 0;  // a column type code, 0 = Value
};

// What makes columns of the values of an expression.
struct Crosstab {
  OutputItem value;  // TRANSFORM
  SqlText pivot;     // with the list of columns, as `expression IN (...)`
};

// Another file, or whatever else, in which all tables of a query lie.
struct External {
  std::string path, type;
};

struct Select {
  std::vector<Parameter> parameters;
  bool ansi_wildcards = false;  // LIKE takes % and _, else * and ?
  bool distinct = false, distinct_row = false, owner_access = false;
  bool union_rows_once = false;  // of a stored UNION without ALL, whose sources are its parts
  std::string top;               // the count, empty: all
  bool percent = false;
  std::vector<OutputItem> outputs;              // empty: `*`
  std::vector<SourceItem> sources;              // in order of appearance
  std::vector<std::unique_ptr<FromNode>> from;  // a comma list
  std::optional<External> external;
  std::optional<SqlText> where, having;
  std::vector<SqlText> group_by;
  std::vector<OrderItem> order_by;
  std::optional<Crosstab> crosstab;
};

}  // namespace sql
