// The terminal, or whatever else the program was started from.
#pragma once

#include <string>
#include <vector>

namespace mdbadm {

// Makes arguments and output UTF-8 for as long as it lives, and output the same
// bytes on every system.
class Console {
 public:
  Console(int argc, char** argv);
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  int argc() const { return static_cast<int>(argv_.size()) - 1; }
  // Ends with a null pointer, as main's own.
  char** argv() { return argv_.data(); }

 private:
  std::vector<std::string> arguments_;
  std::vector<char*> argv_;
  unsigned output_code_page_ = 0;  // to be restored; 0: no console
};

// Whether a person sees what goes to standard error.
bool ErrorsGoToTerminal();
// Whether that person can also answer on standard input.
bool CanAsk();

}  // namespace mdbadm
