// The white space of the "C" locale, as isspace() and the standard conversions (stoi, strptime)
// skip it: blank, \t, \n, \v, \f and \r.
#pragma once

namespace emailservice {

inline constexpr char const kCLocaleBlanks[] = " \t\n\v\f\r";

// Whether `c` is one of kCLocaleBlanks: \t to \r are one run of codes.
inline constexpr bool isCLocaleBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace emailservice
