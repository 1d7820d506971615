// A ladder: the steps that bring a database from any version to the latest, and
// which of them also repair one.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace db {

struct LadderStep {
  std::int16_t threshold = 0;  // runs when the stored version is at most this
  std::int16_t produces = 0;   // the version afterwards
  std::string name;            // "Data_Up_19"
  std::function<void()> run;   // empty: not there yet
  // Never from this version. Any number can be stored, so none stands for "no exception".
  std::optional<std::int16_t> except = std::nullopt;
};

// The procedures of the Data ladder that also run by themselves.
struct Repairs {
  std::function<void()> reinforcements, flex_names, english_names;
};

class LadderObserver {
 public:
  virtual ~LadderObserver() = default;
  virtual void StepBegins(const LadderStep& step) = 0;
  virtual void StepEnds(const LadderStep& step) = 0;
};

class Ladder {
 public:
  Ladder() = default;
  Ladder(std::int16_t latest, std::vector<LadderStep> steps);

  std::int16_t latest() const { return latest_; }
  const std::vector<LadderStep>& steps() const { return steps_; }
  // The steps that a run would take, in order.
  std::vector<const LadderStep*> Plan(std::int16_t from, std::int16_t to) const;
  // Throws before the first step (ado::kErrMissingStep) if a step of the range is
  // not there. `from` stays fixed for the whole run.
  void Run(std::int16_t from, std::int16_t to, LadderObserver* observer = nullptr) const;

 private:
  std::int16_t latest_ = 0;
  std::vector<LadderStep> steps_;
};

}  // namespace db
