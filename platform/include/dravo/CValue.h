// Platform value library: the value of a data store channel.
#pragma once

#include <string>

namespace dravo {

class CValue {
 public:
  CValue() = default;
  explicit CValue(std::string value) : text(std::move(value)) {}

  // The value as text, in the platform's notation; an empty value gives the empty text.
  std::string as_string() const { return text; }

 private:
  std::string text;
};

}  // namespace dravo
