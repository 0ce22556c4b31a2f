#include "CardCheck.h"

#include <google/protobuf/io/tokenizer.h>

#include "CardLocator.h"
#include "DeviceNumbers.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "dravo_config.pb.h"
#include "simcard/CardFile.h"
#include "simcard/ParseMessage.h"
#include "simcard/SimulatedCard.h"

namespace tools {

namespace {

using emailservice::check::Finding;
using emailservice::check::Severity;

// Keeps the first syntax error of a parse, with 1-based numbers (the parser counts from 0, and
// gives line -1 to an error without a place).
class FirstError final : public google::protobuf::io::ErrorCollector {
 public:
  explicit FirstError(CardCheck::Problem& problem) : first(problem) {}

  void AddError(int line, google::protobuf::io::ColumnNumber column, std::string const& message) override {
    if (first.message.empty()) {
      first = {simcard::ParseMessage::reword(message), line + 1, line >= 0 ? column + 1 : 0};
    }
  }

 private:
  CardCheck::Problem& first;
};

}  // namespace

CardCheck::CardCheck(std::string cardFile) : path(std::move(cardFile)), file(simcard::CardFile::nameOf(path)) {}

bool CardCheck::read(std::string& content) {
  std::string error;
  bool const read = simcard::CardFile::read(path, content, error);
  // "NAME: cannot read: ..." without the name, which the report puts before it.
  trouble.message = read ? "" : error.substr(file.size() + 2);
  return read;
}

bool CardCheck::parse(std::string const& content) {
  FirstError collector(trouble);
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&collector);
  where.reset(new google::protobuf::TextFormat::ParseInfoTree);
  parser.WriteLocationsTo(where.get());
  if (!parser.ParseFromString(content, &card)) {
    trouble.message = trouble.message.empty() ? "cannot parse the card file" : trouble.message;
    return false;
  }
  return true;
}

bool CardCheck::run(std::string& error) {
  std::string content;
  if (!read(content)) {
    error = diagnostic();
    return false;
  }
  return check(content, error);
}

bool CardCheck::check(std::string const& content, std::string& error) {
  if (!parse(content)) {
    error = diagnostic();
    return false;
  }
  simcard::SimulatedCard::instance().load(card);
  found = checkLoadedCard();
  return true;
}

std::string CardCheck::diagnostic() const {
  std::string const place =
      trouble.line > 0 ? ":" + std::to_string(trouble.line) + ":" + std::to_string(trouble.column) : "";
  return file + place + ": " + trouble.message;
}

std::vector<Finding> CardCheck::checkLoadedCard() {
  cdsapi::CdsAccessor accessor("emailservice-check");
  auto const& inband = accessor.inbandAccessor();
  using emailservice::kCommunicationModule;
  using emailservice::kMonitoredDevice;
  emailservice::check::DeviceNames const names{
      inband.getDeviceFriendlyName(kCommunicationModule), inband.getDevicePhysicalName(kCommunicationModule),
      inband.getDeviceFriendlyName(kMonitoredDevice), inband.getDevicePhysicalName(kMonitoredDevice)};
  return emailservice::check::checkConfigurations(
      accessor.oobAccessor().get("EMAIL_CONFIGURATION").emailconfigurationlist(), names);
}

std::size_t CardCheck::count(Severity severity) const {
  std::size_t counted = 0;
  for (auto const& finding : found) {
    counted += finding.severity == severity ? 1 : 0;
  }
  return counted;
}

int CardCheck::lineOf(Finding const& finding) const { return where ? CardLocator(card, *where).lineOf(finding) : 0; }

std::string CardCheck::line(Finding const& finding) const {
  int const at = lineOf(finding);
  return file + (at > 0 ? ":" + std::to_string(at) : "") + ": " + emailservice::check::describe(finding);
}

void CardCheck::printLines(std::ostream& out) const {
  for (auto const& finding : found) {
    out << line(finding) << "\n";
  }
}

}  // namespace tools
