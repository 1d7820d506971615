// What is not inline in fmt, compiled once for all programs: they need no library of
// it, and no other source compiles it again.
#include <fmt/format-inl.h>

template fmt::detail::dragonbox::decimal_fp<float> fmt::detail::dragonbox::to_decimal(
    float) noexcept;
template fmt::detail::dragonbox::decimal_fp<double> fmt::detail::dragonbox::to_decimal(
    double) noexcept;
template fmt::detail::thousands_sep_result<char> fmt::detail::thousands_sep_impl(
    fmt::detail::locale_ref);
template char fmt::detail::decimal_point_impl(fmt::detail::locale_ref);
template void fmt::detail::buffer<char>::append(const char*, const char*);
