#include "dravo/CTimestamp.h"

#include <ctime>
#include <limits>

namespace dravo {

namespace {

// Converts `value` to the integer type To when To can hold it. A template, so that the cast is
// no useless cast where time_t and int64_t are the same type.
template <typename To, typename From>
bool convertExactly(From value, To& converted) {
  if (value < std::numeric_limits<To>::min() || value > std::numeric_limits<To>::max()) {
    return false;
  }
  converted = static_cast<To>(value);
  return true;
}

}  // namespace

std::string CTimestamp::get_time_str(bool utc, char const* format) const {
  if (format == nullptr) {
    return {};
  }
  // time_t may be 32 bits wide on the card: a time it cannot hold cannot be converted.
  std::time_t converted = 0;
  if (!convertExactly(secs, converted)) {
    return {};
  }
  std::tm fields{};
  bool const ok = utc ? gmtime_r(&converted, &fields) != nullptr : localtime_r(&converted, &fields) != nullptr;
  if (!ok) {
    return {};
  }
  char text[256];
  // The pattern is the caller's by design of this interface.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  auto const length = std::strftime(text, sizeof text, format, &fields);
#pragma GCC diagnostic pop
  return std::string(text, length);
}

}  // namespace dravo
