// Where the cut of a card log from a UTC start time ends its scan: at the first line stamped at or
// after the start.
//
// The scan reads most stamps by their bytes. The card writes every stamp in one canonical form,
// "YYYY-MM-DDTHH:MM:SS" at the start of the line: four digits of year, two each of month, day,
// hour, minute and second, the literals "-", "-", "T", ":", ":" between them, and values in range
// (month 01-12, day 01 to the month's last day by the Gregorian leap rule, hour 00-23, minute and
// second 00-59), with a year whose every second time_t holds. Such stamps stand in the same order
// as their times, so one compares with the start time written the same way byte by byte. Every
// other line (blanks, other widths, out-of-range fields, second 60 or 61, no stamp) and every line
// of a cut whose start time has no such text goes to the parser, parseLogTimestamp.
#pragma once

#include <cstddef>
#include <string_view>

namespace emailservice {

class LogLineReader;

class LogDateCut {
 public:
  explicit LogDateCut(long fromTime);

  // Passes over the lines before the first one stamped at or after the start time, and stops at
  // the text after the last line feed when there is none.
  void skipOlderLines(LogLineReader& input) const;

  // Whether `text`, a line or the start of one, starts with a stamp at or after the start time.
  bool isStampedFrom(std::string_view text) const;

  // Whether `text` starts with a stamp of the canonical form, which is read by its bytes.
  static bool hasCanonicalStamp(std::string_view text);

 private:
  long fromTime;
  bool byBytes = false;    // the start time has a canonical text, and stamps are read by their bytes
  char fromText[20] = {};  // the start time written "YYYY-MM-DDTHH:MM:SS"
};

}  // namespace emailservice
