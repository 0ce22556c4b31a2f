#include "CardLocator.h"

#include <algorithm>
#include <cstdint>

namespace tools {

using emailservice::check::Finding;
using emailservice::check::Scope;

CardLocator::CardLocator(simcard::proto::CardState const& parsed,
                         google::protobuf::TextFormat::ParseInfoTree const& where)
    : card(parsed), root(where) {}

bool CardLocator::step(Place& place, std::string const& name, int index) {
  auto const* field = place.tree == nullptr ? nullptr : place.type->FindFieldByName(name);
  if (field == nullptr) {
    return false;
  }
  int const at = field->is_repeated() ? index : -1;
  auto const location = place.tree->GetLocation(field, at);
  if (location.line < 0) {
    return false;
  }
  place.line = location.line + 1;
  bool const message = field->type() == google::protobuf::FieldDescriptor::TYPE_MESSAGE;
  place.tree = message ? place.tree->GetTreeForNested(field, at) : nullptr;
  place.type = message ? field->message_type() : nullptr;
  return true;
}

int CardLocator::deepest(Place place, std::string const& path) {
  for (std::size_t from = 0; from <= path.size();) {
    std::size_t const dot = std::min(path.find('.', from), path.size());
    if (!step(place, path.substr(from, dot - from), 0)) {
      break;
    }
    from = dot + 1;
  }
  return place.line;
}

// The service reads the first record of its key and the first device of its number, as the
// simulated card answers.
int CardLocator::lineOf(Finding const& finding) const {
  Place place{&root, simcard::proto::CardState::descriptor(), 0};
  if (finding.scope == Scope::Device) {
    for (int index = 0; index < card.devices_size(); ++index) {
      if (card.devices(index).id() == static_cast<std::uint64_t>(finding.position)) {
        return step(place, "devices", index) ? deepest(place, finding.field) : 0;
      }
    }
    return 0;
  }
  for (int index = 0; index < card.records_size(); ++index) {
    if (card.records(index).key() == "EMAIL_CONFIGURATION") {
      if (!step(place, "records", index) || !step(place, "value", 0) || !step(place, "emailConfigurationList", 0)) {
        return place.line;
      }
      bool const configuration = finding.scope == Scope::Configuration;
      return configuration && !step(place, "configurations", finding.position) ? place.line
                                                                               : deepest(place, finding.field);
    }
  }
  return 0;
}

}  // namespace tools
