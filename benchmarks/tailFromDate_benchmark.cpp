// Cutting a system log from a date, on a 100 MiB log of about 890 000 lines:
// - copy-dominated: the start is before the first line, so the whole log is copied; compared
//   with "cp" of the same file;
// - scan-dominated: the start is after the last line, so every line is read and its stamp
//   parsed; compared with a plain loop of 300-character getline, strptime and timegm.
// Repetitions of the four are interleaved and the best of each is compared at the end. The log is
// generated under the card's log directory and removed at the end.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "CardPaths.h"
#include "logfiles/SystemEventLogFile.h"

namespace {

std::string const kSource = std::string(emailservice::paths::kSystemLogDirectory) + "logSystem.csv";
std::string const kCpCopy = std::string(emailservice::paths::kWorkDirectory) + "cp-logSystem.csv";
constexpr long kFirstStamp = 1714521600;  // 2024-05-01T00:00:00Z

std::int64_t logBytes = 0;
long lastStamp = 0, logLines = 0;

// A deterministic mix of the card's usual system log lines, written in blocks of about 1 MiB.
void writeLog() {
  static char const* const kLevels[] = {"Info", "Info", "Info", "Warning", "Critical"};
  static char const* const kUsers[] = {"admin", "operator", "viewer", "maintenance"};
  static char const* const kEvents[] = {"logged in from", "logged out from", "changed the network settings from",
                                        "acknowledged an alarm from", "downloaded the event log from"};
  std::filesystem::create_directories(emailservice::paths::kSystemLogDirectory);
  std::filesystem::create_directories(emailservice::paths::kWorkDirectory);
  std::ofstream out(kSource, std::ios::binary | std::ios::trunc);
  std::string block = "Date,Level,Message,Session,Interface,Device\n";
  for (long stamp = kFirstStamp; logBytes + static_cast<std::int64_t>(block.size()) < 100LL << 20; ++logLines) {
    unsigned int const n = static_cast<unsigned int>(logLines) * 2654435761U;
    std::time_t const time = stamp;
    std::tm fields{};
    gmtime_r(&time, &fields);
    char date[32], line[256];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &fields);
    block.append(line, static_cast<std::size_t>(std::snprintf(
                           line, sizeof line, "%s.%03u,%s,User %s %s 192.168.%u.%u,Session %u,web interface,card 1\n",
                           date, n % 1000, kLevels[n % 5], kUsers[(n / 5) % 4], kEvents[(n / 7) % 5], (n / 3) % 256,
                           n % 254 + 1, n % 100000)));
    lastStamp = stamp;
    stamp += 1 + logLines % 5;
    if (block.size() > (1 << 20)) {
      out << block;
      logBytes += static_cast<std::int64_t>(block.size());
      block.clear();
    }
  }
  out << block;
  logBytes += static_cast<std::int64_t>(block.size());
}

// The cut with the start before the first line (the whole log copied) or after the last (none).
void tailFromDate(benchmark::State& state, bool scan) {
  emailservice::SystemEventLogFile logFile(emailservice::paths::kWorkDirectory);
  for (auto _ : state) {
    logFile.tailFromDate("logSystem.csv", scan ? lastStamp + 1 : kFirstStamp - 1);
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

void plainCp(benchmark::State& state) {
  std::string const command = "cp '" + kSource + "' '" + kCpCopy + "'";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("cp failed");  // ends the loop
    }
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

// The straightforward scan: a 300-character line buffer, the stamp cut at the first ".",
// strptime and timegm.
void referenceScan(benchmark::State& state) {
  for (auto _ : state) {
    std::ifstream in(kSource);
    char line[300];
    in.getline(line, sizeof line);
    std::int64_t found = 0;
    while (in.getline(line, sizeof line)) {
      line[std::strcspn(line, ".")] = '\0';
      std::tm fields{};
      strptime(line, "%Y-%m-%dT%H:%M:%S", &fields);
      fields.tm_isdst = -1;
      found += lastStamp + 1 <= timegm(&fields) ? 1 : 0;
    }
    benchmark::DoNotOptimize(found);
  }
  state.SetBytesProcessed(state.iterations() * logBytes);
}

// Keeps the best real time per iteration of each benchmark over its repetitions (the least
// disturbed by other work on the machine), for the comparison printed at the end.
class ComparingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        auto const known = best.emplace(run.run_name.function_name, run.GetAdjustedRealTime()).first;
        known->second = std::min(known->second, run.GetAdjustedRealTime());
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void printComparison() const {
    double const mib = static_cast<double>(logBytes) / (1 << 20);
    auto rate = [&](char const* name) { return mib / (best.at(name) / 1000.0); };
    std::printf("\nlog: %.1f MiB, %ld lines\n", mib, logLines);
    std::printf("copy (start before the first line): %.0f MiB/s, cp %.0f MiB/s, time ratio to cp %.2f (goal <= 1.5)\n",
                rate("tailCopy"), rate("plainCp"), best.at("tailCopy") / best.at("plainCp"));
    std::printf("scan (start after the last line): %.0f MiB/s, reference %.0f MiB/s, speed-up %.2f (goal >= 2)\n",
                rate("tailScan"), rate("referenceScan"), best.at("referenceScan") / best.at("tailScan"));
  }

  std::map<std::string, double> best;
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
  for (auto* registered :
       {benchmark::RegisterBenchmark("plainCp", plainCp), benchmark::RegisterBenchmark("tailCopy", tailFromDate, false),
        benchmark::RegisterBenchmark("referenceScan", referenceScan),
        benchmark::RegisterBenchmark("tailScan", tailFromDate, true)}) {
    registered->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(5);
  }
  writeLog();
  ComparingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  if (reporter.best.size() == 4) {
    reporter.printComparison();
  }
  for (std::string const& path :
       {kSource, std::string(emailservice::paths::kWorkDirectory) + "logSystem.csv", kCpCopy}) {
    std::filesystem::remove(path);
  }
  benchmark::Shutdown();
}
