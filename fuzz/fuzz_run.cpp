// Runs mutated inputs through the targets without a fuzzing engine. Workers are
// processes of their own: one that crashes or hangs is reported with its input,
// and the run goes on behind it.
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "fuzz/target.h"

#if defined(__SANITIZE_ADDRESS__)
// No input may ask for more memory than this at once.
extern "C" const char* __asan_default_options() {
  return "max_allocation_size_mb=256:hard_rss_limit_mb=2000:detect_leaks=1";
}
#endif

namespace {

using Seconds = std::chrono::duration<double>;
using SteadyClock = std::chrono::steady_clock;
using fuzz::Target;

struct Options {
  std::vector<std::string> targets;
  double percent = 100;
  std::uint64_t seed = 1;
  std::uint64_t begin = 0;
  int jobs = 2;
  double limit_seconds = 20;
  std::int64_t only = -1;
  std::string write, corpus;
};

// What worker and supervisor share.
struct Slot {
  std::atomic<std::uint64_t> now, end;  // inputs of the chunk under way
};
struct Shared {
  std::atomic<std::uint64_t> next, findings;
  Slot slots[64];
};

// One finding's line; empty if the target kept its promises.
std::string RunInput(const Target& target, const jet::Bytes& input) {
  try {
    target.run(input);
    return {};
  } catch (const std::exception& error) {
    return fmt::format("{}: {}", typeid(error).name(), error.what());
  } catch (...) {
    return "an exception of no known type";
  }
}

class Run {
 public:
  Run(const Target& target, const Options& options)
      : target_(target),
        options_(options),
        seeds_(target.seeds()),
        begin_(options.begin),
        end_(begin_ + static_cast<std::uint64_t>(static_cast<double>(target.inputs) *
                                                 options.percent / 100)),
        chunk_(target.whole_file ? 16 : 2048) {
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    shared_ = new (memory) Shared{};
    shared_->next = begin_;
  }
  ~Run() { munmap(shared_, sizeof(Shared)); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  bool has_seeds() const { return !seeds_.empty(); }
  std::uint64_t inputs() const { return end_ - begin_; }
  std::uint64_t findings() const { return shared_->findings; }

  void Supervise() {
    const auto count = std::min<std::size_t>(static_cast<std::size_t>(options_.jobs), 64);
    workers_.resize(count);
    for (std::size_t i = 0; i < count; ++i) Start(i);
    while (Alive()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      for (std::size_t i = 0; i < count; ++i) Look(i);
    }
  }

 private:
  struct Worker {
    pid_t process = 0;  // 0: has ended
    std::uint64_t seen = 0;
    SteadyClock::time_point since;
    bool killed = false;
  };

  bool Alive() const {
    return std::ranges::any_of(workers_, [](const Worker& w) { return w.process != 0; });
  }

  void Start(std::size_t number) {
    std::fflush(stdout);
    const pid_t process = fork();
    if (process == 0) {
      Work(shared_->slots[number]);
      std::fflush(stdout);
      std::exit(0);  // not _exit: leaks are looked for at the end
    }
    if (process < 0) throw std::runtime_error("no process can be started");
    workers_[number] = {process, shared_->slots[number].now, SteadyClock::now(), false};
  }

  void Work(Slot& slot) {
#if !defined(__SANITIZE_ADDRESS__)
    const rlimit limit{std::uint64_t{3} << 30, std::uint64_t{3} << 30};
    setrlimit(RLIMIT_AS, &limit);
#endif
    for (;;) {
      while (slot.now < slot.end) {
        Input(slot.now);
        ++slot.now;
      }
      const std::uint64_t chunk = shared_->next.fetch_add(chunk_);
      if (chunk >= end_) return;
      slot.end = 0;
      slot.now = chunk;
      slot.end = std::min(end_, chunk + chunk_);
    }
  }

  void Input(std::uint64_t number) {
    std::string said;
    const jet::Bytes input = fuzz::MakeInput(target_, seeds_, options_.seed, number, said);
    const std::string fault = RunInput(target_, input);
    if (!fault.empty()) Tell(number, fault);
  }

  void Tell(std::uint64_t number, const std::string& what) {
    ++shared_->findings;
    std::string said;
    fuzz::MakeInput(target_, seeds_, options_.seed, number, said);
    fmt::print("{} input {} seed {}: {}\n    {}\n", target_.name, number, options_.seed, what,
               said.size() > 300 ? said.substr(0, 300) + " ..." : said);
    std::fflush(stdout);
  }

  void Look(std::size_t number) {
    Worker& worker = workers_[number];
    if (worker.process == 0) return;
    Slot& slot = shared_->slots[number];
    int status = 0;
    if (waitpid(worker.process, &status, WNOHANG) != worker.process) {
      const std::uint64_t now = slot.now;
      if (now != worker.seen) worker.since = SteadyClock::now();
      worker.seen = now;
      const Seconds time = SteadyClock::now() - worker.since;
      if (worker.killed || time.count() < options_.limit_seconds) return;
      kill(worker.process, SIGKILL);
      worker.killed = true;
      return;
    }
    const bool killed = worker.killed;
    worker.process = 0;
    if (status == 0) return;
    if (slot.now >= slot.end) {  // at its very end
      ++shared_->findings;
      fmt::print("{}: a worker ended with status {:X}\n", target_.name, status);
      return;
    }
    Tell(slot.now, killed ? "takes too long" : fmt::format("crashed, status {:X}", status));
    ++slot.now;
    Start(number);
  }

  const Target& target_;
  const Options& options_;
  std::vector<jet::Bytes> seeds_;
  std::uint64_t begin_, end_, chunk_;
  Shared* shared_ = nullptr;
  std::vector<Worker> workers_;
};

std::vector<const Target*> Chosen(const Options& options) {
  std::vector<const Target*> chosen;
  for (const Target& target : fuzz::Targets()) {
    if (options.targets.empty() || std::ranges::count(options.targets, target.name) != 0) {
      chosen.push_back(&target);
    }
  }
  return chosen;
}

void Write(const std::string& path, const jet::Bytes& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

int RunOne(const Target& target, const Options& options) {
  std::string said;
  const jet::Bytes input = fuzz::MakeInput(target, target.seeds(), options.seed,
                                           static_cast<std::uint64_t>(options.only), said);
  fmt::print("{}\n", said);
  std::fflush(stdout);
  if (!options.write.empty()) Write(options.write, input);
  const std::string fault = RunInput(target, input);
  fmt::print("{}\n", fault.empty() ? "kept" : fault);
  return fault.empty() ? 0 : 1;
}

// The seeds as files, to begin with for a fuzzing engine.
void WriteCorpus(const Options& options) {
  for (const Target* target : Chosen(options)) {
    const std::filesystem::path folder = std::filesystem::path(options.corpus) / target->name;
    std::filesystem::create_directories(folder);
    int number = 0;
    for (const jet::Bytes& seed : target->seeds()) {
      Write((folder / fmt::format("seed{}", number++)).string(), seed);
    }
  }
}

int RunAll(const Options& options) {
  const auto began = SteadyClock::now();
  std::uint64_t inputs = 0, files = 0, findings = 0;
  for (const Target* target : Chosen(options)) {
    const auto start = SteadyClock::now();
    Run run(*target, options);
    if (!run.has_seeds()) {
      fmt::print("{}: no file to begin with\n", target->name);
      continue;
    }
    run.Supervise();
    fmt::print("{}: {} inputs in {:.1f} s, seed {}, {} findings\n", target->name, run.inputs(),
               Seconds(SteadyClock::now() - start).count(), options.seed, run.findings());
    std::fflush(stdout);
    inputs += run.inputs();
    if (target->whole_file) files += run.inputs();
    findings += run.findings();
  }
  fmt::print("{} inputs, of them {} whole files, in {:.1f} s, seed {}: {} findings\n", inputs,
             files, Seconds(SteadyClock::now() - began).count(), options.seed, findings);
  return findings == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Runs mutated inputs through the engine");
  app.add_option("--target", options.targets, "only these targets");
  app.add_option("--percent", options.percent, "of the inputs of a long run")
      ->capture_default_str();
  app.add_option("--seed", options.seed, "other inputs")->capture_default_str();
  app.add_option("--begin", options.begin, "number of the first input")->capture_default_str();
  app.add_option("--jobs", options.jobs, "processes at a time")->capture_default_str();
  app.add_option("--limit", options.limit_seconds, "seconds that an input may take")
      ->capture_default_str();
  app.add_option("--only", options.only, "run this input of one target, in this process");
  app.add_option("--write", options.write, "with --only: where to write the input");
  app.add_option("--corpus", options.corpus, "write the seeds into a folder and end");
  CLI11_PARSE(app, argc, argv);
  if (!options.corpus.empty()) {
    WriteCorpus(options);
    return 0;
  }
  if (options.only < 0) return RunAll(options);
  const std::vector<const Target*> chosen = Chosen(options);
  if (chosen.size() != 1) {
    fmt::print(stderr, "--only needs one --target\n");
    return 2;
  }
  return RunOne(*chosen.front(), options);
}
