#include "sql/text/parser.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "jet/base/ascii.h"
#include "jet/sort/name.h"
#include "sql/text/parameter_type.h"
#include "sql/text/parser_parts.h"

namespace sql {
namespace {

// By descent, from the current word of `in` on.
class SelectParser {
 public:
  explicit SelectParser(TokenReader& in) : in_(in) {}

  SelectText Statement();
  // With the order of its rows.
  Select Body();
  OutputItem Output();

 private:
  void Parameters(Select& select);
  Select Transformed();
  Select Part(SelectText::Part& part, Select& order);
  Select WholeTable();
  Select Head();
  void Predicate(Select& select);
  void From(Select& select);
  std::unique_ptr<FromNode> JoinTree(Select& select);
  std::unique_ptr<FromNode> JoinOperand(Select& select);
  std::unique_ptr<FromNode> SubquerySource(Select& select);
  std::unique_ptr<FromNode> BracketedQuery(Select& select);
  std::optional<std::string> TableAlias();
  std::unique_ptr<FromNode> AddSource(Select& select, SourceItem source, std::size_t begin) const;
  void OnTerms(const ExprPtr& expr, std::vector<SqlText>& terms) const;
  void Group(Select& select);
  void Order(Select& select);
  void Elsewhere(Select& select);
  bool AtJoin() const;
  SqlText TextOf(const ExprPtr& expr) const;

  TokenReader& in_;
};

SqlText SelectParser::TextOf(const ExprPtr& expr) const {
  return {std::string(in_.text().substr(expr->begin, expr->end - expr->begin)), expr};
}

SelectText SelectParser::Statement() {
  SelectText statement;
  Parameters(statement.select);
  std::vector<Parameter> parameters = std::move(statement.select.parameters);
  if (in_.Now().IsKeyword("TRANSFORM")) {
    statement.select = Transformed();
    statement.parts.emplace_back();
  } else {
    bool all = false;
    std::size_t end = in_.Now().begin;  // of the part before
    for (;;) {
      SelectText::Part part;
      part.all = all;
      const std::size_t begin = in_.Now().begin;
      part.joint = in_.text().substr(end, begin - end);
      Select order;
      statement.select = Part(part, order);
      end = in_.LastEnd();
      const bool joined = !statement.parts.empty();
      statement.parts.push_back(std::move(part));
      if (in_.TakeKeyword("UNION")) {
        all = in_.TakeKeyword("ALL");
        continue;
      }
      if (joined) statement.select = std::move(order);
      break;
    }
  }
  statement.select.parameters = std::move(parameters);
  in_.TakeIf(";");
  in_.ExpectEnd("query");
  return statement;
}

// Of the last part of a union, `order` is what stands behind it; its text ends before.
Select SelectParser::Part(SelectText::Part& part, Select& order) {
  const DepthGuard guard(in_);
  const std::size_t begin = in_.Now().begin;
  Select select;
  if (in_.Now().Is("(") && in_.Ahead(1).IsKeyword("SELECT")) {
    in_.Take();
    select = Body();
    in_.TakeIf(";");
    in_.Expect(")");
  } else if (in_.Now().IsKeyword("TABLE")) {
    select = WholeTable();
  } else {
    if (!in_.Now().IsKeyword("SELECT")) in_.Fail("SELECT");
    select = Head();
  }
  std::size_t end = in_.LastEnd();
  Order(order);
  if (in_.Now().IsKeyword("UNION")) {
    end = in_.LastEnd();
  } else if (select.order_by.empty()) {
    // Of a query of one part, or moved to the union.
    for (const OrderItem& each : order.order_by) select.order_by.push_back(each);
  }
  select.owner_access = select.owner_access || order.owner_access;
  part.text = in_.text().substr(begin, end - begin);
  return select;
}

Select SelectParser::WholeTable() {
  in_.ExpectKeyword("TABLE");
  Select select;
  const std::size_t begin = in_.Now().begin;
  SourceItem source;
  source.table = in_.ExpectName("a table name");
  select.outputs.push_back({.expression = {"*", nullptr}, .star = true});
  select.from.push_back(AddSource(select, std::move(source), begin));
  return select;
}

Select SelectParser::Transformed() {
  in_.ExpectKeyword("TRANSFORM");
  Crosstab crosstab;
  crosstab.value = Output();
  if (crosstab.value.star) in_.Fail("an expression");
  if (in_.TakeKeyword("AS")) crosstab.value.alias = in_.ExpectName("an alias");
  Select select = Body();
  in_.ExpectKeyword("PIVOT");
  crosstab.pivot = TextOf(ReadExpression(in_));
  select.crosstab = std::move(crosstab);
  return select;
}

void SelectParser::Parameters(Select& select) {
  if (!in_.TakeKeyword("PARAMETERS")) return;
  do {
    Parameter parameter{.name = in_.ExpectName("the name of a parameter")};
    if (in_.NameGoesOn(0)) parameter.name = in_.RestOfPath({}, std::move(parameter.name));
    const Token& word = in_.Now();
    const auto type = ParameterTypeOf(word.value);
    if (word.kind != Token::Kind::kWord || !type) in_.Fail("the type of a parameter");
    parameter.type = *type;
    in_.Take();
    if (in_.TakeIf("(")) {
      if (in_.Now().kind != Token::Kind::kNumber) in_.Fail("a size");
      in_.Take();
      in_.Expect(")");
    }
    select.parameters.push_back(std::move(parameter));
  } while (in_.TakeIf(","));
  in_.Expect(";");
}

Select SelectParser::Body() {
  const DepthGuard guard(in_);
  Select select = Head();
  Order(select);
  return select;
}

// From SELECT to before ORDER BY.
Select SelectParser::Head() {
  in_.ExpectKeyword("SELECT");
  Select select;
  Predicate(select);
  do {
    OutputItem item = Output();
    if (!item.star && in_.TakeKeyword("AS")) item.alias = in_.ExpectName("an alias");
    select.outputs.push_back(std::move(item));
  } while (in_.TakeIf(","));
  if (in_.TakeKeyword("FROM")) From(select);
  if (in_.TakeKeyword("WHERE")) select.where = TextOf(ReadExpression(in_));
  Group(select);
  return select;
}

void SelectParser::Predicate(Select& select) {
  if (!in_.TakeKeyword("ALL")) {
    select.distinct = in_.TakeKeyword("DISTINCT");
    select.distinct_row = !select.distinct && in_.TakeKeyword("DISTINCTROW");
  }
  if (!in_.TakeKeyword("TOP")) return;
  const Token& count = in_.Now();
  if (count.kind != Token::Kind::kNumber || count.value.size() > 9 ||
      count.value.find_first_not_of("0123456789") != std::string::npos) {
    in_.Fail("a count of rows");
  }
  select.top = in_.Take().value;
  select.percent = in_.TakeKeyword("PERCENT");
}

OutputItem SelectParser::Output() {
  OutputItem item;
  const std::size_t begin = in_.Now().begin;
  const bool qualified = in_.Now().IsName() && in_.Ahead(1).Is(".") && in_.Ahead(2).Is("*");
  if (!qualified && !in_.Now().Is("*")) {
    item.expression = TextOf(ReadExpression(in_));
    return item;
  }
  item.star = true;
  if (qualified) {
    item.star_qualifier = in_.Take().value;
    in_.Take();
  }
  in_.Take();
  item.expression.text = in_.text().substr(begin, in_.LastEnd() - begin);
  return item;
}

void SelectParser::From(Select& select) {
  do {
    select.from.push_back(JoinTree(select));
  } while (in_.TakeIf(","));
  Elsewhere(select);
}

// IN 'path', IN 'path' 'type', IN '' [type].
void SelectParser::Elsewhere(Select& select) {
  if (!in_.TakeKeyword("IN")) return;
  if (in_.Now().kind != Token::Kind::kText) in_.Fail("the path of a file");
  External external;
  external.path = in_.Take().value;
  if (in_.Now().kind == Token::Kind::kText || in_.Now().kind == Token::Kind::kBracketed) {
    external.type = in_.Take().value;
  }
  select.external = std::move(external);
}

bool SelectParser::AtJoin() const {
  return in_.Now().IsKeyword("INNER") || in_.Now().IsKeyword("LEFT") ||
         in_.Now().IsKeyword("RIGHT") || in_.Now().IsKeyword("JOIN");
}

std::unique_ptr<FromNode> SelectParser::JoinTree(Select& select) {
  const DepthGuard guard(in_);
  std::unique_ptr<FromNode> left = JoinOperand(select);
  for (std::size_t joins = 1; AtJoin(); ++joins) {
    if (joins > kMaxDepth) in_.Fail("fewer joins");
    auto join = std::make_unique<FromNode>();
    if (in_.TakeKeyword("LEFT")) {
      join->kind = JoinKind::kLeft;
    } else if (in_.TakeKeyword("RIGHT")) {
      join->kind = JoinKind::kRight;
    } else {
      in_.TakeKeyword("INNER");
    }
    if (join->kind != JoinKind::kInner) in_.TakeKeyword("OUTER");
    in_.ExpectKeyword("JOIN");
    join->left = std::move(left);
    join->right = JoinOperand(select);
    // So a JOIN b JOIN c ON .. ON .., which would nest to the right, is refused.
    in_.ExpectKeyword("ON");
    OnTerms(ReadExpression(in_), join->on);
    left = std::move(join);
  }
  return left;
}

std::unique_ptr<FromNode> SelectParser::JoinOperand(Select& select) {
  if (in_.Now().Is("(") && in_.Ahead(1).IsKeyword("SELECT")) return SubquerySource(select);
  if (in_.TakeIf("(")) {
    std::unique_ptr<FromNode> inner = JoinTree(select);
    in_.Expect(")");
    return inner;
  }
  const bool bracketed = in_.Now().kind == Token::Kind::kBracketed && in_.Ahead(1).Is(".");
  if (bracketed && jet::EqualsAsciiCase(in_.Now().value.substr(0, 6), "SELECT")) {
    return BracketedQuery(select);
  }
  if (in_.Now().kind == Token::Kind::kWord && IsReserved(in_.Now().value)) in_.Fail("a table name");
  const std::size_t begin = in_.Now().begin;
  SourceItem source;
  source.table = in_.ExpectName("a table name");
  source.alias = TableAlias();
  return AddSource(select, std::move(source), begin);
}

// Rows of joins name their sources, so two of one name could not be distinguished.
std::unique_ptr<FromNode> SelectParser::AddSource(Select& select, SourceItem source,
                                                  std::size_t begin) const {
  for (const SourceItem& each : select.sources) {
    if (jet::SameName(jet::kGeneral, each.name(), source.name())) {
      ThrowSyntax(in_.text(), begin, fmt::format("two sources are called {}", source.name()));
    }
  }
  auto leaf = std::make_unique<FromNode>();
  leaf->source = select.sources.size();
  select.sources.push_back(std::move(source));
  return leaf;
}

std::unique_ptr<FromNode> SelectParser::SubquerySource(Select& select) {
  SourceItem source;
  in_.Expect("(");
  const std::size_t begin = in_.Now().begin;  // of the query's text
  for (Body(); in_.TakeKeyword("UNION"); Body()) in_.TakeKeyword("ALL");
  source.subquery = in_.text().substr(begin, in_.LastEnd() - begin);
  in_.TakeIf(";");
  in_.Expect(")");
  source.alias = TableAlias();
  if (!source.alias) in_.Fail("an alias for the query in parentheses");
  return AddSource(select, std::move(source), begin);
}

// [SELECT ...]. AS alias, as older programs write it.
std::unique_ptr<FromNode> SelectParser::BracketedQuery(Select& select) {
  const std::size_t begin = in_.Now().begin;
  SourceItem source;
  source.subquery = jet::TrimBlanks(in_.Take().value);
  in_.Take();
  ParseSelect(source.subquery);
  if (source.subquery.ends_with(';')) source.subquery.pop_back();
  source.alias = TableAlias();
  if (!source.alias) in_.Fail("an alias for the query in brackets");
  return AddSource(select, std::move(source), begin);
}

std::optional<std::string> SelectParser::TableAlias() {
  if (in_.TakeKeyword("AS")) return in_.ExpectName("an alias");
  const Token& word = in_.Now();
  const bool bare = word.kind == Token::Kind::kWord && !IsReserved(word.value) &&
                    !word.IsKeyword("WITH") && !word.IsKeyword("PIVOT");
  if (bare || word.kind == Token::Kind::kBracketed) {
    return in_.Take().value;
  }
  return std::nullopt;
}

// The terms that AND joins, each without the parentheses around it.
void SelectParser::OnTerms(const ExprPtr& expr, std::vector<SqlText>& terms) const {
  if (expr->kind == Expr::Kind::kParen && in_.text()[expr->begin] == '(' &&
      expr->args[0]->kind != Expr::Kind::kSubquery) {
    OnTerms(expr->args[0], terms);
  } else if (expr->kind == Expr::Kind::kBinary && expr->op == Operator::kAnd) {
    OnTerms(expr->args[0], terms);
    OnTerms(expr->args[1], terms);
  } else {
    terms.push_back(TextOf(expr));
  }
}

void SelectParser::Group(Select& select) {
  if (in_.TakeKeyword("GROUP")) {
    in_.ExpectKeyword("BY");
    do {
      select.group_by.push_back(TextOf(ReadExpression(in_)));
    } while (in_.TakeIf(","));
  }
  if (in_.TakeKeyword("HAVING")) select.having = TextOf(ReadExpression(in_));
}

void SelectParser::Order(Select& select) {
  if (in_.TakeKeyword("ORDER")) {
    in_.ExpectKeyword("BY");
    do {
      OrderItem item{.expression = TextOf(ReadExpression(in_))};
      item.descending = in_.TakeKeyword("DESC");
      if (!item.descending) in_.TakeKeyword("ASC");
      select.order_by.push_back(std::move(item));
    } while (in_.TakeIf(","));
  }
  if (in_.TakeKeyword("WITH")) {
    in_.ExpectKeyword("OWNERACCESS");
    in_.ExpectKeyword("OPTION");
    select.owner_access = true;
  }
}

}  // namespace

Select ReadSelect(TokenReader& in) { return SelectParser(in).Body(); }

SelectText ParseSelect(std::string_view text) {
  TokenReader in(text);
  return SelectParser(in).Statement();
}

OutputItem ParseOutput(std::string_view text) {
  TokenReader in(text);
  OutputItem item = SelectParser(in).Output();
  in.ExpectEnd("expression");
  return item;
}

ExprPtr ParseExpression(std::string_view text) {
  TokenReader in(text);
  ExprPtr expr = ReadExpression(in);
  in.ExpectEnd("expression");
  return expr;
}

}  // namespace sql
