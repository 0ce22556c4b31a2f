// Platform value library: one record of the alarm history.
#pragma once

#include <optional>
#include <string>

#include "dravo/CTimestamp.h"

namespace dravo {

class CAlarmUpdate {
 public:
  CAlarmUpdate(CTimestamp timestamp, unsigned long long deviceId, int level, std::optional<std::string> levelText,
               std::string description, std::optional<CTimestamp> clearedAt = std::nullopt)
      : time(timestamp),
        device(deviceId),
        levelCode(level),
        levelName(std::move(levelText)),
        text(std::move(description)),
        cleared(clearedAt) {}

  // When the alarm became active.
  CTimestamp getTimestamp() const { return time; }
  // The device the alarm belongs to.
  unsigned long long getDeviceId() const { return device; }
  // The level code of the store: 3 or 7 critical, 2 or 6 warning, anything else informational.
  int getLevel() const { return levelCode; }
  // The level as text, when the store has one for this level.
  std::optional<std::string> const& getLevelText() const { return levelName; }
  std::string const& getDescription() const { return text; }
  // When the alarm was cleared; empty while it is active.
  std::optional<CTimestamp> const& getClearedAt() const { return cleared; }
  bool isActive() const { return !cleared.has_value(); }

 private:
  CTimestamp time;
  unsigned long long device;
  int levelCode;
  std::optional<std::string> levelName;
  std::string text;
  std::optional<CTimestamp> cleared;
};

}  // namespace dravo
