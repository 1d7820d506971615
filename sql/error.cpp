#include "sql/error.h"

#include <utility>

#include "jet/base/error.h"

namespace sql {

Error::Error(ErrorCode code, std::string text, std::size_t line, std::size_t column)
    : code_(code), text_(jet::WithoutZeros(std::move(text))), line_(line), column_(column) {}

Error& Error::Of(std::string_view name) {
  name_ = name;
  return *this;
}

}  // namespace sql
