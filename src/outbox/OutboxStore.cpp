#include "outbox/OutboxStore.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "BuildSettings.h"
#include "outbox/OutboxLog.h"

namespace emailservice {

namespace {

constexpr char const kRecord[] = "email";
constexpr char const kNewRecord[] = "email.new";
constexpr char const kBody[] = "body";
constexpr char const kAttachments[] = "attachments";
// A keep or a removal that a crash cut short leaves one of these, followed by a sequence number.
constexpr char const kKeeping[] = ".keep-";
constexpr char const kRemoving[] = ".gone-";
// A record is small; a larger file is not one.
constexpr std::uint64_t kRecordLimit = std::uint64_t{1024} * 1024;
constexpr std::size_t kSequenceDigits = 10;
constexpr std::uint64_t kLastSequence = 9999999999ULL;
// Files of the root that every other user may read and pass through, but not change.
constexpr std::uint32_t kWritableByOthers = 022;

bool isSequence(std::string const& name) {
  return name.size() == kSequenceDigits && name.find_first_not_of("0123456789") == std::string::npos;
}

bool isLeftover(std::string const& name) {
  auto const after = [&name](char const* prefix) {
    return name.compare(0, std::strlen(prefix), prefix) == 0 && isSequence(name.substr(std::strlen(prefix)));
  };
  return after(kKeeping) || after(kRemoving);
}

std::string sequenceText(std::uint64_t number) {
  std::string const digits = std::to_string(number);
  return std::string(kSequenceDigits - std::min(kSequenceDigits, digits.size()), '0') + digits;
}

std::string describe(int error) {
  switch (error) {
    case EINVAL:
      return "not a regular file";
    case ELOOP:
      return "a link in its place";
    case ENOTDIR:
      return "not a directory";
    case EFBIG:
      return "too large";
    default:
      return std::strerror(error);
  }
}

// The attachment's own file name, which the mail command shows; a numbered name when that is not
// a plain name or is taken.
std::string attachmentName(std::string const& path, std::size_t index, std::vector<std::string> const& taken) {
  std::string const name = path.substr(path.rfind('/') + 1);
  bool const usable = KeptEmail::isAttachmentName(name) && std::find(taken.begin(), taken.end(), name) == taken.end();
  return usable ? name : "attachment-" + std::to_string(index + 1);
}

std::uint64_t roundedUp(std::uint64_t bytes, std::uint64_t unit) { return (bytes + unit - 1) / unit * unit; }

bool isFull(int error) { return error == ENOSPC || error == EDQUOT; }

// The record of an e-mail that arrives now: the attachments under the names they are kept as.
KeptEmail recordOf(OutboxFiles& files, ComposedEmail const& email, OutboxStore::Arrival const& arrival) {
  KeptEmail record;
  record.configurationId = email.configurationId;
  record.configurationName = email.configurationName;
  record.subject = email.subject;
  record.recipients = email.recipients;
  record.firstAttempt = files.wallSeconds();
  record.attempts = arrival.tried ? 1 : 0;
  record.lastReason = OutboxLog::printable(arrival.reason, OutboxLog::kReasonBytes);
  record.alarmCode = arrival.alarmCode;
  record.held = arrival.held;
  record.due = arrival.due;
  record.bootId = files.bootId();  // age 0 from now
  record.checkpoint = files.bootSeconds();
  for (std::size_t i = 0; i < email.attachments.size(); ++i) {
    record.attachments.push_back(attachmentName(email.attachments[i], i, record.attachments));
  }
  return record;
}

}  // namespace

OutboxStore::OutboxStore()
    : OutboxStore(OutboxFiles::system(), settings::kOutboxDirectory,
                  Bounds{settings::kOutboxMaxEmails, settings::kOutboxMaxBytes}) {}

OutboxStore::OutboxStore(OutboxFiles& files, std::string directory, Bounds limits)
    : tree(files), root(std::move(directory)), bounds(limits), handle(files) {}

bool OutboxStore::open(Use use, std::string& why) {
  OutboxFiles& files = tree.layer();
  why.clear();
  int failed = files.openDirectory(root, handle.receive());
  if (failed == ENOENT && use == Use::Create) {
    failed = files.makeDirectory(root);
    failed = failed != 0 && failed != EEXIST ? failed : files.openDirectory(root, handle.receive());
  }
  if (failed == ENOENT) {
    return false;
  }
  OutboxFiles::Status status;
  if (failed != 0 || (failed = files.stat(handle.get(), status)) != 0) {
    why = "cannot open " + root + ": " + describe(failed);
  } else if (status.owner != files.user() || (status.mode & kWritableByOthers) != 0) {
    why = root + " can be changed by another user than the service's";
  } else if (use != Use::Read && (failed = files.lock(handle.get())) != 0) {
    why = "cannot lock " + root + ": " + describe(failed);
  }
  if (!why.empty()) {
    handle.reset();
    return false;
  }
  blockSize = std::max<std::uint64_t>(status.blockSize, 512);
  return true;
}

bool OutboxStore::keep(ComposedEmail const& email, Arrival const& arrival) {
  std::string const& name = email.configurationName;
  removeLeftovers();
  reportUnknownNames();
  KeptEmail const record = recordOf(tree.layer(), email, arrival);
  std::uint64_t bytes = 0;
  std::string why;
  if (!estimate(email, record, bytes, why)) {
    OutboxLog::dropped(name, "not kept", why);
    return false;
  }
  if (bytes > bounds.bytes) {
    OutboxLog::dropped(name, "not kept",
                       std::to_string(bytes) + " bytes exceed the outbox's " + std::to_string(bounds.bytes));
    return false;
  }
  makeRoom(bytes);
  // The newest alarm wins over the oldest kept e-mail: a full storage drops the oldest first.
  for (;;) {
    std::string const sequence = nextSequence();
    std::string const temporary = kKeeping + sequence;
    std::string what;
    int failed = write(temporary, email, record, what);
    if (failed == 0) {
      failed = tree.layer().renameAt(handle.get(), temporary, handle.get(), sequence);
      what = "cannot rename " + pathOf(temporary);
    }
    if (failed == 0) {
      // The e-mail is in place, whole. A root that cannot be synced for lack of room makes room as
      // a write does; one that cannot be synced otherwise is synced by the next change.
      while (isFull(tree.layer().sync(handle.get())) && list().front() != sequence &&
             drop(list().front(), "the storage is full")) {
      }
      return true;
    }
    tree.removeTree(handle.get(), temporary);
    std::vector<std::string> const kept = list();
    if (!isFull(failed) || kept.empty() || !drop(kept.front(), "the storage is full")) {
      OutboxLog::dropped(name, "not kept", what + ": " + describe(failed));
      return false;
    }
  }
}

bool OutboxStore::estimate(ComposedEmail const& email, KeptEmail const& record, std::uint64_t& bytes,
                           std::string& why) const {
  OutboxFiles& files = tree.layer();
  // Two directories and the record, then a copy of every file.
  bytes = 2 * blockSize + roundedUp(record.toText().size(), blockSize);
  std::vector<std::string> sources = email.attachments;
  sources.insert(sources.begin(), email.bodyFile);
  for (auto const& source : sources) {
    OutboxHandle file(files);
    OutboxFiles::Status status;
    int failed = files.openFile(source, file.receive());
    if (failed == 0) {
      failed = files.stat(file.get(), status);
    }
    if (failed != 0) {
      why = "cannot read " + source + ": " + describe(failed);
      return false;
    }
    bytes += roundedUp(status.size, blockSize);
  }
  return true;
}

// Drops the oldest kept e-mails until one more of `bytes` fits both bounds.
void OutboxStore::makeRoom(std::uint64_t bytes) {
  std::vector<std::string> kept = list();
  std::uint64_t total = 0;
  for (auto const& sequence : kept) {
    total += tree.blocks(handle.get(), sequence);
  }
  for (std::size_t oldest = 0; oldest < kept.size(); ++oldest) {
    bool const tooMany = kept.size() - oldest >= bounds.emails;
    if (!tooMany && total + bytes <= bounds.bytes) {
      return;
    }
    total -= std::min(total, tree.blocks(handle.get(), kept[oldest]));
    drop(kept[oldest], tooMany ? "the outbox holds " + std::to_string(bounds.emails) + " e-mails at most"
                               : "the outbox holds " + std::to_string(bounds.bytes) + " bytes at most");
  }
}

bool OutboxStore::drop(std::string const& sequence, std::string const& why) {
  KeptEmail dropped;
  std::string unreadable;
  bool const named = read(sequence, dropped, unreadable);
  std::string const name = named ? dropped.configurationName : "";
  if (!remove(sequence)) {
    OutboxLog::notRemoved(sequence, name, "cannot remove " + pathOf(sequence));
    return false;
  }
  if (named) {
    OutboxLog::dropped(name, "dropped from the outbox", why);
  } else {
    OutboxLog::unreadableDropped(sequence, unreadable);
  }
  return true;
}

// The copies, then the record, each synced, then their directories; the record is written last,
// so a kept e-mail with a record is whole.
int OutboxStore::write(std::string const& temporary, ComposedEmail const& email, KeptEmail const& record,
                       std::string& what) const {
  OutboxFiles& files = tree.layer();
  OutboxHandle directory(files);
  OutboxHandle attachments(files);
  what = "cannot write " + pathOf(temporary);
  int failed = files.makeDirectoryAt(handle.get(), temporary);
  failed = failed ? failed : files.openDirectoryAt(handle.get(), temporary, directory.receive());
  failed = failed ? failed : files.makeDirectoryAt(directory.get(), kAttachments);
  failed = failed ? failed : files.openDirectoryAt(directory.get(), kAttachments, attachments.receive());
  if (failed != 0) {
    return failed;
  }
  bool sourceFailed = false;
  // What failed: the work file read, or the place in the kept e-mail written.
  auto const failedAt = [&](std::string const& source, char const* place) {
    if (sourceFailed) {
      what = "cannot read " + source;
    } else {
      what.append("/").append(place);
    }
    return failed;
  };
  if ((failed = tree.copyIn(email.bodyFile, directory.get(), kBody, sourceFailed)) != 0) {
    return failedAt(email.bodyFile, kBody);
  }
  for (std::size_t i = 0; i < email.attachments.size(); ++i) {
    if ((failed = tree.copyIn(email.attachments[i], attachments.get(), record.attachments[i], sourceFailed)) != 0) {
      return failedAt(email.attachments[i], kAttachments);
    }
  }
  failed = files.sync(attachments.get());
  failed = failed ? failed : tree.writeFile(directory.get(), kRecord, record.toText());
  return failed ? failed : files.sync(directory.get());
}

std::vector<std::string> OutboxStore::list() const {
  std::vector<std::string> names;
  std::vector<std::string> kept;
  tree.layer().list(handle.get(), names);
  std::copy_if(names.begin(), names.end(), std::back_inserter(kept), isSequence);
  std::sort(kept.begin(), kept.end());
  return kept;
}

std::vector<std::string> OutboxStore::unknownNames() const {
  std::vector<std::string> names;
  std::vector<std::string> unknown;
  tree.layer().list(handle.get(), names);
  std::copy_if(names.begin(), names.end(), std::back_inserter(unknown),
               [](std::string const& name) { return !isSequence(name) && !isLeftover(name); });
  std::sort(unknown.begin(), unknown.end());
  return unknown;
}

// Reported when an e-mail is kept, which is rare, rather than at every pass.
void OutboxStore::reportUnknownNames() const {
  std::string listed;
  for (auto const& unknown : unknownNames()) {
    listed += (listed.empty() ? "" : ", ") + unknown;
  }
  if (!listed.empty()) {
    OutboxLog::unknownEntries(listed);
  }
}

void OutboxStore::removeLeftovers() const {
  std::vector<std::string> names;
  tree.layer().list(handle.get(), names);
  for (auto const& name : names) {
    // A removal cut short was decided, and logged, before it began; a keep cut short lost an e-mail.
    bool const keeping = name.compare(0, std::strlen(kKeeping), kKeeping) == 0;
    if (isLeftover(name) && tree.removeTree(handle.get(), name) == 0 && keeping) {
      OutboxLog::lostKeeping(name.substr(std::strlen(kKeeping)));
    }
  }
}

// Once the sequence numbers run out (a number planted at the end of their range), the kept
// e-mails are numbered again from 1, oldest first: each rename moves a number down below every
// number not yet moved, so the order holds after any of them.
std::string OutboxStore::nextSequence() {
  std::vector<std::string> kept = list();
  if (kept.empty() || std::stoull(kept.back()) < kLastSequence) {
    return sequenceText(kept.empty() ? 1 : std::stoull(kept.back()) + 1);
  }
  std::uint64_t number = 0;
  for (auto const& sequence : kept) {
    std::string const renamed = sequenceText(++number);
    if (renamed != sequence && tree.layer().renameAt(handle.get(), sequence, handle.get(), renamed) == 0) {
      tree.layer().sync(handle.get());
    }
  }
  kept = list();
  return sequenceText(std::stoull(kept.back()) + 1);
}

bool OutboxStore::read(std::string const& sequence, KeptEmail& email, std::string& why) const {
  OutboxHandle directory(tree.layer());
  std::string text;
  int failed = tree.layer().openDirectoryAt(handle.get(), sequence, directory.receive());
  if (failed != 0) {
    why =
        failed == ENOTDIR || failed == ELOOP ? "not a directory of the outbox" : "cannot open it: " + describe(failed);
    return false;
  }
  if ((failed = tree.readFile(directory.get(), kRecord, kRecordLimit, text)) != 0) {
    why = "its record: " + describe(failed);
    return false;
  }
  if (!email.fromText(text)) {
    why = "its record cannot be read";
    return false;
  }
  return true;
}

int OutboxStore::update(std::string const& sequence, KeptEmail const& email) const {
  OutboxFiles& files = tree.layer();
  OutboxHandle directory(files);
  if (int const failed = files.openDirectoryAt(handle.get(), sequence, directory.receive())) {
    return failed;
  }
  // A temporary record that a crash left behind is the outbox's own.
  int failed = files.removeAt(directory.get(), kNewRecord, false);
  failed = failed == ENOENT ? 0 : failed;
  failed = failed ? failed : tree.writeFile(directory.get(), kNewRecord, email.toText());
  failed = failed ? failed : files.renameAt(directory.get(), kNewRecord, directory.get(), kRecord);
  failed = failed ? failed : files.sync(directory.get());
  if (failed != 0) {
    files.removeAt(directory.get(), kNewRecord, false);
  }
  return failed;
}

// The e-mail disappears at once under its number; what a crash leaves behind is removed later.
bool OutboxStore::remove(std::string const& sequence) const {
  OutboxFiles& files = tree.layer();
  std::string const gone = kRemoving + sequence;
  if (files.renameAt(handle.get(), sequence, handle.get(), gone) == 0 && files.sync(handle.get()) == 0) {
    tree.removeTree(handle.get(), gone);
    return true;
  }
  tree.removeTree(handle.get(), sequence);
  OutboxFiles::Status status;
  return files.statAt(handle.get(), sequence, status) == ENOENT;
}

bool OutboxStore::composed(std::string const& sequence, KeptEmail const& email, ComposedEmail& kept,
                           std::string& why) const {
  OutboxFiles& files = tree.layer();
  OutboxHandle directory(files);
  OutboxHandle attachments(files);
  std::string body;
  int failed = files.openDirectoryAt(handle.get(), sequence, directory.receive());
  if (failed == 0 && (failed = tree.readFile(directory.get(), kBody, bounds.bytes, body)) != 0) {
    why = "its body: " + describe(failed);
    return false;
  }
  failed = failed ? failed : files.openDirectoryAt(directory.get(), kAttachments, attachments.receive());
  if (failed != 0) {
    why = "its attachments: " + describe(failed);
    return false;
  }
  std::string const prefix = pathOf(sequence) + "/" + kAttachments + "/";
  std::vector<std::string> paths;
  for (auto const& name : email.attachments) {
    OutboxFiles::Status status;
    failed = files.statAt(attachments.get(), name, status);
    if (failed != 0 || status.type != OutboxFiles::Type::Regular) {
      why = "its attachment " + name + ": " + describe(failed ? failed : EINVAL);
      return false;
    }
    paths.push_back(prefix + name);
  }
  kept.configurationId = email.configurationId;
  kept.configurationName = email.configurationName;
  kept.subject = email.subject;
  kept.recipients = email.recipients;
  kept.bodyFile = pathOf(sequence) + "/" + kBody;
  kept.body = std::move(body);
  kept.setAttachments(std::move(paths));
  return true;
}

}  // namespace emailservice
