// What a planned query is made of; the steps point into the context.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "sql/run/scope.h"
#include "sql/run/step.h"
#include "sql/sql.h"

namespace sql {

struct Output {
  NodePtr node;                  // none for a plain column
  std::optional<ColumnRef> ref;  // of a plain column
};

struct Plan {
  Context context;
  std::vector<OutputColumn> columns;
  std::vector<Output> outputs;
  std::vector<NodePtr> distinct;
  StepPtr step;
  TableSource* base = nullptr;
  // The columns of outer queries that a query within an expression reads; none: it
  // answers the same for each of their rows.
  std::vector<NodePtr> outer;
};

// The value of an output for the current row.
inline const Datum& DatumOf(Plan& plan, std::size_t output, Datum& scratch) {
  const Output& out = plan.outputs[output];
  if (!out.ref) return out.node->Evaluate(plan.context);
  const Handle handle = plan.context.handles[out.ref->source];
  plan.context.sources[out.ref->source]->Read(handle, out.ref->ordinal, scratch);
  return scratch;
}

}  // namespace sql
