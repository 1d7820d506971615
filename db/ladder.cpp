#include "db/ladder.h"

#include <algorithm>
#include <utility>

#include "ado/error.h"

namespace db {

Ladder::Ladder(std::int16_t latest, std::vector<LadderStep> steps)
    : latest_(latest), steps_(std::move(steps)) {}

std::vector<const LadderStep*> Ladder::Plan(std::int16_t from, std::int16_t to) const {
  std::vector<const LadderStep*> plan;
  for (const LadderStep& step : steps_) {
    if (from <= step.threshold && from != step.except && step.produces <= to) {
      plan.push_back(&step);
    }
  }
  return plan;
}

void Ladder::Run(std::int16_t from, std::int16_t to, LadderObserver* observer) const {
  // The first version that a step produces is where ladders begin: there is
  // nothing to run for those below it.
  const auto first = std::ranges::min_element(steps_, {}, &LadderStep::produces);
  const int begin = first == steps_.end() ? to : first->produces;
  for (int version = std::max(from + 1, begin); version <= to; ++version) {
    const auto produces = [&](const LadderStep& step) { return step.produces == version; };
    if (std::ranges::none_of(steps_, produces)) {
      throw ado::Error::Standard(ado::kErrMissingStep, std::to_string(version));
    }
  }
  const std::vector<const LadderStep*> plan = Plan(from, to);
  for (const LadderStep* step : plan) {
    if (!step->run) throw ado::Error::Standard(ado::kErrMissingStep, step->name);
  }
  for (const LadderStep* step : plan) {
    if (observer != nullptr) observer->StepBegins(*step);
    step->run();
    if (observer != nullptr) observer->StepEnds(*step);
  }
}

}  // namespace db
