#include "outbox/KeptEmail.h"

#include <time.h>

#include <algorithm>
#include <cstdlib>

namespace emailservice {

namespace {

// Field names of the record file.
constexpr char const kId[] = "id";
constexpr char const kName[] = "name";
// "subject" held the subject escaped for the mail command: a record with it is an earlier build's.
constexpr char const kSubject[] = "composed-subject";
constexpr char const kRecipients[] = "recipients";
constexpr char const kAttachment[] = "attachment";
constexpr char const kFirstAttempt[] = "first-attempt";
constexpr char const kFirstAttemptBoot[] = "first-attempt-boot";
constexpr char const kAttempts[] = "attempts";
constexpr char const kLastReason[] = "last-reason";
// Written last: a record without it was cut short.
constexpr char const kEnd[] = "end";

void putField(std::string& text, char const* name, std::string const& value) {
  text += name;
  text += ' ';
  text += std::to_string(value.size());
  text += '\n';
  text += value;
  text += '\n';
}

// A whole decimal number of at most 18 digits, or false.
bool parseNumber(std::string const& text, std::int64_t& value) {
  if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  value = std::strtoll(text.c_str(), nullptr, 10);
  return true;
}

// parseNumber, or a minus sign and parseNumber.
bool parseSigned(std::string const& text, std::int64_t& value) {
  bool const negative = !text.empty() && text[0] == '-';
  if (!parseNumber(negative ? text.substr(1) : text, value)) {
    return false;
  }
  value = negative ? -value : value;
  return true;
}

// Reads the field at `position` into `name` and `value` and moves past it.
bool takeField(std::string const& text, std::string::size_type& position, std::string& name, std::string& value) {
  std::string::size_type const blank = text.find(' ', position);
  std::string::size_type const lineEnd = text.find('\n', position);
  std::int64_t length = 0;
  if (blank == std::string::npos || lineEnd == std::string::npos || blank > lineEnd ||
      !parseNumber(text.substr(blank + 1, lineEnd - blank - 1), length) ||
      static_cast<std::uint64_t>(length) >= text.size() - lineEnd - 1 ||
      text[lineEnd + 1 + static_cast<std::string::size_type>(length)] != '\n') {
    return false;
  }
  name = text.substr(position, blank - position);
  value = text.substr(lineEnd + 1, static_cast<std::string::size_type>(length));
  position = lineEnd + 2 + static_cast<std::string::size_type>(length);
  return true;
}

}  // namespace

std::string KeptEmail::toText() const {
  std::string text;
  putField(text, kId, configurationId);
  putField(text, kName, configurationName);
  putField(text, kSubject, subject);
  putField(text, kRecipients, recipients);
  for (auto const& attachment : attachments) {
    putField(text, kAttachment, attachment);
  }
  putField(text, kFirstAttempt, std::to_string(firstAttempt));
  putField(text, kFirstAttemptBoot, std::to_string(firstAttemptBoot));
  putField(text, kAttempts, std::to_string(attempts));
  putField(text, kLastReason, lastReason);
  putField(text, kEnd, "");
  return text;
}

bool KeptEmail::fromText(std::string const& text) {
  *this = KeptEmail{};
  std::string::size_type position = 0;
  std::string name;
  std::string value;
  std::int64_t number = 0;
  bool bootTime = false;  // a record without it (written by an earlier build) has no age: damaged
  while (takeField(text, position, name, value)) {
    if (name == kEnd) {
      return position == text.size() && attempts > 0 && bootTime;
    }
    if (name == kId) {
      configurationId = value;
    } else if (name == kName) {
      configurationName = value;
    } else if (name == kSubject) {
      subject = value;
    } else if (name == kRecipients) {
      recipients = value;
    } else if (name == kAttachment && isAttachmentName(value)) {
      attachments.push_back(value);
    } else if (name == kLastReason) {
      lastReason = value;
    } else if (name == kFirstAttempt && parseNumber(value, number)) {
      firstAttempt = number;
    } else if (name == kFirstAttemptBoot && parseSigned(value, number)) {
      firstAttemptBoot = number;
      bootTime = true;
    } else if (name == kAttempts && parseNumber(value, number) && number < 1000000) {
      attempts = static_cast<std::int32_t>(number);
    } else {
      return false;
    }
  }
  return false;
}

bool KeptEmail::isAttachmentName(std::string const& name) {
  auto const unusable = [](char c) {
    auto const byte = static_cast<unsigned char>(c);
    return c == '/' || c == ' ' || byte < 0x20 || byte == 0x7F;
  };
  return !name.empty() && name != "." && name != ".." && std::none_of(name.begin(), name.end(), unusable);
}

std::int64_t KeptEmail::bootSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec;  // time_t: 64 bits on every target
}

}  // namespace emailservice
