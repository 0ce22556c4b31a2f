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
  // "Kept email SEQUENCE dropped from the outbox: its record cannot be read": whose it was is lost
  // with the record.
  static void unreadableDropped(std::string const& sequence);
  // "Kept emails not sent again: WHY", for a pass that could not begin.
  static void notRetried(std::string const& why);

  // `text` with every control character replaced by "?" and cut to at most `bytes` bytes (never
  // inside a UTF-8 sequence).
  static std::string printable(std::string const& text, std::size_t bytes);
};

}  // namespace emailservice
