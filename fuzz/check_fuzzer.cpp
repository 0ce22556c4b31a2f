// The configuration check on any configuration list and any device names.
// Input: four texts (the card's friendly and physical names, the monitored device's friendly and
// physical names), then a serialized dravo::proto::EmailConfigurationList (bytes that do not
// parse give an empty list).
// Properties: no crash; every finding is one line and names what exists: a configuration by its
// position, id and name, or a device that reaches the subject, or the list; a field that the
// configuration messages have; and the value that field holds (the whole value, or a piece of it
// for an entry or a word).
#include <string>

#include "FuzzSupport.h"
#include "dravo_config.pb.h"
#include "emailservice/ConfigurationCheck.h"

namespace {

using emailservice::check::Finding;
using emailservice::check::Scope;
using emailservice::fuzz::check;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The sub-message that the dotted `path` names in `root`, or null when the messages have no such field.
Message const* fieldAt(Message const& root, std::string const& path) {
  Message const* message = &root;
  for (std::string::size_type start = 0;;) {
    auto const dot = path.find('.', start);
    FieldDescriptor const* field = message->GetDescriptor()->FindFieldByName(path.substr(start, dot - start));
    if (field == nullptr || field->is_repeated() || field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
      return nullptr;
    }
    message = &message->GetReflection()->GetMessage(*message, field);
    if (dot == std::string::npos) {
      return message;
    }
    start = dot + 1;
  }
}

// Checks that `finding` names a field of `root` and the value found there.
void checkField(Message const& root, Finding const& finding, std::string const& line) {
  Message const* const field = fieldAt(root, finding.field);
  check(field != nullptr, "the field exists", line);
  FieldDescriptor const* const value = field->GetDescriptor()->FindFieldByName("value");
  if (value == nullptr) {
    return;  // a level entry: the finding names its selected logs
  }
  auto const* reflection = field->GetReflection();
  auto const type = value->cpp_type();
  std::string const text = type == FieldDescriptor::CPPTYPE_INT32 ? std::to_string(reflection->GetInt32(*field, value))
                           : type == FieldDescriptor::CPPTYPE_BOOL
                               ? (reflection->GetBool(*field, value) ? "true" : "false")
                               : reflection->GetString(*field, value);
  check(finding.part.empty() ? text == finding.value : text.find(finding.value) != std::string::npos,
        "the value is the field's, or a piece of it", line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  emailservice::fuzz::FuzzInput input(data, size);
  emailservice::check::DeviceNames names;
  names.cardFriendlyName = input.text(32);
  names.cardPhysicalName = input.text(32);
  names.deviceFriendlyName = input.text(32);
  names.devicePhysicalName = input.text(32);
  dravo::proto::EmailConfigurationList list;
  if (!list.ParseFromString(input.rest())) {
    list.Clear();
  }

  for (Finding const& finding : emailservice::check::checkConfigurations(list, names)) {
    std::string const line = emailservice::check::describe(finding);
    check(line.find('\n') == std::string::npos && !finding.message.empty(), "one line with a sentence", line);
    if (finding.scope == Scope::Configuration) {
      check(finding.position >= 0 && finding.position < list.configurations_size(), "the configuration exists", line);
      auto const& configuration = list.configurations(finding.position);
      check(finding.id == configuration.id().value() && finding.name == configuration.name().value(),
            "the configuration's id and name", line);
      checkField(configuration, finding, line);
    } else if (finding.scope == Scope::List) {
      checkField(list, finding, line);
    } else {
      bool const card = finding.position == 1 && finding.field == "friendlyName";
      check(card || (finding.position == 20 && finding.field == "physicalName"), "a name in the subject", line);
      check(finding.value == (card ? names.cardFriendlyName : names.devicePhysicalName), "the device's name", line);
    }
  }
  return 0;
}
