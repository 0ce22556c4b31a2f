#include "CheckReport.h"

#include <cstdio>
#include <ostream>

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

// A 1-based line or column, or null when there is none.
std::string place(int number) { return number > 0 ? std::to_string(number) : "null"; }

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

void writeFinding(std::ostream& out, Finding const& finding, int line) {
  out << "{\"line\": " << place(line) << ", \"severity\": \"" << emailservice::check::severityName(finding.severity)
      << "\", \"scope\": \"" << scopeName(finding.scope) << "\", \"position\": " << finding.position
      << ", \"id\": " << json(finding.id) << ", \"name\": " << json(finding.name)
      << ", \"field\": " << json(finding.field) << ", \"part\": " << json(finding.part)
      << ", \"value\": " << json(finding.value) << ", \"message\": " << json(finding.message) << "}";
}

// {"errors": 3, "warnings": 2, "notes": 0}
void writeCounts(std::ostream& out, std::size_t errors, std::size_t warnings, std::size_t notes) {
  out << "{\"errors\": " << errors << ", \"warnings\": " << warnings << ", \"notes\": " << notes << "}";
}

// "3 errors, 2 warnings", "1 note", or "no findings".
std::string summary(CardCheck const& card) {
  std::string text;
  for (auto const severity : {Severity::Error, Severity::Warning, Severity::Note}) {
    std::size_t const count = card.count(severity);
    if (count > 0) {
      text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + emailservice::check::severityName(severity) +
              (count == 1 ? "" : "s");
    }
  }
  return text.empty() ? "no findings" : text;
}

bool usable(CardCheck const& card) { return card.problem().message.empty(); }

void writeCard(std::ostream& out, CardCheck const& card) {
  out << "  {\"file\": " << json(card.name()) << ", ";
  if (!usable(card)) {
    out << "\"error\": {\"message\": " << json(card.problem().message) << ", \"line\": " << place(card.problem().line)
        << ", \"column\": " << place(card.problem().column) << "}}";
    return;
  }
  out << "\"summary\": ";
  writeCounts(out, card.count(Severity::Error), card.count(Severity::Warning), card.count(Severity::Note));
  out << ", \"findings\": [";
  for (std::size_t i = 0; i < card.findings().size(); ++i) {
    out << (i == 0 ? "\n    " : ",\n    ");
    writeFinding(out, card.findings()[i], card.lineOf(card.findings()[i]));
  }
  out << (card.findings().empty() ? "]}" : "\n  ]}");
}

}  // namespace

void CheckReport::printText(std::ostream& out, std::ostream& diagnostics, bool quiet) const {
  for (auto const& card : cards) {
    if (!usable(card)) {
      diagnostics << "emailservice-check: " << card.diagnostic() << "\n";
      continue;
    }
    for (auto const& finding : card.findings()) {
      if (!quiet || finding.severity == Severity::Error) {
        out << card.line(finding) << "\n";
      }
    }
    if (!quiet) {
      out << card.name() << ": " << summary(card) << "\n";
    }
  }
}

void CheckReport::printJson(std::ostream& out) const {
  std::size_t unusable = 0;
  std::size_t counts[3] = {};
  for (auto const& card : cards) {
    unusable += usable(card) ? 0U : 1U;
    counts[0] += card.count(Severity::Error);
    counts[1] += card.count(Severity::Warning);
    counts[2] += card.count(Severity::Note);
  }
  out << "{\"formatVersion\": " << kFormatVersion << ", \"summary\": {\"files\": " << cards.size()
      << ", \"unusable\": " << unusable << ", \"findings\": ";
  writeCounts(out, counts[0], counts[1], counts[2]);
  out << "}, \"files\": [";
  for (std::size_t i = 0; i < cards.size(); ++i) {
    out << (i == 0 ? "\n" : ",\n");
    writeCard(out, cards[i]);
  }
  out << (cards.empty() ? "]}\n" : "\n]}\n");
}

int CheckReport::exitStatus() const {
  int status = 0;
  for (auto const& card : cards) {
    status = !usable(card) ? kExitUnusable : card.hasErrors() && status == 0 ? kExitErrors : status;
  }
  return status;
}

}  // namespace tools
