// What became of a damaged file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/types.h"

namespace jet {

struct RecoverReport {
  // Where a definition or a name comes from.
  enum class Source {
    kFile,     // the definition itself; of a name: the catalog
    kColumns,  // of a definition: its columns alone could be read
    kKnown,    // what the caller knew of such databases
    kOther,    // of a name: another table of the file that speaks of it
    kNone,     // made up
  };
  // A table of the new file.
  struct Table {
    std::string name;
    PageNumber page;  // of the definition in the damaged file, whether or not it is there
    Source definition = Source::kFile, named = Source::kFile;
    std::uint64_t whole = 0;     // rows with all their values
    std::uint64_t partly = 0;    // rows without a long value that is gone
    std::uint64_t lost = 0;      // rows that were there and could not be saved
    std::uint64_t doubtful = 0;  // of those saved: from a page that shows damage
    std::uint64_t beside = 0;    // of those saved: in a table beside it, as they break its rules
    std::vector<std::string> losses;       // in words
    std::vector<PageNumber> lost_pages;    // of the table, ascending
    std::vector<PageNumber> flawed_pages;  // that show damage, ascending
    bool complete() const {
      return partly == 0 && lost == 0 && doubtful == 0 && beside == 0 && losses.empty() &&
             lost_pages.empty();
    }
  };
  std::vector<Table> tables;
  std::vector<std::string> losses;  // that concern no table
  // Pages that are neither free nor understood.
  struct Page {
    PageNumber page;
    std::string text;
  };
  std::vector<Page> pages;
  bool complete() const;
};
std::string_view NameOf(RecoverReport::Source source);  // "file"

}  // namespace jet
