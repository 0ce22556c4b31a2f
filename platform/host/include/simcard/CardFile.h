// Loading a simulated card from its card file (a CardState in protobuf text format).
#pragma once

#include <string>

#include "card_state.pb.h"

namespace simcard {

class CardFile {
 public:
  // Parses the card file at `path` into `state`. Returns true on success. On failure returns
  // false, leaves `state` untouched and sets `error` to a message that names the file and, for
  // a syntax error, the line and column ("card.txtpb:12:5: ...").
  static bool load(std::string const& path, proto::CardState& state, std::string& error);
};

}  // namespace simcard
