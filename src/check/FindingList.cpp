#include "check/FindingList.h"

#include <cstdio>

#include "dravo_config.pb.h"

namespace emailservice::check {

namespace {

// A finding about `position` of `scope`, still without severity, field, value or message.
Finding about(Scope scope, int position) { return Finding{Severity::Note, scope, position, {}, {}, {}, {}, {}, {}}; }

}  // namespace

void FindingList::aboutConfiguration(int position, dravo::proto::EmailConfiguration const& configuration) {
  subject = about(Scope::Configuration, position);
  subject.id = configuration.id().value();
  subject.name = configuration.name().value();
}

void FindingList::aboutList() { subject = about(Scope::List, -1); }

void FindingList::aboutDevice(int device) { subject = about(Scope::Device, device); }

void FindingList::add(Severity severity, std::string field, std::string part, std::string value, std::string message) {
  Finding finding = subject;
  finding.severity = severity;
  finding.field = std::move(field);
  finding.part = std::move(part);
  finding.value = std::move(value);
  finding.message = std::move(message);
  findings.push_back(std::move(finding));
}

std::string FindingList::quoted(std::string const& text) {
  std::string result = "\"";
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (c == '\n') {
      result += "\\n";
    } else if (c == '\t') {
      result += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned int>(byte));
      result += escaped;
    } else {
      result += c;
    }
  }
  return result + "\"";
}

}  // namespace emailservice::check
