// Tables checked on several threads, ahead of the walk through the catalog.
//
// Only what was found without any finding is used: the walk would have found none
// either, and takes over the counts and the claims on pages. Every other table it
// checks itself. So the findings and their order are those of one thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jet/check/context.h"

namespace jet::check {

// How the threads read.
struct Parallel {
  unsigned threads = 1;
  // Another pager over the same file; called by any of the threads.
  std::function<std::unique_ptr<Pager>()> open{};
};

class TablesAhead {
 public:
  TablesAhead(const Context& context, const Parallel& parallel);

  // A table that the walk will come to.
  void Add(std::string name, PageNumber definition);
  // Checks those that are worth a thread.
  void Run();
  // The definition of a table that needs no other check, whose counts and claims are
  // now those of the walk; nothing where it must be checked.
  std::optional<TableDef> Take(PageNumber definition);

 private:
  struct Table {
    std::string name;
    PageNumber page;
    std::uint64_t fields = 0;  // to begin with the greatest
    std::optional<TableDef> def{};
    CheckResult counts{};
    Ledger::Claims claims{};
  };

  void Check(Table& table) const;

  const Context* context_;
  const Parallel* parallel_;
  std::vector<Table> tables_;
};

}  // namespace jet::check
