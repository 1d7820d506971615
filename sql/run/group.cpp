#include "sql/run/group.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace sql {
namespace {

// Spellings of one value are remembered up to this many, so that the memory
// follows the number of groups.
constexpr std::size_t kMaxSpellings = 200'000;

bool IsExtreme(Aggregation function) {
  return function == Aggregation::kMin || function == Aggregation::kMax ||
         function == Aggregation::kFirst || function == Aggregation::kLast;
}

bool IsSpread(Aggregation function) {
  return function == Aggregation::kStDev || function == Aggregation::kStDevP ||
         function == Aggregation::kVar || function == Aggregation::kVarP;
}

}  // namespace

std::size_t ValueIndex::Hash::operator()(const std::string& bytes) const {
  return XXH3_64bits(bytes.data(), bytes.size());
}

std::size_t ValueIndex::Find(const std::vector<NodePtr>& nodes, Context& context) {
  raw_.clear();
  for (const NodePtr& node : nodes) node->AppendSpelling(context, raw_);
  if (const auto known = by_raw_.find(raw_); known != by_raw_.end()) return known->second;
  key_.clear();
  for (const NodePtr& node : nodes) {
    AppendSortKey(context.order, node->Evaluate(context), false, key_);
  }
  const std::size_t number = by_key_.try_emplace(key_, by_key_.size()).first->second;
  if (by_raw_.size() >= kMaxSpellings) by_raw_.clear();
  by_raw_.emplace(raw_, number);
  return number;
}

GroupStep::GroupStep(Context& context, StepPtr input, std::vector<NodePtr> keys,
                     std::vector<Aggregate> aggregates, std::vector<std::size_t> sources)
    : context_(context),
      input_(std::move(input)),
      keys_(std::move(keys)),
      aggregates_(std::move(aggregates)),
      first_rows_(std::move(sources)),
      results_(aggregates_.size()) {
  has_extremes_ = std::any_of(aggregates_.begin(), aggregates_.end(),
                              [](const Aggregate& each) { return IsExtreme(each.function); });
  has_spreads_ = std::any_of(aggregates_.begin(), aggregates_.end(),
                             [](const Aggregate& each) { return IsSpread(each.function); });
}

bool GroupStep::Next() {
  if (!collected_) Collect();
  if (at_ == first_rows_.size()) return false;
  first_rows_.Restore(at_, context_);
  for (std::size_t i = 0; i < aggregates_.size(); ++i) {
    Result(aggregates_[i], at_ * aggregates_.size() + i, results_[i]);
  }
  context_.aggregates = results_.data();
  ++at_;
  return true;
}

void GroupStep::Rewind() {
  input_->Rewind();
  groups_.Clear();
  first_rows_.Clear();
  totals_.clear();
  extremes_.clear();
  spreads_.clear();
  collected_ = false;
  at_ = 0;
}

void GroupStep::Collect() {
  collected_ = true;
  const auto add_group = [&] {
    first_rows_.Save(context_);
    totals_.resize(totals_.size() + aggregates_.size());
    if (has_extremes_) extremes_.resize(totals_.size());
    if (has_spreads_) spreads_.resize(totals_.size());
  };
  while (input_->Next()) {
    const std::size_t group = keys_.empty() ? 0 : groups_.Find(keys_, context_);
    if (group == first_rows_.size()) add_group();
    Accumulate(group);
  }
  if (!keys_.empty() || first_rows_.size() != 0) return;
  std::fill(context_.handles.begin(), context_.handles.end(), 0);
  add_group();
}

void GroupStep::Accumulate(std::size_t group) {
  std::size_t at = group * aggregates_.size();
  for (const Aggregate& aggregate : aggregates_) {
    Total& total = totals_[at];
    if (aggregate.function == Aggregation::kCountRows) {
      ++total.count;
    } else {
      const Datum& value = aggregate.argument->Evaluate(context_);
      if (aggregate.function == Aggregation::kSum && value.is_number()) {
        ++total.count;
        total.sum += value.number;
      } else {
        AddValue(aggregate, value, at);
      }
    }
    ++at;
  }
}

void GroupStep::AddValue(const Aggregate& aggregate, const Datum& value, std::size_t at) {
  if (IsExtreme(aggregate.function)) return Extend(aggregate, value, at);
  if (value.null()) return;
  Total& total = totals_[at];
  ++total.count;
  if (IsSpread(aggregate.function)) {
    Spread& spread = spreads_[at];
    const double number = NeedNumber(value), before = number - spread.mean;
    spread.mean += before / static_cast<double>(total.count);
    spread.squares += before * (number - spread.mean);
  } else if (aggregate.function != Aggregation::kCount) {
    total.sum += NeedNumber(value);
  }
}

// First and Last are of rows, Null included; Min and Max of values.
void GroupStep::Extend(const Aggregate& aggregate, const Datum& value, std::size_t at) {
  Total& total = totals_[at];
  Datum& extreme = extremes_[at];
  bool take = total.count == 0;
  switch (aggregate.function) {
    case Aggregation::kFirst:
      break;
    case Aggregation::kLast:
      take = true;
      break;
    default:
      if (value.null()) return;
      if (take) break;
      take = Compare(context_.order, value, extreme, keys_a_, keys_b_) ==
             (aggregate.function == Aggregation::kMin ? Ordering::kLess : Ordering::kGreater);
  }
  ++total.count;
  if (take) extreme = value;
}

void GroupStep::Result(const Aggregate& aggregate, std::size_t at, Datum& out) const {
  const Total& total = totals_[at];
  if (IsExtreme(aggregate.function)) {
    out = extremes_[at];
    return;
  }
  switch (aggregate.function) {
    case Aggregation::kCount:
    case Aggregation::kCountRows:
      return out.SetNumber(Datum::Kind::kLong, static_cast<double>(total.count));
    case Aggregation::kAvg:
      if (total.count == 0) return out.SetNull();
      return out.SetNumber(Datum::Kind::kDouble, total.sum / static_cast<double>(total.count));
    case Aggregation::kStDev:
    case Aggregation::kVar:
    case Aggregation::kStDevP:
    case Aggregation::kVarP: {
      const bool sample =
          aggregate.function == Aggregation::kStDev || aggregate.function == Aggregation::kVar;
      const bool root =
          aggregate.function == Aggregation::kStDev || aggregate.function == Aggregation::kStDevP;
      const std::int64_t divisor = total.count - (sample ? 1 : 0);
      if (divisor < 1) return out.SetNull();
      const double variance = spreads_[at].squares / static_cast<double>(divisor);
      return out.SetNumber(Datum::Kind::kDouble, root ? std::sqrt(variance) : variance);
    }
    default:
      if (total.count == 0) return out.SetNull();
      return out.SetNumber(Datum::Kind::kDouble, total.sum);
  }
}

bool DistinctStep::Next() {
  while (input_->Next()) {
    const std::size_t known = seen_.size();
    if (seen_.Find(values_, context_) == known) return true;
  }
  return false;
}

bool DistinctRowStep::Next() {
  while (input_->Next()) {
    key_.clear();
    for (const std::size_t source : sources_) {
      key_.append(reinterpret_cast<const char*>(&context_.handles[source]), sizeof(Handle));
    }
    if (seen_.try_emplace(key_, true).second) return true;
  }
  return false;
}

SortStep::SortStep(Context& context, StepPtr input, std::vector<SortKey> keys,
                   std::vector<std::size_t> sources, std::size_t aggregates,
                   std::optional<double> top, bool percent)
    : context_(context),
      input_(std::move(input)),
      keys_(std::move(keys)),
      aggregates_(aggregates),
      top_(top),
      percent_(percent),
      rows_(std::move(sources)) {}

std::string_view SortStep::KeyOf(std::size_t row) const {
  const std::size_t begin = row == 0 ? 0 : ends_[row - 1];
  return std::string_view(arena_).substr(begin, ends_[row] - begin);
}

void SortStep::Rewind() {
  input_->Rewind();
  rows_.Clear();
  saved_aggregates_.clear();
  arena_.clear();
  ends_.clear();
  collected_ = false;
  at_ = 0;
}

void SortStep::Collect() {
  collected_ = true;
  while (input_->Next()) {
    rows_.Save(context_);
    for (std::size_t i = 0; i < aggregates_; ++i) {
      saved_aggregates_.push_back(context_.aggregates[i]);
    }
    for (const SortKey& key : keys_) {
      AppendSortKey(context_.order, key.node->Evaluate(context_), key.descending, arena_);
    }
    ends_.push_back(arena_.size());
  }
  order_.resize(rows_.size());
  std::iota(order_.begin(), order_.end(), 0);
  std::stable_sort(order_.begin(), order_.end(),
                   [&](std::size_t a, std::size_t b) { return KeyOf(a) < KeyOf(b); });
  if (!top_) return;
  const double all = static_cast<double>(order_.size());
  const double wanted = percent_ ? std::ceil(all * *top_ / 100) : *top_;
  if (wanted >= all) return;
  auto count = static_cast<std::size_t>(wanted);
  if (!keys_.empty() && count > 0) {
    while (count < order_.size() && KeyOf(order_[count]) == KeyOf(order_[count - 1])) ++count;
  }
  order_.resize(count);
}

bool SortStep::Next() {
  if (!collected_) Collect();
  if (at_ == order_.size()) return false;
  const std::size_t row = order_[at_++];
  rows_.Restore(row, context_);
  if (aggregates_ != 0) context_.aggregates = saved_aggregates_.data() + row * aggregates_;
  return true;
}

}  // namespace sql
