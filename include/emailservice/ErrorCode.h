// The one result type of the library.
#pragma once

#include <cstdint>

namespace emailservice {

enum class ErrorCode : std::int32_t {
  Success = 0,             // sent, or nothing was to be sent
  TestEmailSucceeded = 1,  // the test e-mail or periodic report was handed over
  TestEmailFailed = -1,    // the test e-mail or periodic report failed, or its configuration is disabled
  SendError = -2,          // the mail command reported a failure
};

}  // namespace emailservice
