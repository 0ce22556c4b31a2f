// The outbox directory: one directory per kept e-mail, named by a sequence number, written under
// a temporary name and renamed into place; bounded in count and bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "email/ComposedEmail.h"
#include "outbox/KeptEmail.h"

namespace emailservice {

class OutboxStore final {
 public:
  struct Bounds {
    std::size_t emails;
    std::uint64_t bytes;
  };

  // The outbox under the work directory, with the bounds the library was built with.
  OutboxStore();
  OutboxStore(std::string directory, Bounds bounds);

  // Keeps `email`, whose first attempt failed for `reason`, with copies of its body and
  // attachments, under the outbox's lock; drops the oldest kept e-mails while it would not fit.
  // Each drop, or an e-mail that cannot be kept, is a card log entry.
  void keep(ComposedEmail const& email, std::string const& reason);
  // The sequence numbers of the kept e-mails, oldest first.
  std::vector<std::string> list() const;
  // Removes what a keep or a removal that a crash cut short left behind.
  void removeLeftovers() const;
  // The record of a kept e-mail; false when it cannot be read.
  bool read(std::string const& sequence, KeptEmail& email) const;
  // Replaces the record of a kept e-mail, through a temporary file renamed into place.
  bool update(std::string const& sequence, KeptEmail const& email) const;
  // Removes a kept e-mail; false when it is still there.
  bool remove(std::string const& sequence) const;

  std::string const& directory() const { return root; }
  // A kept e-mail as the mail command sends it again: the outbox's copies of its body and
  // attachments.
  ComposedEmail composed(std::string const& sequence, KeptEmail const& email) const;

 private:
  void makeRoom(std::uint64_t bytes);
  bool write(std::string const& directory, ComposedEmail const& email, KeptEmail const& record,
             std::string& error) const;
  std::string nextSequence(std::vector<std::string> const& kept) const;

  std::string root;
  Bounds bounds;
};

}  // namespace emailservice
