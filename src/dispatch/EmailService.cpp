#include "emailservice/EmailService.h"

#include "cdsapi/CdsAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "dispatch/EventTypeRules.h"
#include "dravo_config.pb.h"
#include "emailservice/EmailConfig.h"

#ifdef EMAILSERVICE_SERIALIZE_CALLS
#include "dispatch/CallLock.h"
#endif
#ifdef EMAILSERVICE_OUTBOX
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"

#include <exception>
#endif

namespace emailservice {

namespace {

// Only the configuration that an event addresses (EventTypeRules) answers with these codes.
bool endsWalk(ErrorCode code) { return code == ErrorCode::TestEmailSucceeded || code == ErrorCode::TestEmailFailed; }

}  // namespace

ErrorCode EmailService::manageEmails(EmailEvent const& event) {
#ifdef EMAILSERVICE_SERIALIZE_CALLS
  // A second call waits here until the first one has ended, whichever way it ends.
  CallLock const lock;
#endif
#ifdef EMAILSERVICE_OUTBOX
  // What failed before goes out before this event's e-mails; it never changes this call's result,
  // and an exception of the retry (the card's log) ends only the retry.
  try {
    OutboxStore const outbox;
    OutboxRetry(outbox).run();
  } catch (std::exception const&) {
  }
#endif
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
