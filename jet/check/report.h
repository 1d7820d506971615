// Where the parts of the integrity checker put what they find.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "jet/check/seen.h"

namespace jet::check {

using Code = Finding::Code;

// What a finding is about, as narrowly as it is known.
struct Place {
  std::string_view table = {};
  std::optional<PageNumber> page = std::nullopt;
  std::optional<std::uint8_t> row = std::nullopt;
  std::string_view other_table = {};  // that claims the same page
};
inline Place At(std::string_view table, PageNumber page) { return {table, page, std::nullopt}; }
inline Place At(std::string_view table, RowId id) { return {table, id.page, id.row}; }

// What is wrong with a part that others put into a finding; no text if nothing is.
struct Fault {
  Code code = Code::kUnreadable;
  std::string text = {};
  explicit operator bool() const { return !text.empty(); }
};

// Keeps a bounded number of findings and counts the rest.
class Report {
 public:
  explicit Report(CheckResult& result) : result_(&result) {}

  void Problem(const Place& place, Code code, std::string text);
  void Warning(const Place& place, Code code, std::string text);
  // Reports a value that files of the original engine do not hold. `of`: what
  // has the field, where the place does not say it.
  void See(const Place& place, Field field, std::int64_t value, std::string_view of = {});
  // What is left out.
  void NotChecked(const Place& place, std::string text);
  std::uint64_t problems() const { return result_->problems; }

 private:
  void Add(Finding::Severity severity, const Place& place, Code code, std::string text);
  CheckResult* result_;
};

}  // namespace jet::check
