// Arguments that make no sense, and what was probably meant.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace mdbadm {

// The word that is nearest to `word`, if one is near enough to be meant; else empty.
std::string Nearest(std::string_view word, const std::vector<std::string>& words);

// What is wrong with a command line that `error` came out of.
std::string WrongUsage(const CLI::App& app, const CLI::ParseError& error);

}  // namespace mdbadm
