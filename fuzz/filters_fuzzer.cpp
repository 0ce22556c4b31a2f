// The two code filters of a recipient configuration on any event code and any list text.
// Input: one length-prefixed text (the event's code), then the configuration's exception list.
// Properties: no crash; the list is split at every comma; the answers and the standard-output
// lines equal those of an independent model built on strtol.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "FuzzSupport.h"
#include "cdsapi/CdsAccessor.h"
#include "dravo_config.pb.h"
#include "emailservice/EmailConfig.h"
#include "emailservice/EmailEvent.h"

namespace {

using emailservice::fuzz::check;

// The value of `text` read as a signed 32-bit hexadecimal integer (leading white space, a sign
// and 0x accepted, the rest after the digits ignored), or nothing when it holds no digit or the
// value does not fit.
std::optional<long> parseCode(std::string const& text) {
  char* end = nullptr;
  errno = 0;
  long const value = std::strtol(text.c_str(), &end, 16);
  if (end == text.c_str() || errno == ERANGE || value < INT_MIN || value > INT_MAX) {
    return std::nullopt;
  }
  return value;
}

std::vector<std::string> splitAtCommas(std::string const& text) {
  std::vector<std::string> entries;
  for (std::size_t begin = 0, comma = 0; !text.empty() && comma != std::string::npos; begin = comma + 1) {
    comma = text.find(',', begin);
    entries.push_back(text.substr(begin, comma - begin));
  }
  return entries;
}

// The model's answer of isExceptionEvent for `code` and `entries`, and the line it prints.
std::pair<bool, std::string> expectedExceptionEvent(std::string const& code, std::vector<std::string> const& entries) {
  std::string const failure = "isExceptionEvent exception: stoi" + code + "\n";
  auto const value = parseCode(code);
  for (auto const& entry : entries) {
    auto const entryValue = parseCode(entry);
    if (!value || !entryValue) {
      return {false, failure};
    }
    if (*entryValue == *value) {
      return {true, ""};
    }
  }
  return {false, value ? "" : failure};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static cdsapi::CdsAccessor accessor;
  static std::ostringstream printed;
  // The library prints its lines through std::cout.
  [[maybe_unused]] static std::streambuf* const original = std::cout.rdbuf(printed.rdbuf());

  emailservice::fuzz::FuzzInput input(data, size);
  emailservice::EmailEvent event{emailservice::EventType::Card, "", 1, input.text(), 1, ""};
  std::string const list = input.rest();
  std::string const described = "code [" + event.code + "] list [" + list + "]";
  dravo::proto::EmailConfiguration configuration;
  configuration.mutable_exceptionevents()->set_value(list);
  emailservice::EmailConfig config(accessor, event, configuration);
  check(config.getExceptionEventCodes() == splitAtCommas(list), "the list is split at every comma", described);

  printed.str("");
  auto const value = parseCode(event.code);
  bool const emailEvent = config.isEmailEvent();
  check(emailEvent == (value && (static_cast<unsigned long>(*value) & 0x00C00000UL) == 0x00C00000UL),
        "isEmailEvent answers as the model", described);
  check(printed.str() == (value ? "" : "isEmailEvent exception: stoi" + event.code + "\n"),
        "isEmailEvent writes the model's line", described);

  printed.str("");
  auto const expected = expectedExceptionEvent(event.code, splitAtCommas(list));
  check(config.isExceptionEvent(config.getExceptionEventCodes()) == expected.first,
        "isExceptionEvent answers as the model", described);
  check(printed.str() == expected.second, "isExceptionEvent writes the model's line", described);
  return 0;
}
