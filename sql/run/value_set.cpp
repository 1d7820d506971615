#include "sql/run/value_set.h"

#include <functional>

namespace sql {

HashKey ValueSet::NumberKey(double number) { return {NumberBits(number), {}}; }

HashKey ValueSet::TextKey(const Datum& value) const {
  HashKey key;
  AppendSortKey(order_, value, false, key.bytes);
  key.digest = std::hash<std::string>()(key.bytes);
  return key;
}

void ValueSet::Add(const Datum& value) {
  empty_ = false;
  if (value.null()) {
    has_null_ = true;
    return;
  }
  if (value.is_number()) {
    numbers_.Add(NumberKey(value.number));
    if (value.kind == Datum::Kind::kBoolean) booleans_.Add(NumberKey(value.number));
    return;
  }
  texts_.Add(TextKey(value));
  if (!value.is_text()) return;
  if (const auto number = NumberOf(value, false)) {
    read_.Add(NumberKey(*number));
  } else if (const auto word = NumberOf(value, true)) {
    words_.Add(NumberKey(*word));
  }
}

void ValueSet::Finish() {
  for (HashIndex* each : {&numbers_, &booleans_, &texts_, &read_, &words_}) each->Finish();
}

bool ValueSet::Holds(const Datum& value) {
  if (value.is_number()) {
    const HashKey key = NumberKey(value.number);
    return Has(numbers_, key) || Has(read_, key) ||
           (value.kind == Datum::Kind::kBoolean && Has(words_, key));
  }
  if (Has(texts_, TextKey(value))) return true;
  if (!value.is_text()) return false;
  if (const auto number = NumberOf(value, false)) return Has(numbers_, NumberKey(*number));
  const auto word = NumberOf(value, true);
  return word && Has(booleans_, NumberKey(*word));
}

}  // namespace sql
