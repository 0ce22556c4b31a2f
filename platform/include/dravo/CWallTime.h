// Platform value library: a wall-clock time with the text format it is shown in.
#pragma once

#include <cstdint>
#include <string>

namespace dravo {

class CWallTime {
 public:
  // `seconds` since 1970-01-01 00:00:00 UTC; `format` is a strftime pattern for its text form.
  CWallTime(std::int64_t seconds, std::string format) : secs(seconds), fmt(std::move(format)) {}

  std::int64_t seconds() const { return secs; }
  std::string const& format() const { return fmt; }

 private:
  std::int64_t secs;
  std::string fmt;
};

}  // namespace dravo
