// Text -> rows -> text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "jet/database/database.h"
#include "sql/sql.h"
#include "tests/sql/cases.h"

namespace sql_tests {
namespace {

using jet::QueryDefinition;
using jet::QueryRow;
using sql::ErrorCode;
using testing::HasSubstr;
using testing::StartsWith;

// "line:column message" of the error that `action` ends with.
template <typename Action>
std::string ErrorOf(ErrorCode code, Action&& action) {
  try {
    action();
  } catch (const sql::Error& error) {
    EXPECT_EQ(error.code(), code);
    return fmt::format("{}:{} {}", error.line(), error.column(), error.what());
  }
  return "no error";
}

void ExpectSyntaxError(std::string_view text, std::string_view place, std::string_view message) {
  const std::string error = ErrorOf(ErrorCode::kSyntax, [&] { sql::Parse(text); });
  EXPECT_THAT(error, StartsWith(fmt::format("{} ", place)));
  EXPECT_THAT(error, HasSubstr(std::string(message)));
}

void ExpectReadsBack(const QueryDefinition& rows) {
  const std::string text = sql::Format(rows);
  EXPECT_EQ(Lines(sql::Parse(text)), Lines(rows)) << text;
}

void ExpectCase(const Case& each) {
  const std::string text = Joined(each.question, "\r\n");
  const QueryDefinition rows = Definition(each.answer);
  if (each.section == "reads back") {
    ExpectReadsBack(sql::Parse(text));
  } else if (each.section == "text to rows") {
    EXPECT_EQ(Lines(sql::Parse(text)), each.answer);
    ExpectReadsBack(sql::Parse(text));
  } else if (each.section == "rows to text") {
    EXPECT_EQ(sql::Format(rows), text);
  } else if (each.section == "rows to text and back") {
    EXPECT_EQ(sql::Format(rows), text);
    EXPECT_TRUE(sql::SameQuery(sql::Parse(text), rows));
  } else if (each.section == "same query") {
    EXPECT_TRUE(sql::SameQuery(sql::Parse(text), rows));
  } else if (each.section == "another query") {
    EXPECT_FALSE(sql::SameQuery(sql::Parse(text), rows));
  } else {
    ASSERT_EQ(each.section, "refused rows");
    EXPECT_THAT(ErrorOf(ErrorCode::kBadQuery, [&] { sql::Format(rows); }), HasSubstr(text));
  }
}

TEST(ParserTest, TextsAndRows) {
  for (const Case& each : ReadCases("stored_rows.txt")) {
    SCOPED_TRACE(each.at);
    ExpectCase(each);
  }
  const QueryDefinition rows = sql::Parse("SELECT 1");
  ASSERT_EQ(rows.rows.size(), 3u);
  EXPECT_EQ(Line(rows.rows[0]), "0|1|-|-|-");
  EXPECT_EQ(Line(rows.rows[1]), "255|-|-|-|-");
}

TEST(ParserTest, SyntaxErrorsNameThePlaceAndWhatWasExpected) {
  for (const Case& each : ReadCases("syntax_errors.txt")) {
    SCOPED_TRACE(each.at);
    const std::string& answer = each.answer.at(0);
    const std::size_t blank = answer.find(' ');
    ExpectSyntaxError(each.question[0], answer.substr(0, blank), answer.substr(blank + 1));
  }
  std::istringstream words(
      "ALL AND AS ASC BETWEEN BY DESC DISTINCT DISTINCTROW EQV EXISTS FALSE FROM GROUP HAVING IMP "
      "IN INNER INTO IS JOIN LEFT LIKE MOD NOT NULL ON OR ORDER RIGHT SELECT SET TOP TRUE UNION "
      "WHERE XOR");
  for (std::string word; words >> word;) {
    ExpectSyntaxError("SELECT 1 FROM " + word, "1:15", "expected a table name, found " + word);
  }
  std::string deep(5000, '('), chain = "SELECT 1";
  for (int i = 0; i < 5000; ++i) chain += " OR 1";
  ExpectSyntaxError("", "1:1", "expected SELECT");
  ExpectSyntaxError("SELECT " + deep, "1:107", "nested too deeply");
  ExpectSyntaxError("SELECT a FROM " + deep, "1:114", "nested too deeply");
  ExpectSyntaxError(chain, "1:8", "nested too deeply");
}

TEST(ParserTest, TheFiveSavedQueries) {
  struct Expected {
    std::size_t carriage_returns, sources, outputs, joins, wheres, groups;
  };
  constexpr Expected kExpected[] = {
      {3, 20, 32, 20, 0, 0}, {1, 10, 31, 9, 0, 0}, {2, 1, 37, 0, 1, 0},
      {2, 1, 26, 0, 0, 4},   {0, 1, 28, 0, 0, 5},
  };
  const std::vector<std::string> texts = SavedQueries();
  ASSERT_EQ(texts.size(), std::size(kExpected));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(std::count(texts[i].begin(), texts[i].end(), '\r'), kExpected[i].carriage_returns);
    const QueryDefinition rows = sql::Parse(texts[i]);
    EXPECT_EQ(Lines(rows, QueryRow::kOptions).size(), 0u);
    EXPECT_EQ(Lines(rows, QueryRow::kSource).size(), kExpected[i].sources);
    EXPECT_EQ(Lines(rows, QueryRow::kOutput).size(), kExpected[i].outputs);
    EXPECT_EQ(Lines(rows, QueryRow::kJoin).size(), kExpected[i].joins);
    EXPECT_EQ(Lines(rows, QueryRow::kWhere).size(), kExpected[i].wheres);
    EXPECT_EQ(Lines(rows, QueryRow::kGroupBy).size(), kExpected[i].groups);
    EXPECT_EQ(sql::Parse(sql::Format(rows)), rows);
  }
  const QueryDefinition first = sql::Parse(texts[0]);
  EXPECT_EQ(Lines(first, QueryRow::kSource)[3], "5|-|拾い転送_工法変換|拾い転送_工法変換_1|-");
  EXPECT_THAT(Lines(first, QueryRow::kJoin)[0],
              "7|1|Spec_形状名(角）|Data_角_単体設定|"
              "[Spec_形状名(角）].形状名ＩＤ = Data_角_単体設定.形状名ID");
  EXPECT_THAT(Lines(sql::Parse(texts[3]), QueryRow::kOutput),
              testing::Contains("6|0|ボックスペンキ㎡（プラズマ）の合計|-|"
                                "Sum(拾い転送_Base.[ボックスペンキ㎡（プラズマ）])"));
}

TEST(ParserTest, SavedQueriesOfARealFile) {
  SKIP_WITHOUT_SAMPLES();
  const auto files = jet::MakeSystemFiles();
  const auto database =
      jet::Database::Open(*files, test_support::SamplePath("queryTestV2000.mdb"), {});
  for (const Case& each : ReadCases("real_queries.txt")) {
    SCOPED_TRACE(each.section);
    const QueryDefinition rows = database->LoadQuery(*database->Find(each.section));
    const std::string text = sql::Format(rows);
    EXPECT_EQ(text, Joined(each.question, "\r\n"));
    if (each.section == "SelectQuery" || each.section == "UnionQuery") {
      EXPECT_TRUE(sql::SameQuery(sql::Parse(text), rows));
    }
  }
}

// Whatever is done to a text: it is refused with a place in it, or its rows give
// a text that reads back as the same rows.
TEST(ParserTest, MangledTexts) {
  std::vector<std::string> seeds(
      {"SELECT DISTINCT TOP 5 PERCENT a.*, -b.x ^ 2 & 'q''r' AS [z z] FROM (a LEFT JOIN [b c] AS b "
       "ON (a.x = b.x) AND NOT b.y BETWEEN #1/2/2003# AND 4) RIGHT JOIN c ON a.i = c.i, "
       "(SELECT y FROM t) AS d WHERE a.s LIKE \"[a-c]*\" OR b.u IN (1, 2.5e3, Null) GROUP BY a.x "
       "HAVING Count(*) > 1 ORDER BY 1, a.x DESC WITH OWNERACCESS OPTION;",
       "PARAMETERS [p q] Text (20), r Long; SELECT x FROM t UNION ALL SELECT y FROM u"});
  for (std::string& query : SavedQueries()) seeds.push_back(std::move(query));
  std::mt19937 random(7);
  const auto below = [&](std::size_t count) { return count == 0 ? 0 : random() % count; };
  // Whole characters and parts of some.
  constexpr std::string_view kMarks = "()[],.'\"#*&=- \r\n;Aア1";
  int accepted = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string text = seeds[below(seeds.size())];
    for (std::size_t changes = 1 + below(3); changes > 0; --changes) {
      const std::size_t at = below(text.size()), length = below(12);
      switch (below(4)) {
        case 0:
          text.erase(at, length);
          break;
        case 1:
          text.insert(at, text.substr(below(text.size()), length));
          break;
        case 2:
          text[at] = kMarks[below(kMarks.size())];
          break;
        default:
          text.insert(at, seeds[0].substr(below(seeds[0].size()), length));
      }
    }
    SCOPED_TRACE(text);
    QueryDefinition rows;
    try {
      rows = sql::Parse(text);
    } catch (const sql::Error& error) {
      ASSERT_EQ(error.code(), sql::ErrorCode::kSyntax) << error.what();
      ASSERT_GE(error.line(), 1u);
      continue;
    }
    ++accepted;
    ExpectReadsBack(rows);
  }
  EXPECT_GT(accepted, 200);
}

}  // namespace
}  // namespace sql_tests
