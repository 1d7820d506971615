#include "jet/base/threads.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace jet {

unsigned ThreadsFor(unsigned jobs) {
  const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
  return jobs == 0 ? cores : std::min(jobs, cores);
}

void RunOnThreads(unsigned threads, std::size_t count,
                  const std::function<void(std::size_t)>& work) {
  std::atomic<std::size_t> next = 0;
  const auto take = [&] {
    for (std::size_t at = next++; at < count; at = next++) work(at);
  };
  std::vector<std::thread> others;
  others.reserve(threads);
  try {
    while (others.size() + 1 < std::min<std::size_t>(threads, count)) others.emplace_back(take);
  } catch (const std::system_error&) {
    // As many as the system gives.
  }
  take();
  for (std::thread& other : others) other.join();
}

}  // namespace jet
