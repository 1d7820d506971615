#include "ado/connection.h"

#include <algorithm>
#include <utility>

#include "jet/base/ascii.h"

namespace ado {
namespace {

using jet::TrimBlanks;

[[noreturn]] void FailSyntax() { throw Error(kErrFail, "接続文字列の形式が正しくありません。"); }

// Takes a value from the front of `rest`, with the ";" behind it. A quote in a
// quoted value is written twice.
std::string TakeValue(std::string_view& rest) {
  const std::string_view start = TrimBlanks(rest);
  if (start.empty() || (start.front() != '"' && start.front() != '\'')) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    std::string value(TrimBlanks(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return value;
  }
  const char quote = start.front();
  std::string value;
  std::size_t at = rest.find(quote) + 1;
  for (;; ++at) {
    if (at >= rest.size()) FailSyntax();
    if (rest[at] == quote && rest.substr(at + 1, 1) != std::string_view(&quote, 1)) break;
    if (rest[at] == quote) ++at;
    value += rest[at];
  }
  rest.remove_prefix(at + 1);
  while (rest.starts_with(' ')) rest.remove_prefix(1);
  if (!rest.empty() && rest.front() != ';') FailSyntax();
  if (!rest.empty()) rest.remove_prefix(1);
  return value;
}

}  // namespace

ConnectionString ConnectionString::Parse(std::string_view text) {
  ConnectionString parsed;
  while (!TrimBlanks(text).empty()) {
    if (TrimBlanks(text).front() == ';') {
      text.remove_prefix(text.find(';') + 1);
      continue;
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || text.substr(0, equals).find(';') < equals) {
      FailSyntax();
    }
    const std::string key = jet::AsciiLower(TrimBlanks(text.substr(0, equals)));
    text.remove_prefix(equals + 1);
    const bool quoted = TrimBlanks(text).starts_with('"') || TrimBlanks(text).starts_with('\'');
    std::string value = TakeValue(text);
    if (key == "provider") {
      parsed.provider = std::move(value);
    } else if (key == "jet oledb:database password") {
      parsed.password = std::move(value);
    } else if (key == "data source") {
      parsed.data_source = std::move(value);
      parsed.quoted_source = quoted;
    }
  }
  return parsed;
}

std::string ConnectionString::Path() const {
  const std::string_view separators = jet::PathSeparators();
  std::string path = data_source;
  if (quoted_source || separators.find('\\') != std::string_view::npos) return path;
  if (path.find_first_of(separators) == std::string::npos) {
    std::ranges::replace(path, '\\', separators.front());
    return path;
  }
  for (std::size_t at = path.find_last_of(std::string(separators) + '\\');
       at != std::string::npos && path[at] == '\\'; --at) {
    path[at] = separators.front();
    if (at == 0) break;
  }
  return path;
}

Connection::~Connection() {
  if (is_open()) LetGo();
}

void Connection::Open(std::string_view connection_string, std::string_view user,
                      std::string_view password, int) {
  if (is_open()) throw Error::Standard(kErrOpen);
  if (!user.empty() || !password.empty()) throw Error::Standard(kErrInvalidCall);
  const ConnectionString parsed = ConnectionString::Parse(connection_string);
  if (parsed.data_source.empty()) FailSyntax();
  database_ = environment_->Use(parsed.Path(), parsed.password);
}

void Connection::Close() {
  if (!is_open()) throw Error::Standard(kErrClosed);
  LetGo();
}

void Connection::LetGo() {
  for (ConnectionUser* user : std::exchange(users_, {})) user->Forget();
  database_.reset();
  environment_->Release();
}

const std::shared_ptr<jet::Database>& Connection::database() const {
  if (!is_open()) throw Error::Standard(kErrClosed);
  return database_;
}

}  // namespace ado
