// Work on several threads, for what reads a whole file. The one place that starts any.
#pragma once

#include <cstddef>
#include <functional>
#include <future>
#include <utility>

namespace jet {

// How many threads to use where `jobs` are allowed; 0: as many as there are cores.
// Never more than cores, and one at least.
unsigned ThreadsFor(unsigned jobs);

// Calls work(0) to work(count - 1), each once, on up to `threads` threads of which the
// caller's is one, and returns when all are done. REQUIRES: `work` does not throw.
void RunOnThreads(unsigned threads, std::size_t count,
                  const std::function<void(std::size_t)>& work);

// On a thread of its own, if `threads` allow one and there is one to be had; else when
// it is waited for.
template <typename Work>
auto StartBeside(unsigned threads, Work work) {
  const auto policy =
      threads > 1 ? std::launch::async | std::launch::deferred : std::launch::deferred;
  return std::async(policy, std::move(work));
}

}  // namespace jet
