// A command line, turned into the call of a verb.
#pragma once

#include "tools/mdbadm/verbs.h"

namespace mdbadm {

// Runs the verb that the arguments name. Help and complaints about the usage
// are printed here; what the verb throws comes through.
ExitCode RunVerb(Program& program, int argc, char** argv);

}  // namespace mdbadm
