// The two code filters of a recipient configuration on any event code and any list text.
// Input: one length-prefixed text (the event's code), then the configuration's exception list.
// Properties: no crash; the answers and the standard-output lines equal those of an independent
// model built on strtol.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
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
  char const* const start = text.c_str();
  char* end = nullptr;
  errno = 0;
  long const value = std::strtol(start, &end, 16);
  if (end == start || errno == ERANGE || value < INT_MIN || value > INT_MAX) {
    return std::nullopt;
  }
  return value;
}

std::vector<std::string> splitAtCommas(std::string const& text) {
  std::vector<std::string> entries;
  if (text.empty()) {
    return entries;
  }
  std::string::size_type begin = 0;
  for (;;) {
    auto const comma = text.find(',', begin);
    entries.push_back(text.substr(begin, comma == std::string::npos ? std::string::npos : comma - begin));
    if (comma == std::string::npos) {
      return entries;
    }
    begin = comma + 1;
  }
}

struct Expected {
  bool answer;
  std::string output;
};

Expected expectedEmailEvent(std::string const& code) {
  auto const value = parseCode(code);
  if (!value) {
    return {false, "isEmailEvent exception: stoi" + code + "\n"};
  }
  auto const bits = static_cast<unsigned long>(*value) & 0x00C00000UL;
  return {bits == 0x00C00000UL, ""};
}

Expected expectedExceptionEvent(std::string const& code, std::vector<std::string> const& entries) {
  std::string const failure = "isExceptionEvent exception: stoi" + code + "\n";
  auto const value = parseCode(code);
  if (!value) {
    return {false, failure};
  }
  for (auto const& entry : entries) {
    auto const entryValue = parseCode(entry);
    if (!entryValue) {
      return {false, failure};
    }
    if (*entryValue == *value) {
      return {true, ""};
    }
  }
  return {false, ""};
}

std::string describe(std::string const& code, std::string const& list) {
  return "code [" + code + "] list [" + list + "]";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static cdsapi::CdsAccessor accessor;
  static emailservice::fuzz::StdoutCapture capture;

  emailservice::fuzz::FuzzInput input(data, size);
  emailservice::EmailEvent event{emailservice::EventType::Card, "", 1, input.text(), 1, ""};
  std::string const list = input.rest();
  dravo::proto::EmailConfiguration configuration;
  configuration.mutable_exceptionevents()->set_value(list);

  emailservice::EmailConfig config(accessor, event, configuration);
  check(config.getExceptionEventCodes() == splitAtCommas(list), "the list is split at every comma",
        describe(event.code, list));

  capture.take();
  bool const emailEvent = config.isEmailEvent();
  std::string const emailEventOutput = capture.take();
  Expected const expectedEmail = expectedEmailEvent(event.code);
  check(emailEvent == expectedEmail.answer, "isEmailEvent answers as the model", describe(event.code, list));
  check(emailEventOutput == expectedEmail.output, "isEmailEvent writes the model's line",
        describe(event.code, list) + " wrote [" + emailEventOutput + "]");

  bool const exceptionEvent = config.isExceptionEvent(config.getExceptionEventCodes());
  std::string const exceptionOutput = capture.take();
  Expected const expectedException = expectedExceptionEvent(event.code, splitAtCommas(list));
  check(exceptionEvent == expectedException.answer, "isExceptionEvent answers as the model",
        describe(event.code, list));
  check(exceptionOutput == expectedException.output, "isExceptionEvent writes the model's line",
        describe(event.code, list) + " wrote [" + exceptionOutput + "]");
  return 0;
}
