#include "CardCheck.h"

#include <cstdio>
#include <ostream>

#include "DeviceNumbers.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "dravo_config.pb.h"
#include "simcard/CardFile.h"
#include "simcard/SimulatedCard.h"

namespace tools {

namespace {

using emailservice::check::Finding;
using emailservice::check::Scope;
using emailservice::check::Severity;

// Length of the UTF-8 sequence that starts `text` at `at`, or 0 when it is not valid UTF-8.
std::size_t utf8Length(std::string const& text, std::size_t at) {
  auto const lead = static_cast<unsigned char>(text[at]);
  std::size_t length = 0;
  if (lead < 0x80) {
    length = 1;
  } else if (lead >= 0xC2 && lead < 0xE0) {
    length = 2;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    length = 3;
  } else if (lead >= 0xF0 && lead < 0xF5) {
    length = 4;
  }
  if (length == 0 || at + length > text.size()) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return length;
}

// A JSON string; bytes that are not UTF-8 become U+FFFD, since JSON text is Unicode.
std::string json(std::string const& text) {
  std::string result = "\"";
  for (std::size_t at = 0; at < text.size();) {
    auto const byte = static_cast<unsigned char>(text[at]);
    std::size_t const length = utf8Length(text, at);
    if (length == 0) {
      result += "\\ufffd";
      ++at;
    } else if (byte == '"' || byte == '\\') {
      result += '\\';
      result += text[at++];
    } else if (byte < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned int>(byte));
      result += escaped;
      ++at;
    } else {
      result.append(text, at, length);
      at += length;
    }
  }
  return result + "\"";
}

char const* scopeName(Scope scope) {
  switch (scope) {
    case Scope::Configuration:
      return "configuration";
    case Scope::Device:
      return "device";
    case Scope::List:
      break;
  }
  return "list";
}

void writeFinding(std::ostream& out, Finding const& finding) {
  out << "{\"severity\": \"" << emailservice::check::severityName(finding.severity) << "\", \"scope\": \""
      << scopeName(finding.scope) << "\", \"position\": " << finding.position << ", \"id\": " << json(finding.id)
      << ", \"name\": " << json(finding.name) << ", \"field\": " << json(finding.field)
      << ", \"part\": " << json(finding.part) << ", \"value\": " << json(finding.value)
      << ", \"message\": " << json(finding.message) << "}";
}

}  // namespace

bool CardCheck::run(std::string& error) {
  simcard::proto::CardState state;
  if (!simcard::CardFile::load(file, state, error)) {
    return false;
  }
  simcard::SimulatedCard::instance().load(state);
  findings = checkLoadedCard();
  return true;
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

bool CardCheck::hasErrors() const {
  for (auto const& finding : findings) {
    if (finding.severity == Severity::Error) {
      return true;
    }
  }
  return false;
}

void CardCheck::printLines(std::ostream& out) const {
  for (auto const& finding : findings) {
    out << file << ": " << emailservice::check::describe(finding) << "\n";
  }
}

void CardCheck::printJson(std::ostream& out) const {
  out << "{\"file\": " << json(file) << ", \"findings\": [";
  for (std::size_t i = 0; i < findings.size(); ++i) {
    out << (i == 0 ? "\n  " : ",\n  ");
    writeFinding(out, findings[i]);
  }
  out << (findings.empty() ? "]}\n" : "\n]}\n");
}

}  // namespace tools
