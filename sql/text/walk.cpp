#include "sql/text/walk.h"

namespace sql {
namespace {

using Visit = std::function<void(const Expr&)>;

void Walk(const Expr& expr, const Visit& visit) {
  if (expr.kind == Expr::Kind::kColumn) visit(expr);
  if (expr.query) ForEachColumn(*expr.query, visit);
  for (const ExprPtr& arg : expr.args) Walk(*arg, visit);
}

void Walk(const SqlText& text, const Visit& visit) {
  if (text.tree) Walk(*text.tree, visit);
}

void Walk(const FromNode& node, const Visit& visit) {
  if (node.leaf()) return;
  Walk(*node.left, visit);
  Walk(*node.right, visit);
  for (const SqlText& each : node.on) Walk(each, visit);
}

}  // namespace

void ForEachColumn(const Select& select, const Visit& visit) {
  for (const OutputItem& each : select.outputs) Walk(each.expression, visit);
  for (const auto& each : select.from) Walk(*each, visit);
  if (select.where) Walk(*select.where, visit);
  for (const SqlText& each : select.group_by) Walk(each, visit);
  if (select.having) Walk(*select.having, visit);
  for (const OrderItem& each : select.order_by) Walk(each.expression, visit);
}

}  // namespace sql
