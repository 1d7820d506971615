// A session with one database file.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ado/environment.h"
#include "ado/error.h"

namespace ado {

inline constexpr int adOptionUnspecified = -1;

// "Provider=...;Data Source=PATH;Jet OLEDB:Database Password=PW;" Keys are found
// without regard to case; a value may hold anything but ";" or stand in quotes.
struct ConnectionString {
  std::string provider, data_source, password;
  bool quoted_source = false;
  // The data source as this system spells paths. Where a backslash parts no names,
  // the one before the file's name still does, doubled too, as every such text is
  // put together with it; all do in a path without a separator of this system.
  // Others belong to the name of a folder. What stands in quotes is a path as it is.
  std::string Path() const;
  static ConnectionString Parse(std::string_view text);  // kErrFail
};

// What works over an open connection and ends with it.
class ConnectionUser {
 public:
  // The connection is closed: lets go of it, and drops what is pending.
  virtual void Forget() = 0;

 protected:
  ~ConnectionUser() = default;
};

class Connection {
 public:
  explicit Connection(Environment& environment) : environment_(&environment) {}
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // kErrOpen if open. User and password are those of a workgroup and stay empty.
  void Open(std::string_view connection_string, std::string_view user = {},
            std::string_view password = {}, int options = adOptionUnspecified);
  // kErrClosed. Closes the recordsets on it, and drops what they have pending.
  void Close();
  bool is_open() const { return database_ != nullptr; }

  Environment& environment() const { return *environment_; }
  // kErrClosed.
  const std::shared_ptr<jet::Database>& database() const;

  // `user` must leave before it ends.
  void Enter(ConnectionUser& user) { users_.push_back(&user); }
  void Leave(ConnectionUser& user) { std::erase(users_, &user); }

 private:
  void LetGo();
  Environment* environment_;
  std::shared_ptr<jet::Database> database_;
  std::vector<ConnectionUser*> users_;  // the open recordsets
};

}  // namespace ado
