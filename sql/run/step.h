// The steps of a running query. Each sets the handles of its sources in the
// shared context; rows are never copied.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "sql/run/expression.h"

namespace sql {

class Step {
 public:
  virtual ~Step() = default;
  // False at the end. REQUIRES: it was not false before.
  virtual bool Next() = 0;
  // To before the first row.
  virtual void Rewind() = 0;
};
using StepPtr = std::unique_ptr<Step>;

// One row and no source.
class SingleStep : public Step {
 public:
  bool Next() override { return std::exchange(pending_, false); }
  void Rewind() override { pending_ = true; }

 private:
  bool pending_ = true;
};

class ScanStep : public Step {
 public:
  ScanStep(Context& context, std::size_t source) : context_(context), source_(source) {}
  bool Next() override { return context_.sources[source_]->Advance(context_.handles[source_]); }
  void Rewind() override { context_.sources[source_]->Rewind(); }

 private:
  Context& context_;
  std::size_t source_;
};

class FilterStep : public Step {
 public:
  FilterStep(Context& context, StepPtr input, std::vector<NodePtr> conditions)
      : context_(context), input_(std::move(input)), conditions_(std::move(conditions)) {}
  bool Next() override;
  void Rewind() override { input_->Rewind(); }

 private:
  Context& context_;
  StepPtr input_;
  std::vector<NodePtr> conditions_;
};

// Handles of some sources, many rows of them.
class SavedRows {
 public:
  explicit SavedRows(std::vector<std::size_t> sources) : sources_(std::move(sources)) {}
  void Save(const Context& context) {
    for (const std::size_t source : sources_) handles_.push_back(context.handles[source]);
    ++size_;
  }
  void Restore(std::size_t row, Context& context) const {
    const Handle* handle = handles_.data() + row * sources_.size();
    for (const std::size_t source : sources_) context.handles[source] = *handle++;
  }
  void SetNull(Context& context) const {
    for (const std::size_t source : sources_) context.handles[source] = 0;
  }
  std::size_t size() const { return size_; }
  void Clear() {
    handles_.clear();
    size_ = 0;
  }

 private:
  std::vector<std::size_t> sources_;
  std::vector<Handle> handles_;
  std::size_t size_ = 0;
};

// All conditions hold.
inline bool HoldAll(const std::vector<NodePtr>& conditions, Context& context) {
  for (const NodePtr& condition : conditions) {
    if (!Holds(*condition, context)) return false;
  }
  return true;
}

}  // namespace sql
