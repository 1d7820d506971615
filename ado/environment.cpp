#include "ado/environment.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "ado/error.h"

namespace ado {

Environment::Environment(jet::FileSystem& files, jet::Clock clock, std::size_t cache_bytes)
    : files_(files), clock_(std::move(clock)), cache_bytes_(cache_bytes) {}

Environment::~Environment() = default;

Environment::Action::Action(Environment& environment) : environment_(&environment) {
  if (environment.in_action_) throw std::logic_error("an action inside an action");
  environment.in_action_ = true;
}

Environment::Action::~Action() { environment_->EndAction(); }

void Environment::Action::Commit() {
  for (const auto& database : environment_->open_) {
    if (database->changed()) Translated([&] { database->Commit(); });
  }
}

bool Environment::Action::changed() const {
  return std::ranges::any_of(environment_->open_,
                             [](const auto& database) { return database->changed(); });
}

std::shared_ptr<jet::Database> Environment::FindOpen(const std::string& path) const {
  const std::optional<jet::FileId> wanted = files_.Identify(path);
  const auto found = std::ranges::find_if(open_, [&](const auto& database) {
    const std::optional<jet::FileId> id = database->file_id();
    // A volume without such numbers leaves the path to go by.
    return wanted && id ? *wanted == *id : database->path() == path;
  });
  return found != open_.end() ? *found : nullptr;
}

std::shared_ptr<jet::Database> Environment::Use(const std::string& path,
                                                const std::string& password) {
  return Translated([&] {
    const std::string real = jet::NormalisePath(path);
    if (std::shared_ptr<jet::Database> found = FindOpen(real); found != nullptr) {
      if (!found->AcceptsPassword(password)) {
        throw jet::Error(jet::ErrorCode::kWrongPassword).In(real);
      }
      return found;
    }
    jet::OpenOptions options;
    options.mode = jet::OpenMode::kExclusive;
    options.password = password;
    options.cache_bytes = cache_bytes_;
    options.clock = clock_;
    std::shared_ptr<jet::Database> database = jet::Database::Open(files_, real, options);
    open_.push_back(database);
    return database;
  });
}

void Environment::Changed(jet::Database& database) {
  if (in_action_ || !database.changed()) return;
  const auto entry = std::ranges::find_if(
      open_, [&](const auto& candidate) { return candidate.get() == &database; });
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
    // the caller forgets the database; connections that still hold it get errors.
    return false;
  }
}

void Environment::Release() {
  if (in_action_) return;
  std::erase_if(open_, [](const auto& database) { return database.use_count() == 1; });
}

void Environment::EndAction() {
  in_action_ = false;
  std::erase_if(open_, [](const auto& database) { return !Drop(*database); });
  Release();
}

}  // namespace ado
