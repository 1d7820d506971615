#include "jet/check/report.h"

#include <fmt/format.h>

namespace jet::check {

namespace {
constexpr std::uint64_t kKeptOfEach = 10'000;
}

using Severity = Finding::Severity;

void Report::Problem(const Place& place, Code code, std::string text) {
  if (result_->problems++ < kKeptOfEach) Add(Severity::kProblem, place, code, std::move(text));
}

void Report::Warning(const Place& place, Code code, std::string text) {
  if (result_->warnings++ < kKeptOfEach) Add(Severity::kWarning, place, code, std::move(text));
}

void Report::See(const Place& place, Field field, std::int64_t value, std::string_view of) {
  if (IsSeen(field, value) || result_->unusual++ >= kKeptOfEach) return;
  const SeenField& seen = Seen(field);
  Add(Severity::kUnusual, place, seen.code,
      fmt::format("{}{}{}: {}, which the original engine does not write", of,
                  of.empty() ? "" : ": ", seen.name, value));
}

void Report::NotChecked(const Place& place, std::string text) {
  if (result_->not_checked++ < kKeptOfEach) {
    Add(Severity::kNotChecked, place, Code::kNotChecked, std::move(text));
  }
}

void Report::Add(Severity severity, const Place& place, Code code, std::string text) {
  result_->findings.push_back({severity, code, std::string(place.table),
                               std::string(place.other_table), place.page, place.row,
                               std::move(text)});
}

}  // namespace jet::check
