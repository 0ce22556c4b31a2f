// Loading a simulated card from its card file (a CardState in protobuf text format).
#pragma once

#include <cstddef>
#include <string>

#include "card_state.pb.h"

namespace simcard {

class CardFile {
 public:
  // A card file holds at most this many bytes (16 MiB).
  static constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

  // Parses the card file at `path` ("-": the standard input) into `state`. Returns true on
  // success. On failure returns false, leaves `state` untouched and sets `error` to a message
  // that names the file and, for a syntax error, the line and column ("card.txtpb:12:5: ...").
  static bool load(std::string const& path, proto::CardState& state, std::string& error);
  // Reads the card file at `path` whole into `content`, with the refusals of load ("NAME: cannot
  // read: ..." in `error`): a regular file, the standard input ("-") or a pipe (a process
  // substitution, a FIFO that a writer holds), each up to kMaxBytes; not a device, nor a FIFO
  // without a writer, which is not waited for. A pipe or the standard input can be read once.
  static bool read(std::string const& path, std::string& content, std::string& error);
  // Parses `content`, read from the card file called `name` in messages, as load does.
  static bool parse(std::string const& content, std::string const& name, proto::CardState& state, std::string& error);
  // The card file `path` as messages name it: "<stdin>" for "-".
  static std::string nameOf(std::string const& path);
};

}  // namespace simcard
