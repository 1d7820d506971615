#include "mdbadm/reference.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "mdbadm/help.h"
#include "version.h"

namespace mdbadm {
namespace {

std::vector<const CLI::App*> Verbs(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* verb) { return !verb->get_group().empty(); });
}

// "KIND:{data,tenkai}" is a word for people and the values there are.
std::string TypeWord(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

std::string Values(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const std::size_t from = type.find('{'), to = type.find('}');
  if (from == std::string::npos || to == std::string::npos) return {};
  std::string values = type.substr(from + 1, to - from - 1);
  std::ranges::replace(values, ',', ' ');
  return values;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::vector<const CLI::Option*> Positionals(const CLI::App& verb) {
  return verb.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<const CLI::Option*> Named(const CLI::App& verb) {
  return verb.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

// Text for the typesetter: nothing in it is a command.
std::string Roff(std::string_view text) {
  std::string safe;
  for (char c : text) {
    if (c == '\\') {
      safe += "\\e";
    } else if (c == '-') {
      safe += "\\-";
    } else if (c == '`') {
      safe += "\\(aq";
    } else {
      safe += c;
    }
  }
  if (safe.starts_with('.') || safe.starts_with('\'')) safe.insert(0, "\\&");
  return safe;
}

// "--backup FOLDER", in bold and italics.
std::string OptionHead(const CLI::Option& option) {
  std::string head = "\\fB" + Roff(option.get_name(false, true)) + "\\fR";
  if (TakesValue(option)) head += " \\fI" + Roff(TypeWord(option)) + "\\fR";
  return head;
}

std::string Synopsis(const CLI::App& verb) {
  std::string line = "\\fB" + Roff(verb.get_name()) + "\\fR [\\fIoptions\\fR]";
  for (const CLI::Option* option : Positionals(verb)) {
    std::string word = "\\fI" + Roff(option->get_name(true)) + "\\fR";
    if (option->get_items_expected_max() > 1) word += " ...";
    line += option->get_required() ? " " + word : " [" + word + "]";
  }
  return line;
}

std::string Meaning(const CLI::Option& option) {
  std::string text = option.get_description();
  if (const std::string values = Values(option); !values.empty()) text += " (" + values + ")";
  if (!option.get_default_str().empty()) text += " (default: " + option.get_default_str() + ")";
  return text;
}

// Options that every verb with output has: they are documented once.
bool IsCommon(const CLI::Option& option) {
  constexpr std::string_view kCommon[] = {"help", "password", "json"};
  return option.get_lnames().size() == 1 &&
         std::ranges::find(kCommon, option.get_lnames()[0]) != std::end(kCommon);
}

std::string OptionItem(const CLI::Option& option) {
  return fmt::format(".TP\n{}\n{}\n", OptionHead(option), Roff(Meaning(option)));
}

std::string VerbSection(const CLI::App& verb) {
  std::string page = fmt::format(".SS {}\n{}.\n", Synopsis(verb), Roff(verb.get_description()));
  for (const CLI::Option* option : Positionals(verb)) {
    page +=
        fmt::format(".TP\n\\fI{}\\fR\n{}\n", Roff(option->get_name(true)), Roff(Meaning(*option)));
  }
  for (const CLI::Option* option : Named(verb)) {
    if (!IsCommon(*option)) page += OptionItem(*option);
  }
  return page;
}

std::string TopicSection(const Topic& topic) {
  std::string title = topic.title;
  for (char& c : title) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string page = ".SH \"" + Roff(title) + "\"\n";
  bool first = true;
  for (const std::vector<std::string>& block : Blocks(topic.text)) {
    const bool verbatim = block[0].starts_with("  ");
    if (!first && block[0].find('\t') == std::string::npos) page += ".PP\n";
    if (verbatim) page += ".nf\n";
    for (const std::string& line : block) {
      if (const std::size_t tab = line.find('\t'); tab != std::string::npos) {
        page += ".TP\n\\fB" + Roff(line.substr(0, tab)) + "\\fR\n" + Roff(line.substr(tab + 1));
      } else {
        page += Roff(line);
      }
      page += '\n';
    }
    if (verbatim) page += ".fi\n";
    first = false;
  }
  return page;
}

std::string Joined(const std::vector<std::string>& words) {
  return fmt::format("{}", fmt::join(words, " "));
}

// What to offer for a value: words, folders, files, or nothing.
std::string Offer(const CLI::Option& option) {
  if (const std::string values = Values(option); !values.empty())
    return "_mdbadm_words '" + values + "'";
  const std::string type = TypeWord(option);
  if (type == "FOLDER") return "_mdbadm_folders";
  if (type == "FILE") return "_mdbadm_files";
  return {};
}

std::string CompletionCase(const CLI::App& verb) {
  std::vector<std::string> names;
  std::string values;
  for (const CLI::Option* option : Named(verb)) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    if (!TakesValue(*option)) continue;
    for (const std::string& name : option->get_lnames()) {
      const std::string offer = Offer(*option);
      values += fmt::format("        --{}) {}return ;;\n", name, offer.empty() ? "" : offer + "; ");
    }
  }
  const std::vector<const CLI::Option*> positionals = Positionals(verb);
  const std::string plain = positionals.empty() ? "" : Offer(*positionals.front());
  std::string text = fmt::format("    {})\n", verb.get_name());
  if (!values.empty()) {
    text += "      case $previous in\n" + values + "      esac\n";
  }
  return text + fmt::format("      _mdbadm_options '{}'{} ;;\n", Joined(names),
                            plain.empty() ? "" : " || " + plain);
}

constexpr std::string_view kCompletionBegin = R"(# Completion of mdbadm for bash.

_mdbadm_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$word"); }
_mdbadm_options() { [[ $word == -* ]] && _mdbadm_words "$1"; }
_mdbadm_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$word")
}
_mdbadm_folders() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -d -- "$word")
}

_mdbadm() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb='' i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      verb=${COMP_WORDS[i]}
      break
    fi
  done
)";

constexpr std::string_view kCompletionEnd = R"(  esac
}
complete -F _mdbadm mdbadm
)";

}  // namespace

std::string VerbList(const CLI::App& app) {
  std::string text;
  for (const CLI::App* verb : Verbs(app)) {
    text += verb->get_name() + '\t' + verb->get_description() + '\n';
  }
  return text;
}

std::string ManPage(const CLI::App& app) {
  std::string page = fmt::format(
      ".\\\" Made by `mdbadm reference man`.\n"
      ".TH MDBADM 1 \"\" \"mdbadm {}\" \"User Commands\"\n"
      ".SH NAME\nmdbadm \\- maintain the Data and Tenkai databases without a window\n"
      ".SH SYNOPSIS\n\\fBmdbadm\\fR \\fIverb\\fR [\\fIoptions\\fR] [\\fIarguments\\fR]\n",
      kProgramVersion);
  page += ".SH DESCRIPTION\n";
  for (const std::vector<std::string>& block : Blocks(app.get_description())) {
    for (const std::string& line : block) page += Roff(line) + '\n';
  }
  page += ".SH OPTIONS\nVerbs that read or change a database all take these.\n";
  for (const CLI::Option* option : Named(*Verbs(app).front())) {
    if (IsCommon(*option)) page += OptionItem(*option);
  }
  page += ".SH VERBS\n";
  for (const CLI::App* verb : Verbs(app)) page += VerbSection(*verb);
  for (const Topic& topic : Topics()) page += TopicSection(topic);
  return page + ".SH \"SEE ALSO\"\n.BR db\\-update (1)\n";
}

std::string BashCompletion(const CLI::App& app) {
  std::vector<std::string> verbs{"--help", "--version"};
  std::string cases;
  for (const CLI::App* verb : Verbs(app)) {
    verbs.push_back(verb->get_name());
    cases += CompletionCase(*verb);
  }
  return fmt::format("{}  case $verb in\n    '') _mdbadm_words '{}' ;;\n{}{}", kCompletionBegin,
                     Joined(verbs), cases, kCompletionEnd);
}

}  // namespace mdbadm
