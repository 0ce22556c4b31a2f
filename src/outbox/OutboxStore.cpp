#include "outbox/OutboxStore.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "outbox/DurableFiles.h"
#include "outbox/OutboxLock.h"
#include "outbox/OutboxLog.h"

namespace emailservice {

namespace {

constexpr char const kRecord[] = "/email";
constexpr char const kBody[] = "/body";
constexpr char const kAttachments[] = "/attachments";
// Names that start with a dot are never a kept e-mail: a keep or a removal that a crash cut short.
constexpr char const kKeeping[] = "/.keep-";
constexpr char const kRemoving[] = "/.gone-";
// A record is small; a larger file is not one.
constexpr std::uint64_t kRecordLimit = std::uint64_t{1024} * 1024;
constexpr std::size_t kSequenceDigits = 10;

bool isSequence(std::string const& name) {
  return name.size() == kSequenceDigits && name.find_first_not_of("0123456789") == std::string::npos;
}

// The attachment's own file name, which the mail command shows; a numbered name when that is not
// a plain name or is taken.
std::string attachmentName(std::string const& path, std::size_t index, std::vector<std::string> const& taken) {
  std::string name = path.substr(path.rfind('/') + 1);
  bool const usable = KeptEmail::isAttachmentName(name);
  for (auto const& other : taken) {
    if (other == name) {
      name.clear();
    }
  }
  return usable && !name.empty() ? name : "attachment-" + std::to_string(index + 1);
}

// The record of an e-mail first tried now: the attachments under the names they are kept as.
KeptEmail recordOf(ComposedEmail const& email, std::string const& reason) {
  KeptEmail record;
  record.configurationId = email.configurationId;
  record.configurationName = email.configurationName;
  record.subject = email.subject;
  record.recipients = email.recipients;
  record.firstAttempt = std::time(nullptr);
  record.firstAttemptBoot = KeptEmail::bootSeconds();
  record.attempts = 1;
  record.lastReason = OutboxLog::printable(reason, OutboxLog::kReasonBytes);
  for (std::size_t i = 0; i < email.attachments.size(); ++i) {
    record.attachments.push_back(attachmentName(email.attachments[i], i, record.attachments));
  }
  return record;
}

}  // namespace

OutboxStore::OutboxStore()
    : OutboxStore(std::string(paths::kWorkDirectory) + "outbox",
                  Bounds{settings::kOutboxMaxEmails, settings::kOutboxMaxBytes}) {}

OutboxStore::OutboxStore(std::string directory, Bounds limits) : root(std::move(directory)), bounds(limits) {}

ComposedEmail OutboxStore::composed(std::string const& sequence, KeptEmail const& email) const {
  ComposedEmail kept;
  kept.configurationId = email.configurationId;
  kept.configurationName = email.configurationName;
  kept.subject = email.subject;
  kept.recipients = email.recipients;
  kept.bodyFile = root + "/" + sequence + kBody;
  std::vector<std::string> attachments;
  for (auto const& name : email.attachments) {
    attachments.push_back(root + "/" + sequence + kAttachments + "/" + name);
  }
  kept.setAttachments(std::move(attachments));
  return kept;
}

void OutboxStore::keep(ComposedEmail const& email, std::string const& reason) {
  std::string const& name = email.configurationName;
  std::string error;
  OutboxLock lock;
  if (!DurableFiles::makeDirectory(root, error)) {
    OutboxLog::dropped(name, "not kept", error);
    return;
  }
  if (!lock.lock(root)) {
    OutboxLog::dropped(name, "not kept", DurableFiles::systemError("cannot lock", root));
    return;
  }
  removeLeftovers();
  KeptEmail const record = recordOf(email, reason);
  std::uint64_t bytes = DurableFiles::size(email.bodyFile) + record.toText().size();
  for (auto const& attachment : email.attachments) {
    bytes += DurableFiles::size(attachment);
  }
  if (bytes > bounds.bytes) {
    OutboxLog::dropped(name, "not kept",
                       std::to_string(bytes) + " bytes exceed the outbox's " + std::to_string(bounds.bytes));
    return;
  }
  makeRoom(bytes);
  std::string const sequence = nextSequence(list());
  std::string const temporary = root + kKeeping + sequence;
  if (!write(temporary, email, record, error) || std::rename(temporary.c_str(), (root + "/" + sequence).c_str()) != 0) {
    DurableFiles::removeTree(temporary);
    OutboxLog::dropped(name, "not kept", error.empty() ? "cannot rename " + temporary : error);
    return;
  }
  DurableFiles::syncDirectory(root);
}

// Drops the oldest kept e-mails until one more of `bytes` fits both bounds.
void OutboxStore::makeRoom(std::uint64_t bytes) {
  std::vector<std::string> kept = list();
  std::uint64_t total = 0;
  for (auto const& sequence : kept) {
    total += DurableFiles::size(root + "/" + sequence);
  }
  std::size_t oldest = 0;
  while (oldest < kept.size() && (kept.size() - oldest >= bounds.emails || total + bytes > bounds.bytes)) {
    std::string const why = kept.size() - oldest >= bounds.emails
                                ? "the outbox holds " + std::to_string(bounds.emails) + " e-mails at most"
                                : "the outbox holds " + std::to_string(bounds.bytes) + " bytes at most";
    KeptEmail dropped;
    std::string const droppedName = read(kept[oldest], dropped) ? dropped.configurationName : std::string();
    total -= std::min(total, DurableFiles::size(root + "/" + kept[oldest]));
    if (remove(kept[oldest])) {
      OutboxLog::dropped(droppedName, "dropped from the outbox", why);
    } else {
      OutboxLog::dropped(droppedName, "not removed from the outbox", "cannot remove " + root + "/" + kept[oldest]);
    }
    ++oldest;
  }
}

bool OutboxStore::write(std::string const& directory, ComposedEmail const& email, KeptEmail const& record,
                        std::string& error) const {
  if (!DurableFiles::makeDirectory(directory, error) || !DurableFiles::makeDirectory(directory + kAttachments, error)) {
    return false;
  }
  std::uint64_t bytes = 0;
  if (!DurableFiles::copy(email.bodyFile, directory + kBody, bytes, error)) {
    return false;
  }
  for (std::size_t i = 0; i < email.attachments.size(); ++i) {
    if (!DurableFiles::copy(email.attachments[i], directory + kAttachments + "/" + record.attachments[i], bytes,
                            error)) {
      return false;
    }
  }
  if (!DurableFiles::write(directory + kRecord, record.toText(), error)) {
    return false;
  }
  DurableFiles::syncDirectory(directory + kAttachments);
  DurableFiles::syncDirectory(directory);
  return true;
}

std::vector<std::string> OutboxStore::list() const {
  std::vector<std::string> kept;
  for (auto const& name : DurableFiles::names(root)) {
    if (isSequence(name)) {
      kept.push_back(name);
    }
  }
  return kept;
}

void OutboxStore::removeLeftovers() const {
  for (auto const& name : DurableFiles::names(root)) {
    if (!isSequence(name)) {
      DurableFiles::removeTree(root + "/" + name);
    }
  }
}

std::string OutboxStore::nextSequence(std::vector<std::string> const& kept) const {
  std::string next = std::to_string(kept.empty() ? 1 : std::stoull(kept.back()) + 1);
  return std::string(kSequenceDigits - std::min(kSequenceDigits, next.size()), '0') + next;
}

bool OutboxStore::read(std::string const& sequence, KeptEmail& email) const {
  std::string text;
  return DurableFiles::read(root + "/" + sequence + kRecord, kRecordLimit, text) && email.fromText(text);
}

bool OutboxStore::update(std::string const& sequence, KeptEmail const& email) const {
  std::string const record = root + "/" + sequence + kRecord;
  std::string const temporary = record + ".new";
  std::string error;
  ::remove(temporary.c_str());
  if (!DurableFiles::write(temporary, email.toText(), error) || std::rename(temporary.c_str(), record.c_str()) != 0) {
    ::remove(temporary.c_str());
    return false;
  }
  DurableFiles::syncDirectory(root + "/" + sequence);
  return true;
}

// The e-mail disappears at once under its old name; what a crash leaves behind is removed later.
bool OutboxStore::remove(std::string const& sequence) const {
  std::string const path = root + "/" + sequence;
  std::string const gone = root + kRemoving + sequence;
  if (std::rename(path.c_str(), gone.c_str()) == 0) {
    DurableFiles::syncDirectory(root);
    DurableFiles::removeTree(gone);
    return true;
  }
  DurableFiles::removeTree(path);
  return !DurableFiles::exists(path);
}

}  // namespace emailservice
