// What fmt's headers only declare.
#include <fmt/format-inl.h>

// They promise these of the library, too.
template fmt::detail::thousands_sep_result<char> fmt::detail::thousands_sep_impl(locale_ref);
template char fmt::detail::decimal_point_impl(locale_ref);
