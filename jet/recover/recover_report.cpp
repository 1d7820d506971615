#include "jet/recover/recover_report.h"

#include <algorithm>

namespace jet {

bool RecoverReport::complete() const {
  return losses.empty() && std::ranges::all_of(tables, &Table::complete);
}

std::string_view NameOf(RecoverReport::Source source) {
  using enum RecoverReport::Source;
  switch (source) {
    case kFile:
      return "file";
    case kColumns:
      return "columns";
    case kKnown:
      return "known";
    case kOther:
      return "other";
    case kNone:
      return "none";
  }
  return {};
}

}  // namespace jet
