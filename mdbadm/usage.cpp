#include "mdbadm/usage.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace mdbadm {
namespace {

// How many letters must be put in, taken out, replaced or swapped.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before, last(b.size() + 1), now(b.size() + 1);
  std::iota(last.begin(), last.end(), 0U);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    now[0] = i;
    for (std::size_t k = 1; k <= b.size(); ++k) {
      const std::size_t replaced = last[k - 1] + (a[i - 1] == b[k - 1] ? 0 : 1);
      now[k] = std::min({last[k] + 1, now[k - 1] + 1, replaced});
      if (i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1]) {
        now[k] = std::min(now[k], before[k - 2] + 1);
      }
    }
    before = std::exchange(last, now);
  }
  return last.back();
}

std::string Unknown(std::string_view what, const std::string& word,
                    const std::vector<std::string>& words) {
  const std::string nearest = Nearest(word, words);
  return fmt::format("unknown {} \"{}\"; {}{}", what, word,
                     nearest.empty() ? "" : fmt::format("nearest: {}; ", nearest), "see `mdbadm ");
}

bool IsOption(const std::string& word) { return word.size() > 1 && word.starts_with('-'); }

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string NameIn(const std::string& word) {
  return IsOption(word) ? word.substr(0, word.find('=')) : word;
}

// An unknown option before all others: the words behind it may have been meant for it.
std::string Leftover(const CLI::App& verb) {
  const std::vector<std::string> words = verb.remaining();
  const auto option = std::ranges::find_if(words, IsOption);
  if (option != words.end()) return NameIn(*option);
  return words.empty() ? std::string() : words.front();
}

}  // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& words) {
  std::string nearest;
  std::size_t least = word.size() / 3 + 1;  // what is further away is not meant
  for (const std::string& each : words) {
    const bool begun = word.size() > 1 && each.starts_with(word);
    const std::size_t distance = begun ? 0 : Distance(word, each);
    if (distance >= least) continue;
    least = distance;
    nearest = each;
  }
  return nearest;
}

std::string WrongUsage(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> words = app.remaining();
  const std::string word = words.empty() ? std::string() : NameIn(words.front());
  if (IsOption(word)) return Unknown("option", word, OptionsOf(app)) + "--help`";
  if (!word.empty()) {
    std::vector<std::string> verbs;
    for (const CLI::App* verb : app.get_subcommands(nullptr)) {
      if (!verb->get_group().empty()) verbs.push_back(verb->get_name());
    }
    return Unknown("verb", word, verbs) + "help verbs`";
  }
  if (app.get_subcommands().empty()) return "a verb is missing; see `mdbadm help verbs`";
  const CLI::App& verb = *app.get_subcommands().front();
  const std::string& name = verb.get_name();
  const std::string rest = Leftover(verb);
  if (IsOption(rest)) {
    return fmt::format("{}: {}{} --help`", name, Unknown("option", rest, OptionsOf(verb)), name);
  }
  if (!rest.empty()) {
    return fmt::format("{0}: \"{1}\" is one argument too many; see `mdbadm {0} --help`", name,
                       rest);
  }
  return fmt::format("{0}: {1}; see `mdbadm {0} --help`", name, error.what());
}

}  // namespace mdbadm
