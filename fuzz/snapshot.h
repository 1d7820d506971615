// What can be read of a file, and what its checker says: enough to tell whether
// work on a damaged file did harm beyond what was there already.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "jet/check/check.h"

namespace fuzz {

// A promise that was not kept. What runs a target reports it and goes on.
class Broken : public std::exception {
 public:
  explicit Broken(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

struct Snapshot {
  struct Table {
    std::string name;
    std::map<std::string, std::map<jet::RowId, std::uint64_t>> columns;  // hashes of values
  };
  bool opened = false;
  jet::CheckResult check;
  std::map<std::int32_t, Table> tables;  // by id
};

// A file that its checker calls sound must be readable to the last byte,
// else Broken. Damage itself throws nothing.
Snapshot Look(const std::string& image, const std::string& password);

// What work may change beyond new rows, columns and tables.
struct Allowed {
  // As the engine compares names: one in other letters is still the same.
  struct NameLess {
    bool operator()(std::string_view a, std::string_view b) const;
  };
  std::map<std::string, std::set<std::string, NameLess>, NameLess> columns;  // by table
  std::set<std::string, NameLess> deletions;  // tables that lose rows
  std::set<std::pair<std::int32_t, jet::RowId>> rows;

  // Everything in which two snapshots differ.
  void AddDifference(const Snapshot& before, const Snapshot& after);
};

// Throws Broken: a sound file must stay sound; of a damaged one everything that
// could be read must still read the same, and parts without findings
// must stay without.
void RequireUnharmed(const Snapshot& before, const Snapshot& after, const Allowed& allowed);

}  // namespace fuzz
