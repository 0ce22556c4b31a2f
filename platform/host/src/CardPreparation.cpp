#include "simcard/CardPreparation.h"

#include <filesystem>
#include <fstream>

#include "CardPaths.h"

namespace simcard {

namespace {

namespace fs = std::filesystem;

bool makeDirectory(std::string const& directory, std::string& error) {
  std::error_code failure;
  fs::create_directories(directory, failure);
  if (failure) {
    error = "cannot create " + directory + ": " + failure.message();
    return false;
  }
  return true;
}

bool writeFile(std::string const& path, std::string const& content, std::string& error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  if (!out) {
    error = "cannot write " + path;
    return false;
  }
  return true;
}

// The measures service keeps its records in "records.csv" of its directory; a card without
// records has none, so that a file of an earlier run does not stand in for them.
bool writeMeasures(std::string const& directory, bool present, std::string const& records, std::string& error) {
  if (!makeDirectory(directory, error)) {
    return false;
  }
  std::string const path = directory + "/records.csv";
  if (!present) {
    std::error_code ignored;
    fs::remove(path, ignored);
    return true;
  }
  return writeFile(path, records, error);
}

}  // namespace

bool CardPreparation::prepare(std::string& error) const {
  return makeDirectory(emailservice::paths::kWorkDirectory, error) &&
         makeDirectory(emailservice::paths::kPersistentDirectory, error) && writeSystemLogs(error) &&
         writeMeasures(emailservice::paths::kUpsMeasuresDirectory, state.has_upsmeasurerecords(),
                       state.upsmeasurerecords(), error) &&
         writeMeasures(emailservice::paths::kSensorMeasuresDirectory, state.has_sensormeasurerecords(),
                       state.sensormeasurerecords(), error);
}

bool CardPreparation::writeSystemLogs(std::string& error) const {
  std::string const directory = emailservice::paths::kSystemLogDirectory;
  if (!makeDirectory(directory, error)) {
    return false;
  }
  for (auto const& log : state.systemlogs()) {
    // A log is a plain file of the log directory; a path could write anywhere.
    if (log.name().empty() || log.name().find('/') != std::string::npos || log.name() == "." || log.name() == "..") {
      error = "bad system log name '" + log.name() + "' in the card file";
      return false;
    }
    if (!writeFile(directory + log.name(), log.content(), error)) {
      return false;
    }
  }
  return true;
}

}  // namespace simcard
