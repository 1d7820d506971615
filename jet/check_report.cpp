#include "jet/check_report.h"

namespace jet::check {

namespace {
constexpr std::uint64_t kKeptOfEach = 10'000;
}

void Report::Problem(const Place& place, std::string text) {
  if (result_->problems++ < kKeptOfEach) {
    Add(Finding::Severity::kProblem, place, std::move(text));
  }
}

void Report::Warning(const Place& place, std::string text) {
  if (result_->warnings++ < kKeptOfEach) {
    Add(Finding::Severity::kWarning, place, std::move(text));
  }
}

void Report::Add(Finding::Severity severity, const Place& place, std::string text) {
  result_->findings.push_back(
      {severity, std::string(place.table), place.page, place.row, std::move(text)});
}

}  // namespace jet::check
