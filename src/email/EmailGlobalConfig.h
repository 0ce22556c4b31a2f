// The base of every e-mail kind: the fixed order in which one e-mail is produced, the
// identification banner, the mail submission and the text helpers that all kinds share.
#pragma once

#include <optional>
#include <sstream>
#include <string>

#include "email/ComposedEmail.h"
#include "email/MailCommand.h"
#include "emailservice/EmailEvent.h"
#include "emailservice/ErrorCode.h"
#include "logfiles/SensorMeasureLogFile.h"
#include "logfiles/UpsMeasuresLogFile.h"

namespace cdsapi {
class CdsAccessor;
}

namespace emailservice {

class EventLogFile;

// Contract for the kinds:
// - attachLogFiles (pure) generates the kind's attachments and appends their names to
//   `attachments`, each preceded by a blank.
// - formatSubject and formatMessage of a kind first call the base's version, then append.
// - manageEmail runs subject, body, body file, attachments and submission, in that order; a kind
//   overrides it only to decide first whether to send at all.
// One object composes and sends one e-mail: manageEmail is called once.
class EmailGlobalConfig {
 public:
  // The four references must outlive the object.
  EmailGlobalConfig(cdsapi::CdsAccessor& cdsAccessor, EmailEvent const& event, EventLogFile& eventLogFile,
                    std::string const& messageFileName);
  virtual ~EmailGlobalConfig();
  EmailGlobalConfig(EmailGlobalConfig const&) = delete;
  EmailGlobalConfig& operator=(EmailGlobalConfig const&) = delete;

  virtual void attachLogFiles() = 0;
  // Writes the identification banner to the body.
  virtual void formatMessage();
  // Sets the subject to the system name.
  virtual void formatSubject();
  // Composes and sends the e-mail; Success or SendError.
  virtual ErrorCode manageEmail(std::string const& recipients);

  // Composes the body and writes it, with one more line feed, to the work file.
  void formatMessageToFile();
  // The friendly name of the card, or the physical name of the monitored device when it has none.
  std::string systemName();
  // "%F %T" in UTC; the empty text when the time cannot be formatted.
  static std::string formatTime(long utcSeconds);
  // The current time as formatTime writes it.
  static std::string formatNow();
  // Escapes double quotes and backslashes with a backslash and turns backquotes into single
  // quotes, so that the subject can stand inside a double-quoted shell word.
  void escapeSubjectChars();
  // Escapes `text` as escapeSubjectChars escapes the subject.
  static void escapeForDoubleQuotes(std::string& text);
  // The communication-module block of the banner.
  void formatSystemInfo();
  // The monitored-device block of the banner.
  void formatDeviceInfo();
  // Runs the card's mail command; SendError when it did not hand the e-mail over.
  ErrorCode sendEmail(std::string const& recipients);

  // Leave the IPv4 address out of the banner; set by the dispatcher before manageEmail.
  void setHideIpAddress(bool hide) { hideIpAddress = hide; }
  // The configuration the e-mail is for, as its composed value names it; set by the dispatcher
  // before manageEmail.
  void setConfiguration(std::string const& id, std::string const& name);
  // Whether sendEmail hands the e-mail to the mail command (true unless the dispatcher says that
  // an outbox keeps it instead: it is then composed, and not handed over).
  void setHandOver(bool now) { handOver = now; }

  // The e-mail as sendEmail handed it to the mail command, and what came of it.
  struct Submission {
    ComposedEmail email;
    MailOutcome outcome;
  };
  // Empty until sendEmail has run (a kind that decided not to send never runs it).
  std::optional<Submission> const& lastSubmission() const { return submission; }

  std::string const& getSubject() const { return subject; }
  std::string const& getAttachments() const { return attachments; }
  std::string getMessage() const { return message.str(); }

 protected:
  // How many of the most recent entries a log attachment holds, where a kind attaches the recent
  // ones (alarm, exception and test e-mails).
  static constexpr unsigned int kRecentLogEntries = 25;

  cdsapi::CdsAccessor& cdsAccessor;
  EmailEvent const& event;
  EventLogFile& eventLogFile;
  std::string const& messageFileName;
  UpsMeasuresLogFile upsMeasuresLogFile;
  SensorMeasureLogFile sensorMeasureLogFile;
  bool hideIpAddress;
  std::string subject;
  std::string attachments;
  std::ostringstream message;

 private:
  // The value that sendEmail hands over: the configuration's id and name, the subject as composed,
  // the body file and the attachment list.
  ComposedEmail composed(std::string const& recipients) const;

  std::string configurationId;
  std::string configurationName;
  bool handOver = true;
  std::optional<Submission> submission;
};

}  // namespace emailservice
