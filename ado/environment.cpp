#include "ado/environment.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "ado/error.h"

namespace ado {

Environment::Environment(jet::FileSystem& files, jet::Clock clock, jet::PagerLimits limits)
    : files_(files), clock_(std::move(clock)), limits_(limits) {}

Environment::~Environment() = default;

Environment::Action::Action(Environment& environment) : environment_(&environment) {
  if (environment.in_action_) throw std::logic_error("an action inside an action");
  environment.in_action_ = true;
}

Environment::Action::~Action() { environment_->EndAction(); }

void Environment::Action::Commit() {
  for (const auto& entry : environment_->open_) {
    jet::Database& database = *entry.second;
    if (database.changed()) Translated([&] { database.Commit(); });
  }
}

std::shared_ptr<jet::Database> Environment::Use(const std::string& path,
                                                const std::string& password) {
  return Translated([&] {
    const std::string key = jet::NormalisePath(path);
    if (const auto found = open_.find(key); found != open_.end()) {
      if (!found->second->header().Accepts(password)) {
        throw jet::Error(jet::ErrorCode::kWrongPassword).In(key);
      }
      return found->second;
    }
    jet::OpenOptions options;
    options.mode = jet::OpenMode::kExclusive;
    options.password = password;
    options.limits = limits_;
    options.clock = clock_;
    std::shared_ptr<jet::Database> database = jet::Database::Open(files_, key, options);
    open_.emplace(key, database);
    return database;
  });
}

void Environment::Changed(jet::Database& database) {
  if (in_action_ || !database.changed()) return;
  const auto entry = std::ranges::find_if(
      open_, [&](const auto& candidate) { return candidate.second.get() == &database; });
  if (entry == open_.end()) throw Error::Standard(kErrClosed);  // given up by Drop()
  try {
    Translated([&] { database.Commit(); });
  } catch (...) {
    // Nothing has reached the file: the operation has not happened.
    if (!Drop(database)) open_.erase(entry);
    throw;
  }
}

bool Environment::Drop(jet::Database& database) noexcept {
  try {
    if (database.changed()) database.Discard();
    return true;
  } catch (...) {
    // The file cannot be read back. What is in memory must never be flushed, so
    // the caller forgets the database; who still holds it gets errors.
    return false;
  }
}

void Environment::Release() {
  if (in_action_) return;
  std::erase_if(open_, [](const auto& entry) { return entry.second.use_count() == 1; });
}

void Environment::EndAction() {
  in_action_ = false;
  std::erase_if(open_, [](const auto& entry) { return !Drop(*entry.second); });
  Release();
}

}  // namespace ado
