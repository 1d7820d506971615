// The manual page and the shell's completion, read off the command line as it
// is declared, so that neither can differ from --help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace mdbadm {

// `mdbadm.1`
std::string ManPage(const CLI::App& app);
std::string BashCompletion(const CLI::App& app);

// The verbs and what they do, as a list of terms and meanings.
std::string VerbList(const CLI::App& app);

}  // namespace mdbadm
