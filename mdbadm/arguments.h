// A command line, turned into the call of a verb.
#pragma once

#include "mdbadm/verbs.h"

namespace mdbadm {

// Runs the verb that the arguments name. Help is printed here; wrong usage is a UsageError, and
// what the verb throws comes through.
ExitCode RunVerb(Program& program, int argc, char** argv);

}  // namespace mdbadm
