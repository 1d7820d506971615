// Values to be found again, as the = operator compares them: a number, and a text that
// reads as it, are the same.
#pragma once

#include <string>
#include <vector>

#include "sql/run/join.h"
#include "sql/values/datum.h"

namespace sql {

class ValueSet {
 public:
  explicit ValueSet(jet::SortOrder order) : order_(order) {}
  void Add(const Datum& value);
  // No Add after it.
  void Finish();

  bool Holds(const Datum& value);
  bool has_null() const { return has_null_; }
  bool empty() const { return empty_; }

 private:
  HashKey TextKey(const Datum& value) const;
  static HashKey NumberKey(double number);
  static bool Has(const HashIndex& index, const HashKey& key) {
    return index.First(key) != HashIndex::kNone;
  }

  jet::SortOrder order_;
  HashIndex numbers_{false}, booleans_{false};  // of numbers
  HashIndex texts_{true};                       // texts, and bytes
  HashIndex read_{false}, words_{false};        // of texts: as numbers, as True and False
  bool has_null_ = false, empty_ = true;
};

}  // namespace sql
