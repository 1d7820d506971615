#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "tests/support/files.h"
#include "tests/support/process.h"

namespace test_support {
namespace {

// For the output of a program; there even if it is killed before its first step.
int NewFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) throw std::runtime_error("cannot write " + path);
  return file;
}

}  // namespace

Ending RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                  std::chrono::microseconds limit) {
  const TempFolder folder;
  const std::string out = folder.File("out"), err = folder.File("err");
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  const int out_file = NewFile(out), err_file = NewFile(err);
  int alive[2];  // the read end sees the end of the child
  if (::pipe2(alive, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const pid_t child = ::fork();
  if (child == 0) {
    if (::dup2(out_file, STDOUT_FILENO) < 0 || ::dup2(err_file, STDERR_FILENO) < 0) ::_exit(126);
    ::fcntl(alive[1], F_SETFD, 0);
    ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  for (const int file : {alive[1], out_file, err_file}) ::close(file);
  pollfd end{alive[0], POLLIN, 0};
  const timespec wait{static_cast<time_t>(limit.count() / 1'000'000),
                      static_cast<long>(limit.count() % 1'000'000 * 1000)};
  if (::ppoll(&end, 1, &wait, nullptr) == 0) ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  ::close(alive[0]);
  std::optional<int> exit_status;
  if (WIFEXITED(status)) exit_status = WEXITSTATUS(status);
  return {exit_status, ReadFileBytes(out), ReadFileBytes(err)};
}

bool HasProgram(const std::string& name) {
  return std::system(("command -v " + name + " >/dev/null").c_str()) == 0;
}

}  // namespace test_support
