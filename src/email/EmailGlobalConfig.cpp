#include "email/EmailGlobalConfig.h"

#include <ctime>
#include <exception>
#include <fstream>
#include <vector>

#include "CardPaths.h"
#include "DeviceNumbers.h"
#include "UtcTime.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "email/ShellQuote.h"
#include "netinfo/netinfo.h"
#include "zorvan/Branding.h"
#include "zorvan/Exec.h"

namespace emailservice {

namespace {

// The clock's seconds as the `long` that formatTime takes. A template, so that the cast is not a
// useless one where time_t already is long, and stays explicit where time_t is wider.
template <typename Time>
long toSeconds(Time seconds) {
  return static_cast<long>(seconds);
}

constexpr char const kPartNumberChannel[] = "PowerDistribution.Attribute.PartNumber";
constexpr char const kNetworkInterfaceRecord[] = "NETWORK_INTERFACE";

// What sendemail prints when the message did not go out.
constexpr char const kSendFailure[] = "Could not send the message";

#ifdef EMAILSERVICE_HARDENED_SUBMISSION

// The mail command and everything it started are ended after this many seconds.
constexpr unsigned int kMailDeadlineSeconds = EMAILSERVICE_MAIL_DEADLINE_SECONDS;

// The message went out only when the command ended by itself with status 0 and did not report a
// failure: a missing or killed sendemail, a body file the shell could not open, or a command
// ended at its deadline did not send.
bool handedOver(int exitStatus, std::string const& printed) {
  return exitStatus == 0 && printed.find(kSendFailure) == std::string::npos;
}

// The shell command that submits one e-mail, hardened: every piece that comes from data is
// quoted, so that the shell takes it as plain text. For ordinary values sendemail gets the words
// of the default command: the subject as the shell reads it back from its double quotes, then
// the attachment paths, the recipients split at blanks, and the body path.
std::string mailCommandText(std::string const& escapedSubject, std::string const& attachments,
                            std::string const& recipients, std::string const& bodyFile) {
  std::string text = "sudo -u email sendemail -s ";
  text += ShellQuote::word(ShellQuote::unescapeDoubleQuoted(escapedSubject));
  if (!attachments.empty()) {
    text += " -a";
    text += ShellQuote::words(attachments);
  }
  text += " --";
  text += ShellQuote::words(recipients);
  text += " < ";
  text += ShellQuote::word(bodyFile);
  return text;
}

#else

// No deadline: the mail command runs as long as it takes.
constexpr unsigned int kMailDeadlineSeconds = 0;

// Only the failure text decides: a refused sudo, a missing body file or a non-zero exit status
// without that text still count as handed over.
bool handedOver(int /*exitStatus*/, std::string const& printed) {
  return printed.find(kSendFailure) == std::string::npos;
}

// The shell command that submits one e-mail. Only the subject is quoted (it must already be
// escaped for a double-quoted word). The attachment list carries its own leading blanks; the
// recipients are split into words by the shell; neither they nor the paths are quoted.
std::string mailCommandText(std::string const& escapedSubject, std::string const& attachments,
                            std::string const& recipients, std::string const& bodyFile) {
  std::string text = "sudo -u email sendemail -s \"";
  text += escapedSubject;
  text += attachments.empty() ? "\"" : "\" -a";
  text += attachments;
  text += " -- ";
  text += recipients;
  text += " < ";
  text += bodyFile;
  return text;
}

#endif

}  // namespace

EmailGlobalConfig::EmailGlobalConfig(cdsapi::CdsAccessor& accessor, EmailEvent const& mailedEvent,
                                     EventLogFile& logFile, std::string const& bodyFileName)
    : cdsAccessor(accessor),
      event(mailedEvent),
      eventLogFile(logFile),
      messageFileName(bodyFileName),
      upsMeasuresLogFile(std::string(paths::kWorkDirectory) + "ups.csv", paths::kUpsMeasuresDirectory),
      sensorMeasureLogFile(std::string(paths::kWorkDirectory) + "sensors.csv", paths::kSensorMeasuresDirectory),
      hideIpAddress(false) {}

EmailGlobalConfig::~EmailGlobalConfig() = default;

ErrorCode EmailGlobalConfig::manageEmail(std::string const& recipients) {
  formatSubject();
  // The body is on disk before any attachment is generated.
  formatMessageToFile();
  attachLogFiles();
  return sendEmail(recipients);
}

void EmailGlobalConfig::formatMessage() {
  message << "== IDENTIFICATION ==========================================\n";
  message << "System name: ";
  message << systemName() << "\n\n";
  formatSystemInfo();
  formatDeviceInfo();
  message << "============================================================\n\n";
}

void EmailGlobalConfig::formatSubject() { subject = systemName(); }

void EmailGlobalConfig::formatMessageToFile() {
  formatMessage();
  // A body file that cannot be opened is not an error of the e-mail: the submission decides.
  std::ofstream body(messageFileName, std::ios::out | std::ios::trunc);
  if (body.is_open()) {
    body << message.str() << "\n";
  }
}

std::string EmailGlobalConfig::systemName() {
  auto& inband = cdsAccessor.inbandAccessor();
  std::string name = inband.getDeviceFriendlyName(kCommunicationModule);
  if (!name.empty()) {
    return name;
  }
  return inband.getDevicePhysicalName(kMonitoredDevice);
}

std::string EmailGlobalConfig::formatTime(long utcSeconds) { return formatUtc(utcSeconds); }

std::string EmailGlobalConfig::formatNow() { return formatTime(toSeconds(std::time(nullptr))); }

void EmailGlobalConfig::escapeSubjectChars() {
  try {
    for (std::string::size_type position = 0; position < subject.size(); ++position) {
      if (subject.at(position) == '"' || subject.at(position) == '\\') {
        subject.insert(position, 1, '\\');
        ++position;  // onto the quote or backslash itself, which is not escaped again
      }
      if (subject.at(position) == '`') {
        subject.at(position) = '\'';
      }
    }
  } catch (std::exception const&) {
    // The subject keeps what was escaped so far; escaping never fails the e-mail.
  }
}

void EmailGlobalConfig::formatSystemInfo() {
  auto& inband = cdsAccessor.inbandAccessor();
  // Each label goes out before its value is fetched, so that a failing value leaves its label.
  message << "-- Communication module ------------------------------------\n";
  message << "Product: ";
  message << inband.getDeviceModel(kCommunicationModule) << "\n";
  message << "Vendor: ";
  message << inband.getDeviceVendor(kCommunicationModule) << "\n";
  message << "C/N: ";
  message << zorvan::Branding::getProductName() << "\n";
  message << "P/N: ";
  message << inband.getDevicePartNumber(kCommunicationModule) << "\n";
  message << "S/N: ";
  message << inband.getDeviceSerialNumber(kCommunicationModule) << "\n";
  message << "FW version: ";
  message << inband.getDeviceSwVersion(kCommunicationModule) << "\n";
  message << "HW version: ";
  message << inband.getDeviceHwVersion(kCommunicationModule) << std::endl;

  // The domain name is shown whenever the card is reached by it; only the IPv4 address is hidden.
  dravo::proto::toolkitStruct const record = cdsAccessor.oobAccessor().get(kNetworkInterfaceRecord);
  if (record.networkinterface().usefqdn().value()) {
    std::string const host = netinfo::fqdn();
    message << "Host address: https://" << host << "\n";
  } else if (!hideIpAddress) {
    std::string const host = netinfo::ipv4_address();
    message << "Host address: https://" << host << "\n";
  }

  message << "MAC address: ";
  message << netinfo::getSystemMacAddress() << "\n\n";
}

void EmailGlobalConfig::formatDeviceInfo() {
  auto& inband = cdsAccessor.inbandAccessor();
  // The part number comes from a channel of the monitored device, read before the block begins.
  std::string partNumber;
  unsigned long long const channel = inband.getChannelId(kMonitoredDevice, kPartNumberChannel);
  if (channel != cdsapi::InBandAccessor::kNoChannel) {
    partNumber = inband.getChannelCValue(channel).as_string();
  }

  message << "-- Monitored device ----------------------------------------\n";
  message << "Product: ";
  message << inband.getDevicePhysicalName(kMonitoredDevice) << "\n";
  message << "Vendor: ";
  message << inband.getDeviceVendor(kMonitoredDevice) << "\n";
  message << "P/N: " << partNumber << "\n";
  message << "CTO: \n";
  message << "S/N: ";
  message << inband.getDeviceSerialNumber(kMonitoredDevice) << "\n";
  message << "FW version: ";
  message << inband.getDeviceSwVersion(kMonitoredDevice) << "\n";
  message << "HW version: ";
  message << inband.getDeviceHwVersion(kMonitoredDevice) << std::endl;
}

ErrorCode EmailGlobalConfig::sendEmail(std::string const& recipients) {
  escapeSubjectChars();
  std::string const command = mailCommandText(subject, attachments, recipients, messageFileName);
  try {
    std::stringstream output;
    int const exitStatus = zorvan::exec({"/bin/sh", "-c", command}, "", kMailDeadlineSeconds, &output, nullptr);
    return handedOver(exitStatus, output.str()) ? ErrorCode::Success : ErrorCode::SendError;
  } catch (std::exception const&) {
    return ErrorCode::SendError;
  }
}

}  // namespace emailservice
