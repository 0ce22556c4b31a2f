// Loading a simulated card from its card file (a CardState in protobuf text format).
#pragma once

#include <cstddef>
#include <string>

#include "card_state.pb.h"

namespace simcard {

class CardFile {
 public:
  // A card file is a regular file of at most this many bytes (16 MiB).
  static constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

  // Parses the card file at `path` into `state`. Returns true on success. On failure returns
  // false, leaves `state` untouched and sets `error` to a message that names the file and, for
  // a syntax error, the line and column ("card.txtpb:12:5: ..."). A file that is not a regular
  // file (a FIFO, a device) or is larger than kMaxBytes is refused without reading it whole.
  static bool load(std::string const& path, proto::CardState& state, std::string& error);
  // Reads the card file at `path` whole into `content`, with the refusals of load ("PATH: cannot
  // read: ..." in `error`), for a reader that parses it itself.
  static bool read(std::string const& path, std::string& content, std::string& error);
};

}  // namespace simcard
