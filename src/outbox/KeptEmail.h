// One e-mail of the outbox: what the mail command needs to send it again, and its history.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace emailservice {

struct KeptEmail {
  std::string configurationId;
  std::string configurationName;
  std::string subject;  // as composed
  std::string recipients;
  std::vector<std::string> attachments;  // file names in the kept e-mail's attachment directory, in order
  std::int64_t firstAttempt = 0;         // seconds since 1970 UTC, shown to the administrator
  std::int64_t firstAttemptBoot = 0;     // seconds since boot (bootSeconds), on which its age is measured
  std::int32_t attempts = 0;
  std::string lastReason;

  // The text form of the record file: per field its name, a blank, the length of its value in
  // bytes and a line feed, then the value and a line feed. Any byte may be part of a value.
  std::string toText() const;
  // False when `text` is not a whole record (a record file cut short or damaged).
  bool fromText(std::string const& text);

  // Seconds since the system started (CLOCK_BOOTTIME, suspended time included): unlike the wall
  // clock, never set or stepped back. The outbox is in memory and ends with a reboot.
  static std::int64_t bootSeconds();
  // True when `name` may name a kept attachment: it becomes a word of the mail command and a file
  // in the attachment directory, so not empty, not "." or "..", no "/", blank or control character.
  static bool isAttachmentName(std::string const& name);
};

}  // namespace emailservice
