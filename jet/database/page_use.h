// Which pages of a file are in use, as its tables tell it. A map of free pages
// that is damaged names some of them, too: whoever took such a page would write
// over what belongs to somebody else.
#pragma once

#include <vector>

#include "jet/pages/usage_map.h"

namespace jet {

// The pages of the tables whose definitions begin on the pages `tables`:
// definitions, usage maps, rows, long values, indexes; and those of the file
// itself. Reads definitions and maps, no rows. Where something cannot be
// read, the answer is not complete. kDamaged where two tables share a part, so that
// a change to one would be a change to the other.
PageUse PagesInUse(Pager& pager, std::vector<PageNumber> tables);

}  // namespace jet
