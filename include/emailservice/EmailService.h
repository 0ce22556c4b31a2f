// The library's entry: one call per event.
#pragma once

#include "emailservice/EmailEvent.h"
#include "emailservice/ErrorCode.h"
#include "emailservice/Export.h"

namespace cdsapi {
class CdsAccessor;
}

namespace emailservice {

class EMAILSERVICE_EXPORT EmailService {
 public:
  // The caller owns the accessor and keeps it alive as long as this object.
  explicit EmailService(cdsapi::CdsAccessor& accessor) : cdsAccessor(accessor) {}

  // Reads the e-mail configurations from the data store, lets every enabled one (from the second
  // entry on) send what the event calls for, and returns the result of the last one that set it.
  // Blocks until every mail command has ended. Failures of the data store pass to the caller as
  // exceptions.
  ErrorCode manageEmails(EmailEvent const& event);

 private:
  cdsapi::CdsAccessor& cdsAccessor;
};

}  // namespace emailservice
