// A value as a text, for the examples that print some.
#pragma once

#include <string>
#include <type_traits>
#include <variant>

#include "jet/base/value.h"

namespace examples {

// `scale` of a Numeric column.
inline std::string ValueText(const jet::Value& value, int scale = 0) {
  return std::visit(
      [scale](const auto& held) -> std::string {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, jet::Null>) {
          return "-";
        } else if constexpr (std::is_same_v<Held, bool>) {
          return held ? "Yes" : "No";
        } else if constexpr (std::is_arithmetic_v<Held>) {
          std::string text = std::to_string(held);
          if (std::is_floating_point_v<Held>) text.resize(text.size() - 4);  // two decimals
          return text;
        } else if constexpr (std::is_same_v<Held, jet::Currency>) {
          return ValueText(static_cast<double>(held.ten_thousandths) / 10'000);
        } else if constexpr (std::is_same_v<Held, jet::DateTime>) {
          return jet::FormatDateTime(held);
        } else if constexpr (std::is_same_v<Held, std::string>) {
          return held;
        } else if constexpr (std::is_same_v<Held, jet::Guid>) {
          return jet::FormatGuid(held);
        } else if constexpr (std::is_same_v<Held, jet::Numeric>) {
          return jet::FormatNumeric(held, scale);
        } else {
          return std::to_string(held.size()) + " bytes";
        }
      },
      value);
}

}  // namespace examples
