#include "emailservice/EmailService.h"

#include "cdsapi/CdsAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "dispatch/CallLock.h"
#include "dispatch/EventTypeRules.h"
#include "dravo_config.pb.h"
#include "emailservice/EmailConfig.h"
#include "outbox/OutboxSeam.h"

namespace emailservice {

namespace {

// Only the configuration that an event addresses (EventTypeRules) answers with these codes.
bool endsWalk(ErrorCode code) { return code == ErrorCode::TestEmailSucceeded || code == ErrorCode::TestEmailFailed; }

}  // namespace

ErrorCode EmailService::manageEmails(EmailEvent const& event) {
  // Where the build serializes calls, a second call waits here until the first one has ended,
  // whichever way it ends.
  CallLock const lock;
  // Where the build keeps failed e-mails, they go out before this event's.
  OutboxSeam::Call const call(lock.held());
  dravo::proto::toolkitStruct const record = cdsAccessor.oobAccessor().get("EMAIL_CONFIGURATION");
  // The walk works on its own copies of the list and of each entry, whatever the record does.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  dravo::proto::EmailConfigurationList const list = record.emailconfigurationlist();
  bool const hideIpAddress = list.hideipaddress().value();

  ErrorCode result = ErrorCode::Success;
  // Entry 0 is the template of new configurations, never a recipient set of its own.
  for (int i = 1; i < list.configurations_size(); ++i) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    dravo::proto::EmailConfiguration const configuration = list.configurations(i);
    if (configuration.enabled().value()) {
      EmailConfig emailConfig(cdsAccessor, event, configuration);
      result = emailConfig.manageEmail(hideIpAddress);
      if (endsWalk(result)) {
        break;
      }
    } else if (EventTypeRules::failsAtDisabled(event.type) &&
               EventTypeRules::addresses(event, configuration.id().value())) {
      // A test asked of a disabled configuration fails, and no other configuration answers it.
      result = ErrorCode::TestEmailFailed;
      break;
    }
  }
  return result;
}

}  // namespace emailservice
