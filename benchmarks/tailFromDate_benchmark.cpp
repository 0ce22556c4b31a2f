// Cutting a system log from a date, on a 100 MiB log of about a million lines:
// - copy-dominated: the start is before the first line, so the whole log is copied; compared
//   with "cp" of the same file;
// - scan-dominated: the start is after the last line, so every line is read and its stamp
//   parsed; compared with a plain loop of 300-character getline, strptime and timegm.
// The log is generated under the card's log directory and removed at the end.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "logfiles/SystemEventLogFile.h"

namespace {

constexpr char const kLogName[] = "logSystem.csv";
constexpr std::int64_t kTargetBytes = 100LL * 1024 * 1024;
constexpr long kFirstStamp = 1714521600;  // 2024-05-01T00:00:00Z
constexpr double kMiB = 1024.0 * 1024.0;

std::string sourcePath() { return std::string(emailservice::paths::kSystemLogDirectory) + kLogName; }
std::string outputPath() { return std::string(emailservice::paths::kWorkDirectory) + kLogName; }
std::string cpOutputPath() { return std::string(emailservice::paths::kWorkDirectory) + "cp-" + kLogName; }

std::int64_t logBytes = 0;
long lastStamp = 0;
long logLines = 0;

// A deterministic mix of the card's usual system log lines.
std::string logLine(long stamp, unsigned int n) {
  static char const* const kLevels[] = {"Info", "Info", "Info", "Warning", "Critical"};
  static char const* const kUsers[] = {"admin", "operator", "viewer", "maintenance"};
  static char const* const kEvents[] = {"logged in from", "logged out from", "changed the network settings from",
                                        "acknowledged an alarm from", "downloaded the event log from"};
  std::time_t const time = stamp;
  std::tm fields{};
  gmtime_r(&time, &fields);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &fields);
  char line[256];
  std::snprintf(line, sizeof line, "%s.%03u,%s,User %s %s 192.168.%u.%u,Session %u,web interface,card 1\n", date,
                n % 1000, kLevels[n % 5], kUsers[(n / 5) % 4], kEvents[(n / 7) % 5], (n / 3) % 256, n % 254 + 1,
                n % 100000);
  return line;
}

void writeLog() {
  std::filesystem::create_directories(emailservice::paths::kSystemLogDirectory);
  std::filesystem::create_directories(emailservice::paths::kWorkDirectory);
  std::ofstream out(sourcePath(), std::ios::binary | std::ios::trunc);
  std::string block = "Date,Level,Message,Session,Interface,Device\n";
  long stamp = kFirstStamp;
  for (unsigned int n = 0; logBytes + static_cast<std::int64_t>(block.size()) < kTargetBytes; ++n) {
    block += logLine(stamp, n * 2654435761U);
    lastStamp = stamp;
    ++logLines;
    stamp += 1 + n % 5;
    if (block.size() > (1 << 20)) {
      out << block;
      logBytes += static_cast<std::int64_t>(block.size());
      block.clear();
    }
  }
  out << block;
  logBytes += static_cast<std::int64_t>(block.size());
}

void tailCopy(benchmark::State& state) {
  emailservice::SystemEventLogFile logFile(emailservice::paths::kWorkDirectory);
  for (auto _ : state) {
    logFile.tailFromDate(kLogName, kFirstStamp - 1);
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

void plainCp(benchmark::State& state) {
  std::string const command = "cp '" + sourcePath() + "' '" + cpOutputPath() + "'";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("cp failed");
      break;
    }
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

void tailScan(benchmark::State& state) {
  emailservice::SystemEventLogFile logFile(emailservice::paths::kWorkDirectory);
  for (auto _ : state) {
    logFile.tailFromDate(kLogName, lastStamp + 1);
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

// The straightforward scan: a 300-character line buffer, the stamp cut at the first ".",
// strptime and timegm.
void referenceScan(benchmark::State& state) {
  for (auto _ : state) {
    std::ifstream in(sourcePath());
    char line[300];
    in.getline(line, sizeof line);
    long const fromTime = lastStamp + 1;
    std::int64_t found = 0;
    while (in.getline(line, sizeof line)) {
      for (char* c = line; *c != '\0'; ++c) {
        if (*c == '.') {
          *c = '\0';
          break;
        }
      }
      std::tm fields{};
      strptime(line, "%Y-%m-%dT%H:%M:%S", &fields);
      fields.tm_isdst = -1;
      if (fromTime <= timegm(&fields)) {
        ++found;
      }
    }
    benchmark::DoNotOptimize(found);
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

BENCHMARK(plainCp)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(tailCopy)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(referenceScan)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(5);
BENCHMARK(tailScan)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(5);

// Keeps the best real time per iteration of every benchmark over its repetitions (the least
// disturbed by other work on the machine), for the comparison printed at the end.
class ComparingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) {
        continue;
      }
      std::string const& name = run.run_name.function_name;
      double const time = run.GetAdjustedRealTime();
      auto const known = milliseconds.find(name);
      milliseconds[name] = known == milliseconds.end() ? time : std::min(known->second, time);
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void printComparison() const {
    double const mib = static_cast<double>(logBytes) / kMiB;
    auto rate = [&](char const* name) { return mib / (milliseconds.at(name) / 1000.0); };
    std::printf("\nlog: %.1f MiB, %ld lines\n", mib, logLines);
    std::printf("copy (start before the first line): %.0f MiB/s, cp %.0f MiB/s, time ratio to cp %.2f (goal <= 1.5)\n",
                rate("tailCopy"), rate("plainCp"), milliseconds.at("tailCopy") / milliseconds.at("plainCp"));
    std::printf("scan (start after the last line): %.0f MiB/s, reference loop %.0f MiB/s, speed-up %.2f (goal >= 2)\n",
                rate("tailScan"), rate("referenceScan"),
                milliseconds.at("referenceScan") / milliseconds.at("tailScan"));
  }

  bool complete() const { return milliseconds.size() == 4; }

 private:
  std::map<std::string, double> milliseconds;
};

}  // namespace

int main(int argc, char** argv) {
  // Repetitions of the four benchmarks are interleaved, so that a burst of other work on the
  // machine does not fall on one of them only. A flag on the command line overrides this.
  std::vector<char*> args(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  writeLog();
  ComparingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  if (reporter.complete()) {
    reporter.printComparison();
  }
  std::filesystem::remove(sourcePath());
  std::filesystem::remove(outputPath());
  std::filesystem::remove(cpOutputPath());
  benchmark::Shutdown();
  return 0;
}
