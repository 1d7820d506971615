// Expressions of a query as sqlite3 computes them with the same result.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "mdbadm/view_scope.h"
#include "sql/text/select_ast.h"

namespace mdbadm {

// NoCounterpart for what sqlite3 computes in another way.
//
// Texts compare as NOCASE: letters of ASCII without their case. The sort order of a file
// takes more for the same: width, kana, letters beyond ASCII. Division by zero is Null
// there and an error here, and so is a number out of its type's range another.
class ViewExpressions {
 public:
  // A SELECT in an expression, and its one column.
  using Subquery = std::function<Piece(const sql::Select& select, const ViewScope& outer)>;
  ViewExpressions(const sql::Select& select, bool ansi_wildcards, const ViewScope& scope,
                  Subquery subquery)
      : select_(select), ansi_(ansi_wildcards), scope_(scope), subquery_(std::move(subquery)) {}

  Piece Value(const sql::Expr& expr);
  // Where True, False or Null is wanted.
  std::string Truth(const sql::Expr& expr);
  // Where it is grouped or sorted by, or told from others.
  Piece Key(const sql::Expr& expr);
  // Whether it counts or adds up rows.
  static bool IsGrouped(const sql::Expr& expr);
  static bool IsGroup(std::string_view function);

 private:
  Piece Column(const sql::Expr& expr);
  Piece Binary(const sql::Expr& expr);
  Piece Arithmetic(const sql::Expr& expr);
  Piece Concatenation(const sql::Expr& expr);
  Piece Like(const sql::Expr& expr);
  Piece Between(const sql::Expr& expr);
  Piece In(const sql::Expr& expr);
  Piece Comparison(std::string_view sign, Piece left, Piece right, bool order);
  Piece Call(const sql::Expr& expr);
  Piece Group(const sql::Expr& expr);
  Piece DateCall(const sql::Expr& expr);
  Piece TextCall(const sql::Expr& expr);
  Piece NumberCall(const sql::Expr& expr);
  Piece Number(const sql::Expr& expr);
  Piece Of(const sql::Expr& expr, ViewKind kind);

  const sql::Select& select_;
  bool ansi_;
  const ViewScope& scope_;
  Subquery subquery_;
  std::vector<const sql::OutputItem*> expanding_;
};

// A flag as the number that it is here.
Piece AsNumber(Piece piece);
// The pieces as values of one kind, which it answers; a flag among numbers is one.
ViewKind MakeAlike(std::vector<Piece*> pieces);

}  // namespace mdbadm
