// A value while a query runs. Every kind of number is a double with a note of
// what it was: so keys of different column types meet by value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "jet/base/column_type.h"
#include "jet/base/types.h"
#include "jet/base/value.h"

namespace sql {

struct Datum {
  enum class Kind : std::uint8_t { kNull, kBoolean, kLong, kDouble, kDate, kText, kBytes };
  Kind kind = Kind::kNull;
  double number = 0;  // kBoolean: -1 and 0; kDate: days
  std::string text;   // kText, kBytes; keeps its buffer

  bool null() const { return kind == Kind::kNull; }
  bool is_number() const { return kind >= Kind::kBoolean && kind <= Kind::kDate; }
  bool is_text() const { return kind == Kind::kText; }

  void SetNull() { kind = Kind::kNull; }
  void SetNumber(Kind what, double value) {
    kind = what;
    number = value;
  }
  void SetBoolean(bool value) { SetNumber(Kind::kBoolean, value ? -1 : 0); }
  void SetText(std::string_view value) {
    kind = Kind::kText;
    text = value;
  }
};

// `scale` of Numeric columns.
void FromValue(const jet::Value& value, int scale, Datum& out);
// As a value of a column type; kBadValue if it is out of that type's range.
void ToValue(const Datum& datum, jet::ColumnType type, jet::Value& out);

// The number that a text reads as, in half or full width; nothing if it is not one.
std::optional<double> ReadNumber(std::string_view text);
std::optional<double> NumberOfText(std::string_view text, bool words);
// The number of a datum that is not Null. Texts "True" and "False" count as -1
// and 0 where `words` says so.
inline std::optional<double> NumberOf(const Datum& datum, bool words) {
  if (datum.is_number()) return datum.number;
  return datum.is_text() ? NumberOfText(datum.text, words) : std::nullopt;
}
// kBadValue for what is not a number.
double NeedNumber(const Datum& datum);
// True, false, or nothing for Null. kBadValue for what is neither.
std::optional<bool> TruthOf(const Datum& datum);
// Of the dates, month names and signs that a database shows: by its sort order.
enum class Language : std::uint8_t { kEnglish, kJapanese };
Language LanguageOf(jet::SortOrder order);

// As text: numbers with up to 15 digits, dates in the short form of the language.
void AppendText(const Datum& datum, Language language, std::string& out);
std::string TextOf(const Datum& datum, Language language);
// A date without its time where that is midnight, a time without its date where that is
// the first day.
std::string DateText(jet::DateTime date, Language language);

// The key of the text that came last. Comparing with a constant, or walking over
// runs of equal texts, makes no key twice.
class TextKeyCache {
 public:
  const std::string& KeyOf(jet::SortOrder order, std::string_view text);

 private:
  bool filled_ = false;
  std::string text_, key_;
};

enum class Ordering { kLess, kEqual, kGreater, kUnordered };

// Compares two non-Null values. Text that is not numeric is unordered with any number.
Ordering Compare(jet::SortOrder order, const Datum& a, const Datum& b, TextKeyCache& keys_a,
                 TextKeyCache& keys_b);

// Appends bytes whose order is that of the data, Null first; equal exactly if
// the data are equal.
void AppendSortKey(jet::SortOrder order, const Datum& datum, bool descending, std::string& out);
// The bits of a number, the same for all spellings of its value.
std::uint64_t NumberBits(double number);
// Appends bytes that are different for data that differ in any way. Cheap.
void AppendRawKey(const Datum& datum, std::string& out);

}  // namespace sql
