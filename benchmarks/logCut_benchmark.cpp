// The date cut of a system log, one step per run, for scripts/bench-card.sh to time and count:
//   logCut_benchmark generate MIB   writes a log of about MIB MiB as the card's "logSystem.csv" and
//                                   prints its size in bytes, a start time in its middle and one
//                                   after its last line
//   logCut_benchmark cut TIME       cuts that log from TIME into the work directory, once
//   logCut_benchmark reference TIME the straightforward scan of the log: a 300-character getline,
//                                   the stamp cut at the first ".", strptime and timegm
//   logCut_benchmark none 0         nothing: the program's start-up alone
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "CardPaths.h"
#include "logfiles/SystemEventLogFile.h"

namespace {

std::string const kSource = std::string(emailservice::paths::kSystemLogDirectory) + "logSystem.csv";
constexpr long kFirstStamp = 1714521600;  // 2024-05-01T00:00:00Z

// A deterministic mix of the card's usual system log lines (about 118 bytes each), written in
// blocks of about 1 MiB.
int generate(long long mebibytes) {
  static char const* const kLevels[] = {"Info", "Info", "Info", "Warning", "Critical"};
  static char const* const kUsers[] = {"admin", "operator", "viewer", "maintenance"};
  static char const* const kEvents[] = {"logged in from", "logged out from", "changed the network settings from",
                                        "acknowledged an alarm from", "downloaded the event log from"};
  std::filesystem::create_directories(emailservice::paths::kSystemLogDirectory);
  std::filesystem::create_directories(emailservice::paths::kWorkDirectory);
  std::ofstream out(kSource, std::ios::binary | std::ios::trunc);
  std::string block = "Date,Level,Message,Session,Interface,Device\n";
  long long bytes = 0;
  long stamp = kFirstStamp, lastStamp = kFirstStamp, middleStamp = 0;
  for (unsigned int lines = 0; bytes + static_cast<long long>(block.size()) < (mebibytes << 20); ++lines) {
    unsigned int const n = lines * 2654435761U;
    std::time_t const time = stamp;
    std::tm fields{};
    gmtime_r(&time, &fields);
    char date[32], line[256];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &fields);
    int const length = std::snprintf(
        line, sizeof line, "%s.%03u,%s,User %s %s 192.168.%u.%u,Session %u,web interface,card 1\n", date, n % 1000,
        kLevels[n % 5], kUsers[(n / 5) % 4], kEvents[(n / 7) % 5], (n / 3) % 256, n % 254 + 1, n % 100000);
    block.append(line, static_cast<std::size_t>(length));
    if (middleStamp == 0 && bytes + static_cast<long long>(block.size()) >= (mebibytes << 19)) {
      middleStamp = stamp;
    }
    lastStamp = stamp;
    stamp += 1 + static_cast<long>(lines % 5);
    if (block.size() > (1U << 20)) {
      out << block;
      bytes += static_cast<long long>(block.size());
      block.clear();
    }
  }
  out << block;
  bytes += static_cast<long long>(block.size());
  std::printf("%lld %ld %ld\n", bytes, middleStamp, lastStamp + 1);
  return out.flush() ? 0 : 1;
}

int reference(long fromTime) {
  std::ifstream in(kSource);
  char line[300];
  in.getline(line, sizeof line);
  long found = 0;
  while (in.getline(line, sizeof line)) {
    line[std::strcspn(line, ".")] = '\0';
    std::tm fields{};
    strptime(line, "%Y-%m-%dT%H:%M:%S", &fields);
    fields.tm_isdst = -1;
    found += fromTime <= timegm(&fields) ? 1 : 0;
  }
  return found < 0 ? 1 : 0;  // uses the result, so that the scan is not optimised away
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: logCut_benchmark generate MIB | cut TIME | reference TIME | none 0\n");
    return 2;
  }
  std::string const step = argv[1];
  long const value = std::strtol(argv[2], nullptr, 10);
  if (step == "generate") {
    return generate(value);
  }
  if (step == "reference") {
    return reference(value);
  }
  if (step == "none") {
    return 0;
  }
  emailservice::SystemEventLogFile(emailservice::paths::kWorkDirectory).tailFromDate("logSystem.csv", value);
  return 0;
}
