// Platform value library: a point in time of the data store.
#pragma once

#include <cstdint>
#include <string>

namespace dravo {

class CTimestamp {
 public:
  explicit CTimestamp(std::int64_t secondsSinceEpoch = 0) : secs(secondsSinceEpoch) {}

  std::int64_t seconds() const { return secs; }

  // The time formatted with the strftime pattern `format`, in UTC when `utc` is true and in the
  // local time zone otherwise. A time that cannot be converted gives the empty text.
  std::string get_time_str(bool utc, char const* format) const;

 private:
  std::int64_t secs;
};

}  // namespace dravo
