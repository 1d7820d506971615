// The rows of a query that was planned, and such rows as a source of another query.
#pragma once

#include <memory>

#include "sql/run/plan.h"
#include "sql/run/source.h"

namespace sql {

std::unique_ptr<RowSet> MakePlannedRows(std::unique_ptr<Plan> plan);

// A saved query or one in parentheses, before its rows are loaded into memory.
class QuerySource : public Source {
 public:
  explicit QuerySource(std::unique_ptr<RowSet> rows) : rows_(std::move(rows)) {
    for (const OutputColumn& each : rows_->columns()) {
      columns_.push_back(
          {.name = each.name, .type = each.type, .max_chars = each.max_chars, .scale = each.scale});
    }
  }
  double row_count() const override { return 1000; }  // a guess, for the order of joins
  bool Advance(Handle& handle) override {
    handle = 1;
    return rows_->Next();
  }
  // It is loaded into memory before anything reads it for the second time.
  void Rewind() override {}
  void Read(Handle, std::size_t column, Datum& out) override {
    FromValue(rows_->value(column), columns_[column].scale, out);
  }
  const jet::Value& ReadValue(Handle, std::size_t column, jet::Value&) override {
    return rows_->value(column);
  }

 private:
  std::unique_ptr<RowSet> rows_;
};

}  // namespace sql
