#include "sql/run/subquery.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "sql/error.h"
#include "sql/run/value_set.h"

namespace sql {
namespace {

// Answers that are kept, so that memory stays bounded.
constexpr std::size_t kMaxAnswers = 100'000;

class Subquery {
 public:
  explicit Subquery(std::unique_ptr<Plan> plan) : plan_(std::move(plan)) {}

  bool correlated() const { return !plan_->outer.empty(); }
  jet::SortOrder order() const { return plan_->context.order; }
  TypeInfo type() const { return {plan_->columns[0].type, plan_->columns[0].max_chars}; }
  std::size_t columns() const { return plan_->columns.size(); }

  // From the first row on.
  void Begin() {
    if (begun_) plan_->step->Rewind();
    begun_ = true;
  }
  bool Next() { return plan_->step->Next(); }
  const Datum& Value() { return DatumOf(*plan_, 0, scratch_); }

  // What the outer columns are now.
  const std::string& OuterKey() {
    key_.clear();
    for (const NodePtr& each : plan_->outer) {
      AppendRawKey(each->Evaluate(plan_->context), key_);
    }
    return key_;
  }

 private:
  std::unique_ptr<Plan> plan_;
  Datum scratch_;
  std::string key_;
  bool begun_ = false;
};

void RequireOneColumn(const Subquery& query) {
  if (query.columns() == 1) return;
  throw Error(ErrorCode::kBadQuery, "a query in an expression has more than one column");
}

class Scalar : public Node {
 public:
  explicit Scalar(Subquery query) : Node(query.type()), query_(std::move(query)) {}

  const Datum& Evaluate(Context&) override {
    if (!query_.correlated()) {
      if (!computed_) Compute(result_);
      computed_ = true;
      return result_;
    }
    if (answers_.size() >= kMaxAnswers) answers_.clear();
    const auto [answer, missing] = answers_.try_emplace(query_.OuterKey());
    if (missing) {
      // A failure leaves no answer behind.
      try {
        Compute(answer->second);
      } catch (...) {
        answers_.erase(answer);
        throw;
      }
    }
    return answer->second;
  }

 private:
  void Compute(Datum& out) {
    query_.Begin();
    if (!query_.Next()) return out.SetNull();
    out = query_.Value();
    if (query_.Next()) {
      throw Error(ErrorCode::kBadValue, "a query in an expression answers more than one row");
    }
  }

  Subquery query_;
  bool computed_ = false;
  std::unordered_map<std::string, Datum> answers_;
};

class Exists : public Node {
 public:
  explicit Exists(Subquery query) : Node(kTruthType), query_(std::move(query)) {}
  const Datum& Evaluate(Context&) override {
    if (computed_ && !query_.correlated()) return result_;
    query_.Begin();
    result_.SetBoolean(query_.Next());
    computed_ = true;
    return result_;
  }

 private:
  Subquery query_;
  bool computed_ = false;
};

class InQuery : public Node {
 public:
  InQuery(NodePtr value, Subquery query, bool negated)
      : Node(kTruthType),
        value_(std::move(value)),
        query_(std::move(query)),
        negated_(negated),
        set_(query_.order()) {}

  const Datum& Evaluate(Context& context) override {
    const Datum& value = value_->Evaluate(context);
    const auto found = query_.correlated() ? Search(context, value) : LookUp(value);
    if (found) {
      result_.SetBoolean(*found != negated_);
    } else {
      result_.SetNull();
    }
    return result_;
  }

 private:
  std::optional<bool> LookUp(const Datum& value) {
    if (!filled_) {
      query_.Begin();
      while (query_.Next()) set_.Add(query_.Value());
      set_.Finish();
      filled_ = true;
    }
    if (set_.empty()) return false;
    if (value.null()) return std::nullopt;
    if (set_.Holds(value)) return true;
    return set_.has_null() ? std::nullopt : std::optional(false);
  }

  std::optional<bool> Search(Context& context, const Datum& value) {
    query_.Begin();
    bool unknown = false;
    while (query_.Next()) {
      const Datum& each = query_.Value();
      if (each.null() || value.null()) {
        unknown = true;
      } else if (Compare(context.order, value, each, value_keys_, each_keys_) == Ordering::kEqual) {
        return true;
      }
    }
    return unknown ? std::nullopt : std::optional(false);
  }

  NodePtr value_;
  Subquery query_;
  bool negated_, filled_ = false;
  ValueSet set_;
  TextKeyCache value_keys_, each_keys_;
};

class Quantified : public Node {
 public:
  Quantified(Operator op, bool all, NodePtr value, Subquery query)
      : Node(kTruthType), op_(op), all_(all), value_(std::move(value)), query_(std::move(query)) {}

  const Datum& Evaluate(Context& context) override {
    const Datum& value = value_->Evaluate(context);
    if (query_.correlated() || !read_) {
      Read(context);
      read_ = true;
    }
    bool unknown = has_null_ || (value.null() && !values_.empty());
    for (const Datum& each : values_) {
      if (value.null()) break;
      const bool holds =
          Satisfies(op_, Compare(context.order, value, each, value_keys_, each_keys_));
      if (holds == all_) continue;
      result_.SetBoolean(!all_);
      return result_;
    }
    if (unknown) {
      result_.SetNull();
    } else {
      result_.SetBoolean(all_);
    }
    return result_;
  }

 private:
  // The least and the greatest value decide for all between them: equality with ANY, and
  // difference from ALL, are IN.
  void Read(Context& context) {
    values_.clear();
    has_null_ = false;
    std::optional<Datum::Kind> kind;
    bool alike = true;
    query_.Begin();
    while (query_.Next()) {
      const Datum& each = query_.Value();
      if (each.null()) {
        has_null_ = true;
        continue;
      }
      if (!kind) kind = each.kind;
      alike = alike && each.kind == *kind;
      if (!alike || values_.size() < 2) {
        values_.push_back(each);
        if (values_.size() == 2 && alike && Order(context, 0, 1) == Ordering::kGreater) {
          std::swap(values_[0], values_[1]);
        }
        continue;
      }
      if (Compare(context.order, each, values_[0], value_keys_, each_keys_) == Ordering::kLess) {
        values_[0] = each;
      } else if (Compare(context.order, each, values_[1], value_keys_, each_keys_) ==
                 Ordering::kGreater) {
        values_[1] = each;
      }
    }
  }
  Ordering Order(Context& context, std::size_t a, std::size_t b) {
    return Compare(context.order, values_[a], values_[b], value_keys_, each_keys_);
  }

  Operator op_;
  bool all_, read_ = false, has_null_ = false;
  NodePtr value_;
  Subquery query_;
  std::vector<Datum> values_;
  TextKeyCache value_keys_, each_keys_;
};

}  // namespace

NodePtr MakeScalar(std::unique_ptr<Plan> plan) {
  Subquery query(std::move(plan));
  RequireOneColumn(query);
  return std::make_unique<Scalar>(std::move(query));
}

NodePtr MakeExists(std::unique_ptr<Plan> plan) {
  return std::make_unique<Exists>(Subquery(std::move(plan)));
}

NodePtr MakeInQuery(NodePtr value, std::unique_ptr<Plan> plan, bool negated) {
  Subquery query(std::move(plan));
  RequireOneColumn(query);
  return std::make_unique<InQuery>(std::move(value), std::move(query), negated);
}

NodePtr MakeQuantified(Operator op, bool all, NodePtr value, std::unique_ptr<Plan> plan) {
  const bool is_in = op == Operator::kEqual && !all, is_not_in = op == Operator::kNotEqual && all;
  if (is_in || is_not_in) return MakeInQuery(std::move(value), std::move(plan), is_not_in);
  Subquery query(std::move(plan));
  RequireOneColumn(query);
  return std::make_unique<Quantified>(op, all, std::move(value), std::move(query));
}

}  // namespace sql
