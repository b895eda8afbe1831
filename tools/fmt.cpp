// fmt, compiled: the functions that its headers declare, and the instances that they take to be
// compiled elsewhere.
#include <fmt/format-inl.h>

template fmt::detail::thousands_sep_result<char> fmt::detail::thousands_sep_impl(locale_ref);
template char fmt::detail::decimal_point_impl(locale_ref);
