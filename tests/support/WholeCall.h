// The whole call of the library, as the card's service makes it.
#pragma once

#include "cdsapi/CdsAccessor.h"
#include "emailservice/EmailEvent.h"
#include "emailservice/EmailService.h"

namespace emailservice::testing {

inline ErrorCode manageEmails(EmailEvent const& event) {
  cdsapi::CdsAccessor accessor;
  return EmailService(accessor).manageEmails(event);
}

}  // namespace emailservice::testing
