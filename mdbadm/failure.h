// What went wrong, for people and for programs.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "mdbadm/exit_code.h"
#include "mdbadm/output.h"

namespace mdbadm {

struct Program;

// A word that stands for a cause in JSON output, and what it means.
struct Reason {
  const char* word;
  const char* meaning;
};
// Every word there is, in the order of the help topic.
std::vector<Reason> Reasons();

struct Failure {
  ExitCode code = ExitCode::kFailed;
  std::string_view reason;  // one of Reasons()
  std::string text;         // for people, with the provider's number where it has one
  std::string file, step;   // where that is known
};

// The failure for an error of any floor.
Failure FailureOf(const std::exception& error);
// The sentence alone.
std::string Describe(const std::exception& error);

// "Data.mdb: Data_Up_27: ..."
std::string Sentence(const Failure& failure);
Json ToJson(const Failure& failure);

// A line on standard error; an object where JSON was asked for.
void Complain(const Program& program, const Failure& failure);

// Says so in the same way if a lock file of other programs lies beside a database
// that could be opened all the same.
void WarnOfLockFile(const Program& program, const std::string& path);

}  // namespace mdbadm
