#include "sql/text/parser.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "jet/base/ascii.h"
#include "jet/base/column_type.h"
#include "jet/sort/name.h"
#include "sql/text/parser_parts.h"

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

// By descent, from the current word of `in` on.
class SelectParser {
 public:
  explicit SelectParser(TokenReader& in) : in_(in) {}

  SelectText Statement();
  Select Body();
  OutputItem Output();

 private:
  void Parameters(Select& select);
  void Predicate(Select& select);
  void From(Select& select);
  std::unique_ptr<FromNode> JoinTree(Select& select);
  std::unique_ptr<FromNode> JoinOperand(Select& select);
  std::unique_ptr<FromNode> SubquerySource(Select& select);
  std::optional<std::string> TableAlias();
  std::unique_ptr<FromNode> AddSource(Select& select, SourceItem source, std::size_t begin) const;
  void OnTerms(const ExprPtr& expr, std::vector<SqlText>& terms) const;
  void GroupAndOrder(Select& select);
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
  bool all = false;
  std::size_t end = in_.Now().begin;  // of the part before
  for (;;) {
    if (!in_.Now().IsKeyword("SELECT")) in_.Fail("SELECT");
    const std::size_t begin = in_.Now().begin;
    const std::string_view joint = in_.text().substr(end, begin - end);
    Select select = Body();
    end = in_.LastEnd();
    select.parameters = std::move(statement.select.parameters);
    statement.select = std::move(select);
    statement.parts.push_back(
        {std::string(in_.text().substr(begin, end - begin)), all, std::string(joint)});
    if (!in_.TakeKeyword("UNION")) break;
    all = in_.TakeKeyword("ALL");
  }
  in_.TakeIf(";");
  in_.ExpectEnd("query");
  return statement;
}

void SelectParser::Parameters(Select& select) {
  if (!in_.TakeKeyword("PARAMETERS")) return;
  do {
    Parameter parameter{.name = in_.ExpectName("the name of a parameter")};
    if (in_.NameGoesOn(0)) parameter.name = in_.RestOfPath({}, std::move(parameter.name));
    const Token& word = in_.Now();
    if (word.kind != Token::Kind::kWord) in_.Fail("the type of a parameter");
    const auto known = std::find_if(
        kParameterTypes.begin(), kParameterTypes.end(),
        [&](const ParameterType& each) { return jet::EqualsAsciiCase(each.word, word.value); });
    if (known != kParameterTypes.end()) {
      parameter.type = static_cast<std::int16_t>(known->type);
    } else if (!word.IsKeyword("VALUE")) {
      in_.Fail("the type of a parameter");
    }
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
  GroupAndOrder(select);
  if (in_.TakeKeyword("WITH")) {
    in_.ExpectKeyword("OWNERACCESS");
    in_.ExpectKeyword("OPTION");
    select.owner_access = true;
  }
  return select;
}

void SelectParser::Predicate(Select& select) {
  if (!in_.TakeKeyword("ALL")) {
    if (in_.TakeKeyword("DISTINCT")) {
      select.distinct = true;
    } else if (in_.TakeKeyword("DISTINCTROW")) {
      select.distinct_row = true;
    }
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
  Body();
  source.subquery = in_.text().substr(begin, in_.LastEnd() - begin);
  in_.TakeIf(";");
  in_.Expect(")");
  source.alias = TableAlias();
  if (!source.alias) in_.Fail("an alias for the query in parentheses");
  return AddSource(select, std::move(source), begin);
}

std::optional<std::string> SelectParser::TableAlias() {
  if (in_.TakeKeyword("AS")) return in_.ExpectName("an alias");
  if (in_.Now().kind == Token::Kind::kBracketed ||
      (in_.Now().kind == Token::Kind::kWord && !IsReserved(in_.Now().value) &&
       !in_.Now().IsKeyword("WITH"))) {
    return in_.Take().value;
  }
  return std::nullopt;
}

// The terms that AND joins, each without the parentheses around it.
void SelectParser::OnTerms(const ExprPtr& expr, std::vector<SqlText>& terms) const {
  if (expr->kind == Expr::Kind::kParen && in_.text()[expr->begin] == '(') {
    OnTerms(expr->args[0], terms);
  } else if (expr->kind == Expr::Kind::kBinary && expr->op == Operator::kAnd) {
    OnTerms(expr->args[0], terms);
    OnTerms(expr->args[1], terms);
  } else {
    terms.push_back(TextOf(expr));
  }
}

void SelectParser::GroupAndOrder(Select& select) {
  if (in_.TakeKeyword("GROUP")) {
    in_.ExpectKeyword("BY");
    do {
      select.group_by.push_back(TextOf(ReadExpression(in_)));
    } while (in_.TakeIf(","));
  }
  if (in_.TakeKeyword("HAVING")) select.having = TextOf(ReadExpression(in_));
  if (in_.TakeKeyword("ORDER")) {
    in_.ExpectKeyword("BY");
    do {
      OrderItem item{.expression = TextOf(ReadExpression(in_))};
      item.descending = in_.TakeKeyword("DESC");
      if (!item.descending) in_.TakeKeyword("ASC");
      select.order_by.push_back(std::move(item));
    } while (in_.TakeIf(","));
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
