// Cases kept as text beside the tests, where a query needs no quoting:
//
//   -- a comment
//   == a section
//   a question, maybe on
//   several lines => its answer
//
//   a question
//     its answer on lines of its own, up to an empty one
//
// Everywhere \r, \n and \0 stand for what they stand for here.
#pragma once

#include <fmt/format.h>

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database/stored_query.h"
#include "tests/support/temp_db.h"

namespace sql_tests {

struct Case {
  std::string at;  // "queries.txt:12"
  std::string section;
  std::vector<std::string> question, answer;
};

inline std::string Unescaped(std::string line) {
  using test_support::Replace;
  line = Replace(Replace(line, "\\r", "\r"), "\\n", "\n");
  return Replace(line, "\\0", std::string_view("\0", 1));
}

inline std::vector<Case> ReadCases(const std::string& file) {
  constexpr std::string_view kSection = "== ", kIndent = "  ", kAnswer = " =>";
  std::istringstream lines(test_support::ReadFileBytes(SQL_TESTS "/" + file));
  std::vector<Case> cases;
  Case next;
  const auto finish = [&] {
    if (!next.question.empty()) cases.push_back(next);
    next.question.clear();
    next.answer.clear();
  };
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (line.starts_with("--")) continue;
    line = Unescaped(line);
    if (line.starts_with(kSection)) {
      next.section = line.substr(kSection.size());
    } else if (line.empty()) {
      finish();
    } else if (line.starts_with(kIndent)) {
      next.answer.push_back(line.substr(kIndent.size()));
    } else {
      if (next.question.empty()) next.at = fmt::format("{}:{}", file, number);
      const std::size_t arrow = line.find(kAnswer);
      next.question.push_back(line.substr(0, arrow));
      if (arrow == line.npos) continue;
      line.erase(0, arrow + kAnswer.size());
      next.answer = {line.substr(line.starts_with(' ') ? 1 : 0)};
      finish();
    }
  }
  finish();
  return cases;
}

inline std::string Joined(const std::vector<std::string>& lines, std::string_view by) {
  return fmt::format("{}", fmt::join(lines, by));
}

// The five saved queries of an upgraded database, as stored: lone carriage
// returns and no line feed.
inline std::vector<std::string> SavedQueries() {
  std::vector<std::string> texts;
  for (const Case& each : ReadCases("saved_queries.txt")) {
    texts.push_back(Joined(each.question, "\r"));
  }
  return texts;
}

// A row of a stored query as "attribute|flag|name1|name2|expression", "-" for Null.
inline std::string Line(const jet::QueryRow& row) {
  return fmt::format("{}|{}|{}|{}|{}", row.attribute, row.flag ? std::to_string(*row.flag) : "-",
                     row.name1.value_or("-"), row.name2.value_or("-"),
                     row.expression.value_or("-"));
}

inline jet::QueryRow RowOf(std::string line) {
  const auto field = [&line]() -> std::optional<std::string> {
    const std::size_t end = line.find('|');
    const std::string text = line.substr(0, end);
    line.erase(0, end == line.npos ? end : end + 1);
    if (text == "-") return std::nullopt;
    return text;
  };
  jet::QueryRow row;
  row.attribute = static_cast<std::uint8_t>(std::stoi(*field()));
  if (const auto flag = field()) row.flag = static_cast<std::int16_t>(std::stoi(*flag));
  row.name1 = field();
  row.name2 = field();
  row.expression = field();
  return row;
}

// What stands between the first two rows of every query and the end.
inline std::vector<std::string> Lines(const jet::QueryDefinition& definition, int attribute = -1) {
  std::vector<std::string> lines;
  for (const jet::QueryRow& row : definition.rows) {
    const bool frame =
        row.attribute == jet::QueryRow::kStart || row.attribute == jet::QueryRow::kEnd;
    if (attribute < 0 ? !frame : row.attribute == attribute) lines.push_back(Line(row));
  }
  return lines;
}

inline jet::QueryDefinition Definition(const std::vector<std::string>& lines) {
  jet::QueryDefinition definition{{RowOf("0|0|-|-|-"), RowOf("255|-|-|-|-")}};
  for (const std::string& line : lines) definition.rows.push_back(RowOf(line));
  return definition;
}

}  // namespace sql_tests
