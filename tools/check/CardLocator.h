// Where a finding is written in its card file, so that an editor can jump there: the line of the
// field the finding names (`exceptionEvents`, `upsEventTable.warning`) inside the configuration
// entry, the device entry or the configuration list it is about; the line of that entry when the
// field is not written; 0 when the card file does not write the entry either (the record or the
// device is missing, and the data store answers with empty values).
#pragma once

#include <google/protobuf/text_format.h>

#include "card_state.pb.h"
#include "emailservice/ConfigurationCheck.h"

namespace tools {

class CardLocator final {
 public:
  // `where` is the parse of `card` (TextFormat::Parser::WriteLocationsTo); both must outlive this.
  CardLocator(simcard::proto::CardState const& card, google::protobuf::TextFormat::ParseInfoTree const& where);

  // The 1-based line, or 0.
  int lineOf(emailservice::check::Finding const& finding) const;

 private:
  // A message written in the card file: its parse tree, its type and the line it starts on.
  struct Place {
    google::protobuf::TextFormat::ParseInfoTree const* tree;
    google::protobuf::Descriptor const* type;
    int line;
  };

  // The field `name` (element `index` of a repeated one) of `place`, when the file writes it.
  static bool step(Place& place, std::string const& name, int index);
  // Down `path` ("periodicConfiguration.periodStart") as far as the file writes it.
  static int deepest(Place place, std::string const& path);

  simcard::proto::CardState const& card;
  google::protobuf::TextFormat::ParseInfoTree const& root;
};

}  // namespace tools
