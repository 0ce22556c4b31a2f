// A time written as the e-mails write it: "%F %T" (year-month-day hours:minutes:seconds) in UTC.
#pragma once

#include <ctime>
#include <string>

namespace emailservice {

// The empty text when the time does not fit the calendar.
inline std::string formatUtc(std::time_t time) {
  std::tm brokenDown{};
  if (gmtime_r(&time, &brokenDown) == nullptr) {
    return "";
  }
  char buffer[100];
  std::size_t const length = std::strftime(buffer, sizeof buffer, "%F %T", &brokenDown);
  return std::string(buffer, length);
}

}  // namespace emailservice
