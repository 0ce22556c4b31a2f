// The outbox directory: one directory per kept e-mail, named by a sequence number, written under
// a temporary name and renamed into place; bounded in count and in the storage it spends. Every
// call is made through the outbox root's handle, under its lock, and trusts nothing it reads back
// (docs/outbox.md).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "email/ComposedEmail.h"
#include "outbox/KeptEmail.h"
#include "outbox/OutboxHandle.h"
#include "outbox/OutboxTree.h"

namespace emailservice {

class OutboxStore final {
 public:
  struct Bounds {
    std::size_t emails;
    std::uint64_t bytes;  // of storage, as the blocks of the files and directories count it
  };

  // The outbox of this build: its directory and bounds, on the system's storage.
  OutboxStore();
  OutboxStore(OutboxFiles& files, std::string directory, Bounds bounds);

  // How the outbox is opened: to read it (no lock: what it lists is whole), to change it (its
  // lock held until the object ends), or to change it and create it when it is missing.
  enum class Use { Read, Change, Create };

  // Opens the outbox root and checks that only the service's user can change it (a directory,
  // not a link, owned by that user, writable by no one else). False when the outbox is missing
  // (`why` empty) or cannot be used (`why` says why); nothing else may be called then.
  bool open(Use use, std::string& why);

  // How an e-mail comes into the outbox.
  struct Arrival {
    bool tried = true;  // its first attempt failed, for `reason`; else it was not tried yet
    std::string reason;
    std::string alarmCode;  // the UPS alarm it is about, if any
    bool held = false;      // held until `due` (its age then), dropped if its alarm clears first
    std::int64_t due = 0;
  };

  // Keeps `email` with copies of its body and attachments; drops the oldest kept e-mails while it
  // would not fit, or while the storage is full. Each drop, or an e-mail that cannot be kept, is a
  // card log entry. True when it was kept.
  bool keep(ComposedEmail const& email, Arrival const& arrival);
  // The sequence numbers of the kept e-mails, oldest first.
  std::vector<std::string> list() const;
  // Names in the root that the outbox did not make; they are left alone.
  std::vector<std::string> unknownNames() const;
  // Removes what a keep or a removal that a crash cut short left behind (its own temporary names);
  // a keep cut short lost its e-mail, which a card log entry says.
  void removeLeftovers() const;
  // The record of a kept e-mail; false, with `why`, when it cannot be read.
  bool read(std::string const& sequence, KeptEmail& email, std::string& why) const;
  // Replaces the record of a kept e-mail, through a temporary file renamed into place; 0 or the
  // errno of the failure.
  int update(std::string const& sequence, KeptEmail const& email) const;
  // Removes a kept e-mail; false when it is still there.
  bool remove(std::string const& sequence) const;
  // A kept e-mail as the mail command sends it again: its body read and handed over as text,
  // its attachments the outbox's copies. False, with `why`, when a piece of it is damaged.
  bool composed(std::string const& sequence, KeptEmail const& email, ComposedEmail& composed, std::string& why) const;

  std::string const& directory() const { return root; }
  OutboxFiles& files() const { return tree.layer(); }

 private:
  std::string pathOf(std::string const& name) const { return root + "/" + name; }
  // The storage the new e-mail will spend, counted as its blocks will be; false when a file of it
  // cannot be read.
  bool estimate(ComposedEmail const& email, KeptEmail const& record, std::uint64_t& bytes, std::string& why) const;
  void makeRoom(std::uint64_t bytes);
  // One card log entry naming the names of the root that the outbox did not make.
  void reportUnknownNames() const;
  // Drops a kept e-mail with a card log entry saying `why`; false when it cannot be removed.
  bool drop(std::string const& sequence, std::string const& why);
  int write(std::string const& temporary, ComposedEmail const& email, KeptEmail const& record, std::string& what) const;
  // The next sequence number; the kept e-mails are numbered again from 1, in order, when the
  // numbers would run out.
  std::string nextSequence();

  OutboxTree tree;
  std::string root;
  Bounds bounds;
  OutboxHandle handle;
  std::uint64_t blockSize = 0;
};

}  // namespace emailservice
