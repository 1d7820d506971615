// Grouping, DISTINCT, ORDER BY and TOP.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "sql/run/compiler.h"
#include "sql/run/step.h"

namespace sql {

// Numbers rows by their values as the sort order sees them: equal values, one
// number. What was seen before letter by letter costs no sort key again.
class ValueIndex {
 public:
  // The number of the row in `context`, counted from 0 in order of appearance.
  std::size_t Find(const std::vector<NodePtr>& nodes, Context& context);
  std::size_t size() const { return by_key_.size(); }
  void Clear() {
    by_raw_.clear();
    by_key_.clear();
  }

 private:
  // Quicker than that of the library: it is made for each row.
  struct Hash {
    std::size_t operator()(const std::string& bytes) const;
  };

  std::unordered_map<std::string, std::size_t, Hash> by_raw_, by_key_;
  std::string raw_, key_;
};

// One row a group: the handles of its first row, and its aggregates.
class GroupStep : public Step {
 public:
  // Without `keys` all rows are one group, also if there is no row.
  GroupStep(Context& context, StepPtr input, std::vector<NodePtr> keys,
            std::vector<Aggregate> aggregates, std::vector<std::size_t> sources);
  bool Next() override;
  void Rewind() override;

 private:
  struct Total {
    double sum = 0;
    std::int64_t count = 0;  // of values that are not Null
  };
  // Of StDev and its kin: the mean so far, and the squares of what differs from it.
  struct Spread {
    double mean = 0, squares = 0;
  };
  void Collect();
  void Accumulate(std::size_t group);
  void AddValue(const Aggregate& aggregate, const Datum& value, std::size_t at);
  void Extend(const Aggregate& aggregate, const Datum& value, std::size_t at);
  void Result(const Aggregate& aggregate, std::size_t at, Datum& out) const;

  Context& context_;
  StepPtr input_;
  std::vector<NodePtr> keys_;
  std::vector<Aggregate> aggregates_;
  ValueIndex groups_;
  SavedRows first_rows_;
  std::vector<Total> totals_;    // by group and aggregate
  std::vector<Datum> extremes_;  // of Min, Max, First, Last; else empty
  std::vector<Spread> spreads_;
  bool has_extremes_ = false, has_spreads_ = false;
  TextKeyCache keys_a_, keys_b_;
  std::vector<Datum> results_;
  bool collected_ = false;
  std::size_t at_ = 0;
};

// Only rows whose values have not been seen.
class DistinctStep : public Step {
 public:
  DistinctStep(Context& context, StepPtr input, const std::vector<NodePtr>& values)
      : context_(context), input_(std::move(input)), values_(values) {}
  bool Next() override;
  void Rewind() override {
    input_->Rewind();
    seen_.Clear();
  }

 private:
  Context& context_;
  StepPtr input_;
  const std::vector<NodePtr>& values_;
  ValueIndex seen_;
};

// Only rows whose rows of some sources have not been seen.
class DistinctRowStep : public Step {
 public:
  DistinctRowStep(Context& context, StepPtr input, std::vector<std::size_t> sources)
      : context_(context), input_(std::move(input)), sources_(std::move(sources)) {}
  bool Next() override;
  void Rewind() override {
    input_->Rewind();
    seen_.clear();
  }

 private:
  Context& context_;
  StepPtr input_;
  std::vector<std::size_t> sources_;
  std::unordered_map<std::string, bool> seen_;
  std::string key_;
};

struct SortKey {
  NodePtr node;
  bool descending = false;
};

// All rows in order, those that are equal as they came.
class SortStep : public Step {
 public:
  // `top`: only so many, and those that equal the last of them.
  SortStep(Context& context, StepPtr input, std::vector<SortKey> keys,
           std::vector<std::size_t> sources, std::size_t aggregates, std::optional<double> top,
           bool percent);
  bool Next() override;
  void Rewind() override;

 private:
  void Collect();
  std::string_view KeyOf(std::size_t row) const;

  Context& context_;
  StepPtr input_;
  std::vector<SortKey> keys_;
  std::size_t aggregates_;
  std::optional<double> top_;
  bool percent_;
  SavedRows rows_;
  std::vector<Datum> saved_aggregates_;
  std::string arena_;
  std::vector<std::size_t> ends_;
  std::vector<std::size_t> order_;
  std::size_t at_ = 0;
  bool collected_ = false;
};

}  // namespace sql
