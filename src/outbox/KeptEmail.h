// One e-mail of the outbox, as its record file holds it: what the mail command needs to send it
// again, and its history.
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
  std::int64_t firstAttempt = 0;         // seconds since 1970 UTC (negative before), shown to the administrator
  std::int32_t attempts = 0;             // 0: never tried (held, or kept behind earlier e-mails)
  std::string lastReason;
  // The UPS alarm it is about (its event code; empty for other events), and whether it is held:
  // kept on purpose until `due`, and dropped if that alarm is cleared first.
  std::string alarmCode;
  bool held = false;
  // The age at which it may be sent (again); a timer's pass waits for it, an event's pass waits
  // only for a held one.
  std::int64_t due = 0;
  // Its age: the seconds the system was up since the first attempt, counted up to the checkpoint
  // (boot `bootId`, boot clock `checkpoint`) and, in that same boot, on the boot clock since.
  std::int64_t age = 0;
  std::string bootId;
  std::int64_t checkpoint = 0;

  // The age at boot clock `now` of boot `boot`: in the boot of the checkpoint the boot clock's
  // seconds since it; in a later boot (another id, or a boot clock that went back), the seconds of
  // this boot, since the time the system was down is not known.
  std::int64_t ageAt(std::string const& boot, std::int64_t now) const;
  // Counts the age up to `now` of boot `boot` and makes that the checkpoint.
  void countAgeTo(std::string const& boot, std::int64_t now);

  // The text form of the record file: per field its name, a blank, the length of its value in
  // bytes and a line feed, then the value and a line feed. Any byte may be part of a value.
  std::string toText() const;
  // False when `text` is not a whole record (a record file cut short or damaged, or one of an
  // earlier format).
  bool fromText(std::string const& text);

  // True when `name` may name a kept attachment: it becomes a word of the mail command and a file
  // in the attachment directory, so not empty, not "." or "..", no "/", blank or control character.
  static bool isAttachmentName(std::string const& name);
};

}  // namespace emailservice
