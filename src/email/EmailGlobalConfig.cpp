#include "email/EmailGlobalConfig.h"

#include <ctime>
#include <exception>
#include <fstream>
#include <utility>

#include "CardPaths.h"
#include "DeviceNumbers.h"
#include "UtcTime.h"
#include "cdsapi/CdsAccessor.h"
#include "cdsapi/InBandAccessor.h"
#include "cdsapi/OobAccessor.h"
#include "email/MailCommand.h"
#include "netinfo/netinfo.h"
#include "zorvan/Branding.h"

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

void EmailGlobalConfig::escapeSubjectChars() { escapeForDoubleQuotes(subject); }

void EmailGlobalConfig::escapeForDoubleQuotes(std::string& text) {
  try {
    for (std::string::size_type position = 0; position < text.size(); ++position) {
      if (text.at(position) == '"' || text.at(position) == '\\') {
        text.insert(position, 1, '\\');
        ++position;  // onto the quote or backslash itself, which is not escaped again
      }
      if (text.at(position) == '`') {
        text.at(position) = '\'';
      }
    }
  } catch (std::exception const&) {
    // The text keeps what was escaped so far; escaping never fails the e-mail.
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

void EmailGlobalConfig::setConfiguration(std::string const& id, std::string const& name) {
  configurationId = id;
  configurationName = name;
}

ComposedEmail EmailGlobalConfig::composed(std::string const& recipients) const {
  ComposedEmail email;
  email.configurationId = configurationId;
  email.configurationName = configurationName;
  email.subject = subject;
  email.recipients = recipients;
  email.bodyFile = messageFileName;
  email.setAttachmentList(attachments);
  return email;
}

// The command is made from the e-mail as composed; the subject is escaped all the same, so that
// it ends as the contract leaves it.
ErrorCode EmailGlobalConfig::sendEmail(std::string const& recipients) {
  submission = Submission{composed(recipients), MailOutcome{}};
  escapeSubjectChars();
  if (handOver) {
    submission->outcome = MailCommand(submission->email).run();
  }
  return submission->outcome.handedOver ? ErrorCode::Success : ErrorCode::SendError;
}

}  // namespace emailservice
