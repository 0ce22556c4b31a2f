// The outbox directory: one directory per kept e-mail, named by a sequence number, written under
// a temporary name and renamed into place; bounded in count and bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "outbox/KeptEmail.h"

namespace emailservice {

// What one kept e-mail is made of when it is first kept.
struct FailedEmail {
  KeptEmail record;                      // attachments: left empty, filled by keep
  std::string bodyFile;                  // the work file of the body
  std::vector<std::string> attachments;  // the attachment files, in the order of the command
};

class OutboxStore final {
 public:
  struct Bounds {
    std::size_t emails;
    std::uint64_t bytes;
  };

  // The outbox under the work directory, with the bounds the library was built with.
  OutboxStore();
  OutboxStore(std::string directory, Bounds bounds);

  // Keeps `email`, dropping the oldest kept e-mails while it would not fit; each drop, or an e-mail
  // that cannot be kept, is a card log entry.
  void keep(FailedEmail const& email);
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
  std::string bodyPath(std::string const& sequence) const;
  std::string attachmentPath(std::string const& sequence, std::string const& name) const;

 private:
  void makeRoom(std::uint64_t bytes);
  bool write(std::string const& directory, FailedEmail const& email, KeptEmail const& record, std::string& error) const;
  std::string nextSequence(std::vector<std::string> const& kept) const;

  std::string root;
  Bounds bounds;
};

}  // namespace emailservice
