#include "mdbadm/dump_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "jet/base/date_time.h"
#include "jet/sort/name.h"
#include "mdbadm/sql_literal.h"

namespace mdbadm {
namespace {

bool HoldsName(const std::vector<std::string>& list, jet::SortOrder order, std::string_view name) {
  return std::any_of(list.begin(), list.end(),
                     [&](const std::string& known) { return jet::SameName(order, known, name); });
}

class Translation {
 public:
  Translation(std::vector<Token> tokens, const KnownNames& names, std::vector<std::string>& used)
      : tokens_(std::move(tokens)), names_(names), used_(used) {
    for (std::size_t i = 0; i + 1 < tokens_.size(); ++i) {
      if (IsKeyword(i, "AS")) aliases_.push_back(tokens_[i + 1].text);
    }
  }

  std::string Text() {
    if (!IsKeyword(0, "SELECT")) throw NoCounterpart("not a SELECT");
    std::string out;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      const bool tight = IsSign(i, ".") || IsSign(i, ",") || (i != 0 && IsSign(i - 1, "."));
      const std::string piece = At(i).kind == TokenKind::kDatePart ? PartOfDate(i) : Piece(i);
      if (i != 0 && !tight) out += ' ';
      out += piece;
    }
    return out;
  }

 private:
  const Token& At(std::size_t i) const {
    static const Token kNone;
    return i < tokens_.size() ? tokens_[i] : kNone;
  }
  bool IsKeyword(std::size_t i, std::string_view word) const {
    return At(i).kind == TokenKind::kKeyword && At(i).text == word;
  }
  bool IsSign(std::size_t i, std::string_view sign) const { return mdbadm::IsSign(At(i), sign); }
  bool IsComparison(std::size_t i) const {
    return At(i).kind == TokenKind::kSign &&
           std::string_view("<>=").find(At(i).text[0]) != std::string_view::npos;
  }
  bool IsArithmetic(std::size_t i) const {
    if (IsSign(i, "*")) {
      const bool all = IsSign(i - 1, ".") || IsSign(i - 1, ",") || IsSign(i - 1, "(") ||
                       At(i - 1).kind == TokenKind::kKeyword;
      return !all;
    }
    return IsSign(i, "+") || IsSign(i, "-");
  }

  std::string Piece(std::size_t i) {
    const Token& token = tokens_[i];
    switch (token.kind) {
      case TokenKind::kName:
        return Name(i);
      case TokenKind::kKeyword:
        return Keyword(i);
      case TokenKind::kText:
        return IsKeyword(i - 1, "LIKE") ? Pattern(token.text) : Literal(token.text);
      case TokenKind::kDate: {
        const std::optional<jet::DateTime> date = jet::ReadDateTime(token.text);
        if (!date) throw NoCounterpart("date #" + token.text + "#");
        return Literal(*date);
      }
      case TokenKind::kSign:
        return IsSign(i, "+") ? Plus(i) : token.text;
      default:
        return token.text;
    }
  }
  // A function of a date, as far as its end, where `i` is afterwards.
  std::string PartOfDate(std::size_t& i) {
    const std::string function = At(i).text;
    const auto need = [&](bool there) {
      if (!there) throw NoCounterpart("function " + function);
    };
    need(IsSign(++i, "("));
    ++i;
    auto part = std::ranges::find(kDateParts, function, &DatePart::function);
    if (function == "DATEPART") {
      need(At(i).kind == TokenKind::kText && IsSign(i + 1, ","));
      part = std::ranges::find(kDateParts, Upper(At(i).text), &DatePart::interval);
      i += 2;
    }
    need(part != kDateParts.end());
    const std::size_t last = IsSign(i + 1, ".") ? i + 2 : i;
    need(At(last).kind == TokenKind::kName && IsSign(last + 1, ")") &&
         HoldsName(names_.dates, names_.order, At(last).text));
    in_date_part_ = true;
    std::string column;
    for (; i <= last; ++i) column += Piece(i);
    in_date_part_ = false;
    return fmt::format("CAST(strftime('{}', {}) AS INTEGER)", part->format, column);
  }
  static std::string Literal(const jet::Value& value) {
    std::string out;
    AppendSqlValue(out, value);
    return out;
  }
  // Only where both dialects mean the same.
  static std::string Pattern(const std::string& pattern) {
    if (pattern.find_first_of("%_#[") != std::string::npos) {
      throw NoCounterpart("pattern " + pattern);
    }
    std::string like = pattern;
    std::replace(like.begin(), like.end(), '*', '%');
    std::replace(like.begin(), like.end(), '?', '_');
    return Literal(like);
  }
  std::string Keyword(std::size_t i) const {
    if (i != 0 && IsKeyword(i, "SELECT")) {
      const bool is_asked = i > 1 && IsSign(i - 1, "(") && !InOutputList(i) &&
                            (IsKeyword(i - 2, "IN") || IsKeyword(i - 2, "EXISTS"));
      if (!is_asked) throw NoCounterpart("a query in the query");
    }
    if (IsKeyword(i, "LIKE") && At(i + 1).kind != TokenKind::kText) {
      throw NoCounterpart("a pattern that is not a text");
    }
    if (IsKeyword(i, "LEFT") && !IsKeyword(i + 1, "JOIN")) throw NoCounterpart("function Left");
    // Of a number it turns the bits there.
    const bool is_logical = IsKeyword(i + 1, "NULL") || IsKeyword(i + 1, "IN") ||
                            IsKeyword(i + 1, "LIKE") || IsKeyword(i + 1, "EXISTS") ||
                            IsSign(i + 1, "(");
    if (IsKeyword(i, "NOT") && !is_logical) throw NoCounterpart("Not before a value");
    return At(i).text;
  }
  // Between texts it joins them.
  std::string Plus(std::size_t i) const {
    if (At(i - 1).kind == TokenKind::kText || At(i + 1).kind == TokenKind::kText) return "||";
    if (At(i - 1).kind == TokenKind::kNumber || At(i + 1).kind == TokenKind::kNumber) return "+";
    throw NoCounterpart("operator + of which the operands are not known");
  }
  // As it is stored: sqlite3 does not know names by width and kana.
  std::string Name(std::size_t i) {
    const std::string& name = tokens_[i].text;
    if (name.find('.') != std::string::npos) throw NoCounterpart("name " + name);
    const bool is_alias = i != 0 && IsKeyword(i - 1, "AS");
    if (is_alias) return Bracketed(name);
    const bool alone = (i == 0 || !IsSign(i - 1, ".")) && !IsSign(i + 1, ".");
    if (alone && InOutputList(i) && HoldsName(aliases_, names_.order, name)) {
      throw NoCounterpart("the alias " + name + " in the list that makes it");
    }
    if (HoldsName(names_.flags, names_.order, name)) CheckSpecial(i, TokenKind::kTruth);
    if (!in_date_part_ && HoldsName(names_.dates, names_.order, name)) {
      CheckSpecial(i, TokenKind::kDate);
    }
    if (i != 0 && IsSign(i - 1, ".")) {
      const KnownNames::Source* source = SourceOf(tokens_[i - 2].text);
      if (source == nullptr) throw NoCounterpart("the place of " + name);
      return Bracketed(Stored(name, source->columns));
    }
    for (const std::string& alias : aliases_) {
      if (jet::SameName(names_.order, alias, name)) return Bracketed(alias);
    }
    if (IsSign(i + 1, ".") || !InOutputList(i)) {
      if (const KnownNames::Source* source = FindSource(name)) {
        used_.push_back(source->name);
        return Bracketed(source->name);
      }
    }
    return Bracketed(Alone(name));
  }
  const KnownNames::Source* FindSource(std::string_view name) const {
    for (const KnownNames::Source& source : names_.sources) {
      if (jet::SameName(names_.order, source.name, name)) return &source;
    }
    return nullptr;
  }
  // By its own name or by an alias.
  const KnownNames::Source* SourceOf(std::string_view name) const {
    for (std::size_t k = 2; k < tokens_.size(); ++k) {
      if (InOutputList(k) || !IsKeyword(k - 1, "AS")) continue;
      if (jet::SameName(names_.order, tokens_[k].text, name)) return FindSource(At(k - 2).text);
    }
    return FindSource(name);
  }
  std::string Stored(const std::string& name, const std::vector<std::string>& columns) const {
    for (const std::string& column : columns) {
      if (jet::SameName(names_.order, column, name)) return column;
    }
    throw NoCounterpart("column " + name);
  }
  // A column without its table: of a source that the query names.
  std::string Alone(const std::string& name) const {
    for (std::size_t k = 0; k < tokens_.size(); ++k) {
      if (InOutputList(k) || At(k).kind != TokenKind::kName) continue;
      const KnownNames::Source* source = FindSource(At(k).text);
      if (source != nullptr && HoldsName(source->columns, names_.order, name)) {
        return Stored(name, source->columns);
      }
    }
    throw NoCounterpart("parameter " + name);
  }
  // In double quotes sqlite3 would take a name that it does not find for a text.
  static std::string Bracketed(const std::string& name) { return '[' + name + ']'; }
  bool InOutputList(std::size_t i) const {
    for (std::size_t k = 0; k < i; ++k) {
      if (IsKeyword(k, "FROM")) return false;
    }
    return true;
  }
  // A column whose values are others in sqlite3 may be shown, grouped, sorted, counted and
  // compared with its own kind; nothing is computed from it.
  void CheckSpecial(std::size_t i, TokenKind literal) const {
    std::size_t from = i;
    while (from >= 2 && IsSign(from - 1, ".")) from -= 2;
    const auto is_own = [&](std::size_t k) {
      return At(k).kind == literal ||
             (literal == TokenKind::kDate && At(k).kind == TokenKind::kName);
    };
    bool good = !IsArithmetic(i + 1) && (from == 0 || !IsArithmetic(from - 1));
    if (IsComparison(i + 1)) good = good && is_own(i + 2);
    if (from >= 2 && IsComparison(from - 1)) good = good && is_own(from - 2);
    if (IsKeyword(i + 1, "IN") || IsKeyword(i + 1, "LIKE")) good = false;
    if (IsKeyword(i + 1, "NOT")) good = false;
    if (from >= 2 && IsSign(from - 1, "(") && At(from - 2).kind == TokenKind::kFunction) {
      const std::string& function = At(from - 2).text;
      good = good && (function == "COUNT" ||
                      (literal == TokenKind::kDate && (function == "MIN" || function == "MAX")));
    } else if ((from >= 1 && IsSign(from - 1, "(")) || IsSign(i + 1, ")")) {
      for (std::size_t k = 1; k < tokens_.size(); ++k) good = good && !IsArithmetic(k);
    }
    if (!good) throw NoCounterpart("what it computes from " + At(i).text);
  }

  std::vector<Token> tokens_;
  const KnownNames& names_;
  std::vector<std::string>& used_;
  std::vector<std::string> aliases_;
  bool in_date_part_ = false;
};

}  // namespace

std::string TranslateSelect(const std::string& text, const KnownNames& names,
                            std::vector<std::string>& used) {
  return Translation(ReadTokens(text), names, used).Text();
}

}  // namespace mdbadm
