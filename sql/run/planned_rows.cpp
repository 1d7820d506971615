#include "sql/run/planned_rows.h"

#include <utility>

namespace sql {
namespace {

class PlannedRows : public RowSet {
 public:
  explicit PlannedRows(std::unique_ptr<Plan> plan)
      : plan_(std::move(plan)), values_(plan_->outputs.size()), read_(values_.size()) {}

  const std::vector<OutputColumn>& columns() const override { return plan_->columns; }

  bool Next() override {
    if (done_) return false;
    ++row_;
    done_ = !plan_->step->Next();
    if (done_) return false;
    // The caller may change the row before it reads the next one.
    for (std::size_t i = 0; plan_->base != nullptr && i < values_.size(); ++i) value(i);
    return true;
  }

  const jet::Value& value(std::size_t column) const override {
    const Output& output = plan_->outputs[column];
    Context& context = plan_->context;
    if (read_[column].row == row_) return *read_[column].value;
    const jet::Value* value = &values_[column];
    if (output.ref) {
      value = &context.sources[output.ref->source]->ReadValue(context.handles[output.ref->source],
                                                              output.ref->ordinal, values_[column]);
    } else {
      ToValue(output.node->Evaluate(context), plan_->columns[column].type, values_[column]);
    }
    read_[column] = {row_, value};
    return *value;
  }

  std::shared_ptr<jet::Table> base_table() const override {
    return plan_->base == nullptr ? nullptr : plan_->base->table();
  }
  std::optional<jet::RowId> base_row() const override {
    if (plan_->base == nullptr || row_ == 0 || done_) return std::nullopt;
    return jet::RowId::FromPacked(plan_->context.handles[0]);
  }
  std::size_t base_ordinal(std::size_t column) const override {
    return plan_->base == nullptr ? column : plan_->outputs[column].ref->ordinal;
  }

 private:
  struct Read {
    std::uint64_t row = 0;
    const jet::Value* value = nullptr;
  };
  std::unique_ptr<Plan> plan_;
  mutable std::vector<jet::Value> values_;
  mutable std::vector<Read> read_;
  std::uint64_t row_ = 0;
  bool done_ = false;
};

}  // namespace

std::unique_ptr<RowSet> MakePlannedRows(std::unique_ptr<Plan> plan) {
  return std::make_unique<PlannedRows>(std::move(plan));
}

}  // namespace sql
