#include "outbox/OutboxLog.h"

#include <mutex>

#include "UtcTime.h"
#include "cdsapi/dataLog.h"

namespace emailservice {

namespace {

void logEntry(int eventId, cdsapi::syslog_severity severity, std::string const& message) {
  cdsapi::dataLog::logMessage(cdsapi::enLogCategoryEmail, eventId, 0, severity, "", 0, message);
}

std::string configuration(char const* opening, std::string const& name) { return opening + name + " configuration"; }

}  // namespace

void OutboxLog::notSent(std::string const& name, std::string const& reason) {
  logEntry(kNotSent, cdsapi::SEVERITY_WARNING,
           configuration("Email for ", name) + " not sent: " + printable(reason, kReasonBytes));
}

void OutboxLog::notSentAgain(std::string const& name, std::int32_t attempt, std::string const& reason) {
  logEntry(kNotSentAgain, cdsapi::SEVERITY_WARNING,
           configuration("Kept email for ", name) + " not sent again (attempt " + std::to_string(attempt) +
               "): " + printable(reason, kReasonBytes));
}

void OutboxLog::delivered(std::string const& name, std::int32_t attempt, std::int64_t firstAttempt) {
  logEntry(kDelivered, cdsapi::SEVERITY_INFORMATIONAL,
           configuration("Kept email for ", name) + " delivered (attempt " + std::to_string(attempt) +
               ", first attempt " + formatUtc(firstAttempt) + ")");
}

void OutboxLog::givenUp(std::string const& name, std::int32_t attempts, std::string const& why) {
  logEntry(
      kGivenUp, cdsapi::SEVERITY_WARNING,
      configuration("Kept email for ", name) + " given up after " + std::to_string(attempts) + " attempt(s): " + why);
}

void OutboxLog::dropped(std::string const& name, std::string const& what, std::string const& why) {
  logEntry(kDropped, cdsapi::SEVERITY_WARNING,
           configuration("Email for ", name) + " " + what + ": " + printable(why, kReasonBytes));
}

void OutboxLog::unreadableDropped(std::string const& sequence, std::string const& why) {
  logEntry(kDropped, cdsapi::SEVERITY_WARNING,
           "Kept email " + sequence + " dropped from the outbox: " + printable(why, kReasonBytes));
}

namespace {

// The reason of the last pass that could not begin, in this process.
std::mutex lastRefusalMutex;
std::string lastRefusal;

}  // namespace

void OutboxLog::notRetried(std::string const& why) {
  {
    std::lock_guard<std::mutex> const lock(lastRefusalMutex);
    if (why == lastRefusal) {
      return;
    }
    lastRefusal = why;
  }
  logEntry(kNotSentAgain, cdsapi::SEVERITY_WARNING, "Kept emails not sent again: " + printable(why, kReasonBytes));
}

void OutboxLog::retriesBegan() {
  std::lock_guard<std::mutex> const lock(lastRefusalMutex);
  lastRefusal.clear();
}

void OutboxLog::notRemoved(std::string const& sequence, std::string const& name, std::string const& why) {
  std::string const whose = name.empty() ? "Kept email " + sequence : configuration("Email for ", name);
  logEntry(kDropped, cdsapi::SEVERITY_WARNING, whose + " not removed from the outbox: " + printable(why, kReasonBytes));
}

void OutboxLog::lostKeeping(std::string const& sequence) {
  logEntry(kDropped, cdsapi::SEVERITY_WARNING, "Email kept as " + sequence + " lost: its keeping was cut short");
}

void OutboxLog::unknownEntries(std::string const& names) {
  logEntry(kUnknownEntries, cdsapi::SEVERITY_WARNING,
           "Outbox entries that are not its own left alone: " + printable(names, kReasonBytes));
}

void OutboxLog::held(std::string const& name, std::string const& code, std::int64_t seconds) {
  logEntry(kHeld, cdsapi::SEVERITY_INFORMATIONAL,
           configuration("Email for ", name) + " held for " + std::to_string(seconds) + " s: alarm " +
               printable(code, kReasonBytes) + " is mailed if it is still active then");
}

void OutboxLog::heldSent(std::string const& name, std::string const& code, std::int64_t seconds) {
  logEntry(kDelivered, cdsapi::SEVERITY_INFORMATIONAL,
           configuration("Held email for ", name) + " sent: alarm " + printable(code, kReasonBytes) + " active for " +
               std::to_string(seconds) + " s");
}

void OutboxLog::notEmailed(std::string const& name, std::string const& code, std::int64_t seconds) {
  logEntry(kNotEmailed, cdsapi::SEVERITY_INFORMATIONAL,
           "Alarm " + printable(code, kReasonBytes) + " was active for " + std::to_string(seconds) +
               " s and was not emailed to " + name + " configuration");
}

void OutboxLog::keptBehind(std::string const& name) {
  logEntry(kNotSent, cdsapi::SEVERITY_WARNING,
           configuration("Email for ", name) + " kept behind an earlier email of its configuration");
}

std::string OutboxLog::printable(std::string const& text, std::size_t bytes) {
  std::string shown = text.substr(0, bytes);
  if (text.size() > bytes) {
    // Back to the start of a UTF-8 sequence that the cut would split.
    std::string::size_type end = shown.size();
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
      --end;
    }
    shown.resize(end);
  }
  for (char& c : shown) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      c = '?';
    }
  }
  return shown;
}

}  // namespace emailservice
