// The card's log entries of the outbox: category 12 like the result entries, one event id per kind
// of entry (docs/outbox.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace emailservice {

class OutboxLog final {
 public:
  // Event ids of the entries.
  static constexpr int kNotSent = 40;
  static constexpr int kNotSentAgain = 41;
  static constexpr int kDelivered = 42;
  static constexpr int kGivenUp = 43;
  static constexpr int kDropped = 44;
  static constexpr int kUnknownEntries = 45;
  static constexpr int kHeld = 46;
  static constexpr int kNotEmailed = 47;
  // Bytes of a reason at most.
  static constexpr std::size_t kReasonBytes = 200;

  OutboxLog() = delete;

  // "Email for NAME configuration not sent: REASON"
  static void notSent(std::string const& name, std::string const& reason);
  // "Kept email for NAME configuration not sent again (attempt N): REASON"
  static void notSentAgain(std::string const& name, std::int32_t attempt, std::string const& reason);
  // "Kept email for NAME configuration delivered (attempt N, first attempt DATE)"
  static void delivered(std::string const& name, std::int32_t attempt, std::int64_t firstAttempt);
  // "Kept email for NAME configuration given up after N attempts: WHY"
  static void givenUp(std::string const& name, std::int32_t attempts, std::string const& why);
  // "Email for NAME configuration WHAT: WHY", for an e-mail dropped or not kept.
  static void dropped(std::string const& name, std::string const& what, std::string const& why);
  // "Kept email SEQUENCE dropped from the outbox: WHY", for a damaged one: whose it was is lost
  // with its record, or its record says it but a piece of it is damaged.
  static void unreadableDropped(std::string const& sequence, std::string const& why);
  // "Kept emails not sent again: WHY", for a pass that could not begin: once for a reason, until a
  // pass begins again (a timer may try every second).
  static void notRetried(std::string const& why);
  // A pass began: the next reason that stops one is logged again.
  static void retriesBegan();
  // "Email for NAME configuration not removed from the outbox: WHY", or "Kept email SEQUENCE ..."
  // where whose it is cannot be read.
  static void notRemoved(std::string const& sequence, std::string const& name, std::string const& why);
  // "Email kept as SEQUENCE lost: its keeping was cut short", for what a crash or a power cut left
  // of a keep.
  static void lostKeeping(std::string const& sequence);
  // "Outbox entries that are not its own left alone: NAME, NAME"
  static void unknownEntries(std::string const& names);
  // "Email for NAME configuration held for N s: alarm CODE is mailed if it is still active then"
  static void held(std::string const& name, std::string const& code, std::int64_t seconds);
  // "Held email for NAME configuration sent: alarm CODE active for N s"
  static void heldSent(std::string const& name, std::string const& code, std::int64_t seconds);
  // "Alarm CODE was active for N s and was not emailed to NAME configuration"
  static void notEmailed(std::string const& name, std::string const& code, std::int64_t seconds);
  // "Email for NAME configuration kept behind an earlier email of its configuration"
  static void keptBehind(std::string const& name);

  // Whether `eventId` is one of the outbox's entries, and whether it is informational (the others
  // are warnings).
  static bool isOutboxEntry(int eventId) { return eventId >= kNotSent && eventId <= kNotEmailed; }
  static bool isInformational(int eventId) {
    return eventId == kDelivered || eventId == kHeld || eventId == kNotEmailed;
  }

  // `text` with every control character replaced by "?" and cut to at most `bytes` bytes (never
  // inside a UTF-8 sequence).
  static std::string printable(std::string const& text, std::size_t bytes);
};

}  // namespace emailservice
