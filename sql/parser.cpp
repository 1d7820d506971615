#include "sql/parser.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "jet/ascii.h"
#include "jet/column_type.h"
#include "jet/name.h"

namespace sql {
namespace {

struct ParameterType {
  std::string_view word;
  jet::ColumnType type;
};

// 0, a parameter of any type, is "Value".
constexpr std::array<ParameterType, 20> kParameterTypes = {{
    {"Bit", jet::ColumnType::kBoolean},       {"YesNo", jet::ColumnType::kBoolean},
    {"Byte", jet::ColumnType::kByte},         {"Short", jet::ColumnType::kInteger},
    {"Integer", jet::ColumnType::kLong},      {"Long", jet::ColumnType::kLong},
    {"Currency", jet::ColumnType::kCurrency}, {"Single", jet::ColumnType::kSingle},
    {"IEEESingle", jet::ColumnType::kSingle}, {"Double", jet::ColumnType::kDouble},
    {"IEEEDouble", jet::ColumnType::kDouble}, {"DateTime", jet::ColumnType::kDateTime},
    {"Binary", jet::ColumnType::kBinary},     {"Text", jet::ColumnType::kText},
    {"LongBinary", jet::ColumnType::kOle},    {"Memo", jet::ColumnType::kMemo},
    {"LongText", jet::ColumnType::kMemo},     {"Guid", jet::ColumnType::kGuid},
    {"Decimal", jet::ColumnType::kNumeric},   {"Numeric", jet::ColumnType::kNumeric},
}};

}  // namespace

SelectText ParseSelect(std::string_view text) { return Parser(text).Statement(); }
ExprPtr ParseExpression(std::string_view text) { return Parser(text).WholeExpression(); }
OutputItem ParseOutput(std::string_view text) { return Parser(text).WholeOutput(); }

bool Parser::TakeIf(std::string_view symbol) {
  if (!Now().Is(symbol)) return false;
  Take();
  return true;
}

bool Parser::TakeKeyword(std::string_view keyword) {
  if (!Now().IsKeyword(keyword)) return false;
  Take();
  return true;
}

void Parser::Expect(std::string_view symbol) {
  if (!TakeIf(symbol)) Fail(fmt::format("\"{}\"", symbol));
}

void Parser::ExpectKeyword(std::string_view keyword) {
  if (!TakeKeyword(keyword)) Fail(keyword);
}

std::string Parser::ExpectName(std::string_view what) {
  if (!Now().IsName()) Fail(what);
  return Take().value;
}

void Parser::Fail(std::string_view what) const {
  const Token& token = Now();
  const std::string_view found = text_.substr(token.begin, token.end - token.begin);
  ThrowSyntax(text_, token.begin,
              token.kind == Token::Kind::kEnd
                  ? fmt::format("expected {}, found the end of the text", what)
                  : fmt::format("expected {}, found {}", what, found));
}

SqlText Parser::TextOf(const ExprPtr& expr) const {
  return {std::string(text_.substr(expr->begin, expr->end - expr->begin)), expr};
}

ExprPtr Parser::WholeExpression() {
  ExprPtr expr = Expression();
  if (Now().kind != Token::Kind::kEnd) Fail("the end of the expression");
  return expr;
}

OutputItem Parser::WholeOutput() {
  OutputItem item = Output();
  if (Now().kind != Token::Kind::kEnd) Fail("the end of the expression");
  return item;
}

SelectText Parser::Statement() {
  SelectText statement;
  Parameters(statement.select);
  bool all = false;
  std::size_t end = Now().begin;  // of the part before
  for (;;) {
    if (!Now().IsKeyword("SELECT")) Fail("SELECT");
    const std::size_t begin = Now().begin;
    const std::string_view joint = text_.substr(end, begin - end);
    Select select = SelectBody();
    end = LastEnd();
    select.parameters = std::move(statement.select.parameters);
    statement.select = std::move(select);
    statement.parts.push_back(
        {std::string(text_.substr(begin, end - begin)), all, std::string(joint)});
    if (!TakeKeyword("UNION")) break;
    all = TakeKeyword("ALL");
  }
  TakeIf(";");
  if (Now().kind != Token::Kind::kEnd) Fail("the end of the query");
  return statement;
}

void Parser::Parameters(Select& select) {
  if (!TakeKeyword("PARAMETERS")) return;
  do {
    Parameter parameter{.name = ExpectName("the name of a parameter")};
    if (NameGoesOn(0)) parameter.name = RestOfPath({}, std::move(parameter.name));
    const Token& word = Now();
    if (word.kind != Token::Kind::kWord) Fail("the type of a parameter");
    const auto known = std::find_if(
        kParameterTypes.begin(), kParameterTypes.end(),
        [&](const ParameterType& each) { return jet::EqualsAsciiCase(each.word, word.value); });
    if (known != kParameterTypes.end()) {
      parameter.type = static_cast<std::int16_t>(known->type);
    } else if (!word.IsKeyword("VALUE")) {
      Fail("the type of a parameter");
    }
    Take();
    if (TakeIf("(")) {
      if (Now().kind != Token::Kind::kNumber) Fail("a size");
      Take();
      Expect(")");
    }
    select.parameters.push_back(std::move(parameter));
  } while (TakeIf(","));
  Expect(";");
}

Select Parser::SelectBody() {
  const DepthGuard guard(*this);
  ExpectKeyword("SELECT");
  Select select;
  Predicate(select);
  do {
    OutputItem item = Output();
    if (!item.star && TakeKeyword("AS")) item.alias = ExpectName("an alias");
    select.outputs.push_back(std::move(item));
  } while (TakeIf(","));
  if (TakeKeyword("FROM")) From(select);
  if (TakeKeyword("WHERE")) select.where = TextOf(Expression());
  GroupAndOrder(select);
  if (TakeKeyword("WITH")) {
    ExpectKeyword("OWNERACCESS");
    ExpectKeyword("OPTION");
    select.owner_access = true;
  }
  return select;
}

void Parser::Predicate(Select& select) {
  if (!TakeKeyword("ALL")) {
    if (TakeKeyword("DISTINCT")) {
      select.distinct = true;
    } else if (TakeKeyword("DISTINCTROW")) {
      select.distinct_row = true;
    }
  }
  if (!TakeKeyword("TOP")) return;
  const Token& count = Now();
  if (count.kind != Token::Kind::kNumber || count.value.size() > 9 ||
      count.value.find_first_not_of("0123456789") != std::string::npos) {
    Fail("a count of rows");
  }
  select.top = Take().value;
  select.percent = TakeKeyword("PERCENT");
}

OutputItem Parser::Output() {
  OutputItem item;
  const std::size_t begin = Now().begin;
  const bool qualified = Now().IsName() && Ahead(1).Is(".") && Ahead(2).Is("*");
  if (!qualified && !Now().Is("*")) {
    item.expression = TextOf(Expression());
    return item;
  }
  item.star = true;
  if (qualified) {
    item.star_qualifier = Take().value;
    Take();
  }
  Take();
  item.expression.text = text_.substr(begin, LastEnd() - begin);
  return item;
}

void Parser::From(Select& select) {
  do {
    select.from.push_back(JoinTree(select));
  } while (TakeIf(","));
}

bool Parser::AtJoin() const {
  return Now().IsKeyword("INNER") || Now().IsKeyword("LEFT") || Now().IsKeyword("RIGHT") ||
         Now().IsKeyword("JOIN");
}

std::unique_ptr<FromNode> Parser::JoinTree(Select& select) {
  const DepthGuard guard(*this);
  std::unique_ptr<FromNode> left = JoinOperand(select);
  for (std::size_t joins = 1; AtJoin(); ++joins) {
    if (joins > kMaxDepth) Fail("fewer joins");
    auto join = std::make_unique<FromNode>();
    if (TakeKeyword("LEFT")) {
      join->kind = JoinKind::kLeft;
    } else if (TakeKeyword("RIGHT")) {
      join->kind = JoinKind::kRight;
    } else {
      TakeKeyword("INNER");
    }
    if (join->kind != JoinKind::kInner) TakeKeyword("OUTER");
    ExpectKeyword("JOIN");
    join->left = std::move(left);
    join->right = JoinOperand(select);
    // So a JOIN b JOIN c ON .. ON .., which would nest to the right, is refused.
    ExpectKeyword("ON");
    OnTerms(Expression(), join->on);
    left = std::move(join);
  }
  return left;
}

std::unique_ptr<FromNode> Parser::JoinOperand(Select& select) {
  if (Now().Is("(") && Ahead(1).IsKeyword("SELECT")) return SubquerySource(select);
  if (TakeIf("(")) {
    std::unique_ptr<FromNode> inner = JoinTree(select);
    Expect(")");
    return inner;
  }
  if (Now().kind == Token::Kind::kWord && IsReserved(Now().value)) Fail("a table name");
  const std::size_t begin = Now().begin;
  SourceItem source;
  source.table = ExpectName("a table name");
  source.alias = TableAlias();
  return AddSource(select, std::move(source), begin);
}

// Rows of joins name their sources, so two of one name could not be told apart.
std::unique_ptr<FromNode> Parser::AddSource(Select& select, SourceItem source,
                                            std::size_t begin) const {
  for (const SourceItem& each : select.sources) {
    if (jet::SameName(jet::kGeneral, each.name(), source.name())) {
      ThrowSyntax(text_, begin, fmt::format("two sources are called {}", source.name()));
    }
  }
  auto leaf = std::make_unique<FromNode>();
  leaf->source = select.sources.size();
  select.sources.push_back(std::move(source));
  return leaf;
}

std::unique_ptr<FromNode> Parser::SubquerySource(Select& select) {
  SourceItem source;
  Expect("(");
  const std::size_t begin = Now().begin;  // of the query's text
  SelectBody();
  source.subquery = text_.substr(begin, LastEnd() - begin);
  TakeIf(";");
  Expect(")");
  source.alias = TableAlias();
  if (!source.alias) Fail("an alias for the query in parentheses");
  return AddSource(select, std::move(source), begin);
}

std::optional<std::string> Parser::TableAlias() {
  if (TakeKeyword("AS")) return ExpectName("an alias");
  if (Now().kind == Token::Kind::kBracketed ||
      (Now().kind == Token::Kind::kWord && !IsReserved(Now().value) && !Now().IsKeyword("WITH"))) {
    return Take().value;
  }
  return std::nullopt;
}

// The terms that AND joins, each without the parentheses around it.
void Parser::OnTerms(const ExprPtr& expr, std::vector<SqlText>& terms) const {
  if (expr->kind == Expr::Kind::kParen && text_[expr->begin] == '(') {
    OnTerms(expr->args[0], terms);
  } else if (expr->kind == Expr::Kind::kBinary && expr->op == Operator::kAnd) {
    OnTerms(expr->args[0], terms);
    OnTerms(expr->args[1], terms);
  } else {
    terms.push_back(TextOf(expr));
  }
}

void Parser::GroupAndOrder(Select& select) {
  if (TakeKeyword("GROUP")) {
    ExpectKeyword("BY");
    do {
      select.group_by.push_back(TextOf(Expression()));
    } while (TakeIf(","));
  }
  if (TakeKeyword("HAVING")) select.having = TextOf(Expression());
  if (TakeKeyword("ORDER")) {
    ExpectKeyword("BY");
    do {
      OrderItem item{.expression = TextOf(Expression())};
      item.descending = TakeKeyword("DESC");
      if (!item.descending) TakeKeyword("ASC");
      select.order_by.push_back(std::move(item));
    } while (TakeIf(","));
  }
}

}  // namespace sql
