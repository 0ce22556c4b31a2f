#include "outbox/KeptEmail.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace emailservice {

namespace {

// Field names of the record file. "composed-subject": an earlier format kept the subject escaped
// for the mail command under "subject", and such a record reads as damaged.
constexpr char const kId[] = "id";
constexpr char const kName[] = "name";
constexpr char const kSubject[] = "composed-subject";
constexpr char const kRecipients[] = "recipients";
constexpr char const kAttachment[] = "attachment";
constexpr char const kFirstAttempt[] = "first-attempt";
constexpr char const kAttempts[] = "attempts";
constexpr char const kLastReason[] = "last-reason";
constexpr char const kAge[] = "age";
constexpr char const kBootId[] = "boot-id";
constexpr char const kCheckpoint[] = "checkpoint";
constexpr char const kAlarmCode[] = "alarm-code";
constexpr char const kHeld[] = "held";
constexpr char const kDue[] = "due";
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

// A whole decimal number of the 64-bit range, with a minus sign when `negative` is allowed.
bool parseNumber(std::string const& text, std::int64_t& value, bool negativeAllowed = false) {
  std::size_t const digits = !text.empty() && text[0] == '-' && negativeAllowed ? 1 : 0;
  if (text.size() == digits || text.find_first_not_of("0123456789", digits) != std::string::npos) {
    return false;
  }
  errno = 0;
  long long const parsed = std::strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE) {
    return false;
  }
  value = static_cast<std::int64_t>(parsed);
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

std::int64_t KeptEmail::ageAt(std::string const& boot, std::int64_t now) const {
  bool const sameBoot = !boot.empty() && boot == bootId && now >= checkpoint;
  return age + (sameBoot ? now - checkpoint : std::max<std::int64_t>(now, 0));
}

void KeptEmail::countAgeTo(std::string const& boot, std::int64_t now) {
  age = ageAt(boot, now);
  bootId = boot;
  checkpoint = now;
}

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
  putField(text, kAttempts, std::to_string(attempts));
  putField(text, kLastReason, lastReason);
  putField(text, kAge, std::to_string(age));
  putField(text, kBootId, bootId);
  putField(text, kCheckpoint, std::to_string(checkpoint));
  putField(text, kAlarmCode, alarmCode);
  putField(text, kHeld, held ? "1" : "0");
  putField(text, kDue, std::to_string(due));
  putField(text, kEnd, "");
  return text;
}

bool KeptEmail::fromText(std::string const& text) {
  *this = KeptEmail{};
  std::string::size_type position = 0;
  std::string name;
  std::string value;
  std::int64_t number = 0;
  int counted = 0;  // attempts, age and due time: a record without them cannot be timed or bounded
  while (takeField(text, position, name, value)) {
    if (name == kEnd) {
      return position == text.size() && counted == 6;
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
    } else if (name == kFirstAttempt && parseNumber(value, number, true)) {
      firstAttempt = number;
    } else if (name == kAttempts && parseNumber(value, number) && number < 1000000) {
      attempts = static_cast<std::int32_t>(number);
      ++counted;
    } else if (name == kAge && parseNumber(value, number)) {
      age = number;
      ++counted;
    } else if (name == kBootId) {
      bootId = value;
      ++counted;
    } else if (name == kCheckpoint && parseNumber(value, number)) {
      checkpoint = number;
      ++counted;
    } else if (name == kAlarmCode) {
      alarmCode = value;
    } else if (name == kHeld && (value == "0" || value == "1")) {
      held = value == "1";
      ++counted;
    } else if (name == kDue && parseNumber(value, number)) {
      due = number;
      ++counted;
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

}  // namespace emailservice
