// What is to be known beyond the options of single verbs: the topics of
// `mdbadm help`, which the manual page carries, too.
//
// A text is made of blocks, an empty line between them: a block whose lines
// hold a tab is a list of terms and meanings, one whose lines begin with two
// blanks stands as it is, any other is a paragraph to be filled.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mdbadm {

struct Topic {
  std::string name;   // "exit-codes"
  std::string title;  // "Exit codes"
  std::string text;
};

// All but the list of verbs, which the command line itself knows.
std::vector<Topic> Topics();

// `text` for a terminal of 80 columns.
std::string Laid(std::string_view text);

// The blocks of `text`, as lines.
std::vector<std::vector<std::string>> Blocks(std::string_view text);

}  // namespace mdbadm
