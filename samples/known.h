// What the two databases look like, version by version: to know a damaged file again.
#pragma once

#include <optional>
#include <vector>

#include "db/kind.h"
#include "jet/recover/recover.h"

namespace samples {

// The tables of every version, of one kind or of both, as the ladders make them.
std::vector<jet::KnownDatabase> KnownDatabases(std::optional<db::Kind> kind);

}  // namespace samples
