#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/random.h"
#include "fuzz/snapshot.h"
#include "fuzz/targets.h"
#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/database/database.h"
#include "jet/database/property.h"
#include "jet/sort/collation.h"
#include "jet/sort/name.h"
#include "sql/sql.h"
#include "tests/support/fault_file.h"

namespace fuzz {
namespace {

void Require(bool kept, const char* promise) {
  if (!kept) throw Broken(promise);
}

// Nothing if the text is refused.
std::optional<jet::QueryDefinition> Parsed(std::string_view text) {
  try {
    return sql::Parse(text);
  } catch (const sql::Error& error) {
    Require(error.what()[0] != 0, "a refusal without a word");
    return std::nullopt;
  }
}

// What the rows of a query become must say the same.
void FormatAndBack(const jet::QueryDefinition& query) {
  const std::string text = sql::Format(query);
  const auto again = Parsed(text);
  if (!again) throw Broken("cannot be parsed: " + text);
  if (!sql::SameQuery(query, *again)) throw Broken("became another query: " + text);
  if (sql::Format(*again) != text) throw Broken("formats otherwise the second time: " + text);
}

// Three tables with a few rows, for queries to run on.
class Tables {
 public:
  Tables() : database_(jet::Database::Create(files_, "/fuzz/tables.mdb", {})) {
    for (const char* name : {"a", "b", "c"}) {
      const auto table = database_->CreateTable(
          {.name = name,
           .columns = {{.name = "ID"},
                       {.name = "名称", .type = jet::ColumnType::kText, .max_size = 20},
                       {.name = "数量", .type = jet::ColumnType::kDouble},
                       {.name = "日", .type = jet::ColumnType::kDateTime},
                       {.name = "x", .type = jet::ColumnType::kBoolean}},
           .indexes = {}});
      for (int i = 0; i < 4; ++i) {
        table->Insert(std::vector<jet::Value>{i, "名" + std::to_string(i), i / 2.0,
                                              i == 2 ? jet::Value{} : jet::DateTime{40182.0 + i},
                                              i % 2 == 0});
      }
    }
  }
  jet::Database& database() { return *database_; }

 private:
  test_support::FaultFiles files_;
  std::unique_ptr<jet::Database> database_;
};

void RunQuery(const jet::QueryDefinition& query) {
  static Tables tables;
  const auto sources = std::ranges::count(query.rows, jet::QueryRow::kSource,
                                          [](const jet::QueryRow& row) { return row.attribute; });
  if (sources > 4) return;  // a product of all does not hang, it is only long
  try {
    const auto rows = sql::Run(tables.database(), query);
    for (int i = 0; i < 300 && rows->Next(); ++i) {
      for (std::size_t k = 0; k < rows->columns().size(); ++k) rows->value(k);
    }
  } catch (const sql::Error&) {
  } catch (const jet::Error& error) {
    Require(error.code() != jet::ErrorCode::kDamaged, "a query found damage in a sound file");
  }
}

}  // namespace

void SqlText(jet::ByteView text) {
  const auto query = Parsed({reinterpret_cast<const char*>(text.data()), text.size()});
  if (!query) return;
  FormatAndBack(*query);
  RunQuery(*query);
}

// A text gives the rows, and its own bytes say how they are spoilt.
void QueryRows(jet::ByteView text) {
  const std::string_view all(reinterpret_cast<const char*>(text.data()), text.size());
  auto query = Parsed(all);
  if (!query) query = Parsed("SELECT a.ID, b.ID FROM a INNER JOIN b ON a.ID = b.ID;");
  std::uint64_t seed = 0;
  for (const std::uint8_t byte : text) seed = seed * 131 + byte;
  Random random(seed);
  for (std::size_t i = random.Below(4); i > 0 && !query->rows.empty(); --i) {
    jet::QueryRow& row = query->rows[random.Below(query->rows.size())];
    std::optional<std::string>* const texts[] = {&row.name1, &row.name2, &row.expression};
    const std::size_t at = random.Below(text.size());
    const std::string piece(all.substr(at, random.Below(12)));
    switch (random.Below(6)) {
      case 0:
        row.attribute = static_cast<std::uint8_t>(random.Below(13));
        break;
      case 1:
        row.flag = static_cast<std::int16_t>(random.OneIn(2) ? random.Below(20) : random.Next());
        break;
      case 2:
        random.Pick(texts)->reset();
        break;
      case 3:
        query->rows.erase(query->rows.begin() + (&row - query->rows.data()));
        break;
      case 4:
        query->rows.emplace_back(row);
        break;
      default:
        *random.Pick(texts) = piece;
    }
  }
  // Such rows need not become a text that reads; what is read of it holds.
  try {
    if (const auto again = Parsed(sql::Format(*query))) FormatAndBack(*again);
  } catch (const sql::Error& error) {
    Require(error.what()[0] != 0, "a refusal without a word");
  }
  RunQuery(*query);
}

void PropertyBlob(jet::ByteView blob) {
  try {
    jet::Properties properties = jet::Properties::Parse(blob);
    const jet::Bytes written = properties.Serialize();
    const jet::Properties again = jet::Properties::Parse(written);
    Require(again.Serialize() == written, "written otherwise the second time");
    Require(again.groups().size() == properties.groups().size(), "groups got lost");
    properties.SetBoolean(jet::kJapanese, "新", jet::kRequiredProperty, true);
    properties.SetText(jet::kJapanese, "番号", jet::kDefaultValueProperty, jet::ColumnType::kMemo,
                       1, "1");
    properties.RemoveColumn(jet::kJapanese, "名称");
    const jet::Properties changed = jet::Properties::Parse(properties.Serialize());
    const jet::Property* required = changed.Find(jet::kJapanese, "新", jet::kRequiredProperty);
    Require(required != nullptr && required->Boolean(), "a new property is not there");
  } catch (const jet::Error& error) {
    Require(error.code() == jet::ErrorCode::kDamaged, "a refusal that is none of damage");
  }
}

namespace {

// Nothing if the text has no key.
std::optional<jet::Bytes> KeyOf(jet::SortOrder order, std::u16string_view text, bool ascending) {
  try {
    jet::Bytes key{0xEE};
    jet::AddTextKey(order, text, ascending, key);
    Require(key.front() == 0xEE && key.size() > 1, "a key is not appended");
    key.erase(key.begin());
    Require(key.size() <= 16 * 255 + 16, "a key without measure");
    return key;
  } catch (const jet::Error& error) {
    Require(error.code() == jet::ErrorCode::kUnsortable || error.code() == jet::ErrorCode::kBadText,
            "a refusal that is none of keys");
    return std::nullopt;
  }
}

void CompareKeys(jet::SortOrder order, std::u16string_view a, std::u16string_view b) {
  const auto up_a = KeyOf(order, a, true), up_b = KeyOf(order, b, true);
  const auto down_a = KeyOf(order, a, false), down_b = KeyOf(order, b, false);
  Require(up_a.has_value() == down_a.has_value(), "a key in one direction only");
  Require(KeyOf(order, a, true) == up_a, "two keys of one text");
  if (!up_a || !up_b) return;
  Require((*up_a < *up_b) == (*down_b < *down_a), "descending is not the reverse");
  Require((*up_a == *up_b) == (*down_a == *down_b), "equal in one direction only");
  const bool prefix =
      up_a->size() < up_b->size() && std::equal(up_a->begin(), up_a->end(), up_b->begin());
  Require(!prefix, "a key begins with another");
}

void CompareNames(jet::SortOrder order, const std::string& a, const std::string& b) {
  const bool same = jet::SameName(order, a, b);
  Require(same == jet::SameName(order, b, a), "the same one way only");
  Require(same == (jet::NameKey(order, a) == jet::NameKey(order, b)), "key and comparison differ");
  Require(jet::SameName(order, a, a), "a name is not itself");
  try {
    jet::CheckNewName(order, a);
    Require(!jet::WhyUnsortable(order, a), "a new name without a key");
  } catch (const jet::Error& error) {
    Require(error.code() != jet::ErrorCode::kDamaged, "a name is called damaged");
  }
}

}  // namespace

void SortKeys(jet::ByteView units) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
    text += static_cast<char16_t>(units[i] | units[i + 1] << 8);
  }
  const std::size_t half = text.size() / 2;
  const std::u16string_view all(text), a = all.substr(0, half), b = all.substr(half);
  for (const jet::SortOrder order : {jet::kJapanese, jet::kGeneral}) {
    CompareKeys(order, all, a);
    CompareKeys(order, a, b);
    const std::string utf8 = jet::DecodePlain(units.first(units.size() / 2 * 2));
    CompareNames(order, utf8, utf8.substr(0, utf8.size() / 2));
    const std::string stored = jet::DecodeText(units);
    CompareNames(order, stored, utf8);
  }
}

}  // namespace fuzz
