// The provider's errors: a number and a text for the operator.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "jet/base/error.h"
#include "sql/error.h"

namespace ado {

using ErrorNumber = std::int32_t;

inline constexpr ErrorNumber kErrFail = -2147467259;           // 80004005
inline constexpr ErrorNumber kErrWrongPassword = -2147217843;  // 80040E4D
inline constexpr ErrorNumber kErrNoTable = -2147217865;        // 80040E37
inline constexpr ErrorNumber kErrObjectExists = -2147217857;   // 80040E3F
inline constexpr ErrorNumber kErrColumnExists = -2147217858;   // 80040E3E
inline constexpr ErrorNumber kErrSql = -2147217900;            // 80040E14
inline constexpr ErrorNumber kErrIntegrity = -2147217887;      // 80040E21
inline constexpr ErrorNumber kErrMissingStep = -2147221504;    // 80040000
inline constexpr ErrorNumber kErrItemNotFound = 3265;
inline constexpr ErrorNumber kErrNoCurrentRow = 3021;
inline constexpr ErrorNumber kErrClosed = 3704;
inline constexpr ErrorNumber kErrOpen = 3705;
inline constexpr ErrorNumber kErrNoConnection = 3709;
inline constexpr ErrorNumber kErrPendingEdit = 3219;
inline constexpr ErrorNumber kErrReadOnly = 3251;
inline constexpr ErrorNumber kErrOverflow = 6;
inline constexpr ErrorNumber kErrInvalidCall = 5;
inline constexpr ErrorNumber kErrInvalidNull = 94;

class Error : public std::exception {
 public:
  // `text` is Japanese and for the operator, `detail` English and for whoever looks
  // into the matter. `cause` as below.
  Error(ErrorNumber number, std::string text, std::optional<jet::ErrorCode> cause = {},
        std::string_view detail = {});
  // The standard text of the number, with `what` (a field, a table) in it where given.
  static Error Standard(ErrorNumber number, std::string_view what = {});
  static Error From(const jet::Error& error);
  static Error From(const sql::Error& error, std::string_view query = {});

  ErrorNumber number() const { return number_; }
  const std::string& text() const { return text_; }
  // The engine's code, where the engine was the one to refuse.
  std::optional<jet::ErrorCode> cause() const { return cause_; }
  // The text, and behind it the detail where there is one.
  const char* what() const noexcept override { return whole_.c_str(); }

 private:
  ErrorNumber number_;
  std::string text_, whole_;
  std::optional<jet::ErrorCode> cause_;
};

// Runs `body`, turning errors of the floors below into ado::Error; `query` is the
// saved query at work.
template <class Body>
auto Translated(Body&& body, std::string_view query = {}) -> decltype(body()) {
  try {
    return body();
  } catch (const jet::Error& error) {
    throw Error::From(error);
  } catch (const sql::Error& error) {
    throw Error::From(error, query);
  }
}

}  // namespace ado
