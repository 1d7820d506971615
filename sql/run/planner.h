// From a SELECT to the steps that make its rows.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sql/run/compiler.h"
#include "sql/run/group.h"
#include "sql/run/join.h"

namespace sql {

class Planner {
 public:
  // `select` has its trees. `outer`: of the query around an expression's one.
  Planner(Environment& environment, const Select& select, Compiler* outer = nullptr);
  // The sources of `select` are there already.
  Planner(Environment& environment, const Select& select,
          std::vector<std::unique_ptr<Source>> opened);
  // kNoTable, kUnresolved, kNotSupported, kBadQuery. Once.
  std::unique_ptr<Plan> Run();

 private:
  void OpenSources();
  void LoadSources();
  std::vector<std::size_t> AllSources() const;

  StepPtr PlanRows();
  bool OnReadsOuter(const FromNode& node) const;
  bool AddLookupKey(const Expr& term, std::vector<JoinKey>& keys);
  StepPtr PlanGroups(StepPtr step);
  StepPtr PlanHaving(StepPtr step);
  // After everything that may hold an aggregate is compiled.
  StepPtr FinishGroups(StepPtr step);

  void PlanOutputs();
  void AddStar(const std::string& qualifier);
  void AddColumn(ColumnRef ref);
  void AddOutput(const OutputItem& item);
  void TellNamesApart();

  std::vector<SortKey> SortKeys();
  const Expr& SortExpression(const OrderItem& item) const;
  StepPtr PlanDistinct(StepPtr step);
  NodePtr ValueNode(const Output& output);
  StepPtr PlanOrder(StepPtr step, std::vector<SortKey> keys);
  void FindBase();

  Environment& environment_;
  const Select& select_;
  std::vector<std::unique_ptr<Source>> opened_;
  std::unique_ptr<Plan> plan_;
  Scope scope_;
  Compiler compiler_;
  std::vector<NodePtr> group_keys_, having_;
  std::size_t aggregate_count_ = 0;
  std::size_t expressions_ = 0;
  std::vector<bool> aliased_;
};

}  // namespace sql
