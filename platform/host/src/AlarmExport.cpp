// The alarm export of the simulated card: the alarm history number 1 as a CSV file.
//
// Layout: the header line "Raised,Cleared,Level,Device,Description", then one line per alarm:
// - Raised: when the alarm became active, "%F %T" UTC;
// - Cleared: when it was cleared, "%F %T" UTC; empty while it is active;
// - Level: the store's text for the level, or the level code when the store has no text;
// - Device: the number of the device the alarm belongs to;
// - Description: the alarm's text; enclosed in double quotes (inner quotes doubled) when it holds
//   a comma, a double quote, a carriage return or a line feed.
// Lines end with a line feed. The history is ordered by the time the alarms became active (the
// store's order for equal times), since the store does not keep it in that order.
//
// The file is written under a temporary name and renamed into place. When the export fails (the
// store raises, or the file cannot be written) no file is left at the path, so that an earlier
// export is never mistaken for the current one; a store failure then passes to the caller.

#include "zorvan/AlarmExport.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "WholeFile.h"
#include "cdsapi/DataAlarms.h"

namespace zorvan {

namespace {

constexpr char const kHeader[] = "Raised,Cleared,Level,Device,Description\n";
constexpr char const kTimeFormat[] = "%F %T";

std::string csvField(std::string const& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (char c : text) {
    quoted += c;
    if (c == '"') {
      quoted += '"';
    }
  }
  return quoted + "\"";
}

std::string csvLine(dravo::CAlarmUpdate const& alarm) {
  std::ostringstream line;
  line << alarm.getTimestamp().get_time_str(true, kTimeFormat) << ',';
  if (alarm.getClearedAt()) {
    line << alarm.getClearedAt()->get_time_str(true, kTimeFormat);
  }
  line << ',';
  if (alarm.getLevelText()) {
    line << csvField(*alarm.getLevelText());
  } else {
    line << alarm.getLevel();
  }
  line << ',' << alarm.getDeviceId() << ',' << csvField(alarm.getDescription()) << '\n';
  return line.str();
}

void sortByRaiseTime(std::vector<dravo::CAlarmUpdate>& alarms) {
  std::stable_sort(alarms.begin(), alarms.end(), [](dravo::CAlarmUpdate const& a, dravo::CAlarmUpdate const& b) {
    return a.getTimestamp().seconds() < b.getTimestamp().seconds();
  });
}

// The history ordered by raise time. A store failure removes the export at `path` and passes on.
std::vector<dravo::CAlarmUpdate> historyByRaiseTime(cdsapi::CdsAccessor& accessor, unsigned long long historyId,
                                                    std::string const& path) {
  std::vector<dravo::CAlarmUpdate> alarms;
  try {
    alarms = accessor.alarmsAccessor().getAlarmHistory(historyId);
  } catch (...) {
    std::remove(path.c_str());
    throw;
  }
  sortByRaiseTime(alarms);
  return alarms;
}

template <typename Iterator>
std::string csvText(Iterator first, Iterator last) {
  std::string text = kHeader;
  for (; first != last; ++first) {
    text += csvLine(*first);
  }
  return text;
}

// 0 when `path` holds `content`; otherwise 1, and no file is left at `path`.
int writeExport(std::string const& path, std::string const& content) {
  if (simcard::replaceFileWhole(path, content)) {
    return 0;
  }
  std::remove(path.c_str());
  return 1;
}

}  // namespace

AlarmExport::AlarmExport(std::string const& exportPath)
    : path(exportPath), cdsAccessor("Alarm export", true), historyId(1) {}

int AlarmExport::generateFiles(unsigned int count, bool newestFirst) {
  std::vector<dravo::CAlarmUpdate> alarms = historyByRaiseTime(cdsAccessor, historyId, path);
  auto const kept = static_cast<std::ptrdiff_t>(std::min<std::size_t>(count, alarms.size()));
  if (newestFirst) {
    return writeExport(path, csvText(alarms.rbegin(), alarms.rbegin() + kept));
  }
  return writeExport(path, csvText(alarms.end() - kept, alarms.end()));
}

int AlarmExport::generateFilesFromDate(unsigned int fromTime) {
  std::vector<dravo::CAlarmUpdate> alarms = historyByRaiseTime(cdsAccessor, historyId, path);
  auto const first = std::find_if(alarms.begin(), alarms.end(), [fromTime](dravo::CAlarmUpdate const& alarm) {
    return alarm.getTimestamp().seconds() >= static_cast<std::int64_t>(fromTime);
  });
  return writeExport(path, csvText(first, alarms.end()));
}

}  // namespace zorvan
