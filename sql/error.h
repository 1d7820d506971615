// Errors of a SELECT text or of running one. An error owns its texts.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

namespace sql {

enum class ErrorCode {
  kSyntax,        // line() and column() say where
  kNotSupported,  // parsed, but not run here
  kNoTable,       // no such table or query
  kUnresolved,    // no such column or source, or an ambiguous name
  kBadValue,      // a value that cannot be converted
  kBadQuery,      // rows of a saved query that make no sense
};

class Error : public std::exception {
 public:
  Error(ErrorCode code, std::string text, std::size_t line = 0, std::size_t column = 0);
  // Names what it is about. Returns *this, to be thrown.
  Error& Of(std::string_view name);
  ErrorCode code() const { return code_; }
  std::size_t line() const { return line_; }      // from 1; 0 = unknown
  std::size_t column() const { return column_; }  // characters, from 1
  const std::string& name() const { return name_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  ErrorCode code_;
  std::string text_, name_;
  std::size_t line_, column_;
};

}  // namespace sql
