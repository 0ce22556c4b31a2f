// What the outbox writes to its storage, for scripts/outbox-writes.sh: the example card's first
// configuration mails an alarm that the relay refuses; the e-mail as the library composed it is
// kept, sent again and refused, sent again and delivered, each counted through the storage layer
// (the tests' FaultyFiles, which forwards every call to the system). Then 32 such e-mails are kept
// to compare their content with the storage the bounds count.
//
//   outbox_writes CARD_FILE
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BuildSettings.h"
#include "CardPaths.h"
#include "cdsapi/CdsAccessor.h"
#include "emailservice/EmailService.h"
#include "outbox/FaultyFiles.h"
#include "outbox/OutboxRetry.h"
#include "outbox/OutboxStore.h"
#include "simcard/CardFile.h"
#include "simcard/CardPreparation.h"
#include "simcard/SimulatedCard.h"

namespace {

namespace fs = std::filesystem;
using emailservice::ComposedEmail;
using emailservice::OutboxStore;
using emailservice::testing::FaultyFiles;

std::string const kCopies = std::string(emailservice::paths::kPersistentDirectory) + "composed/";

std::uint64_t sizeOf(std::string const& path) { return fs::file_size(path); }

// Fires an active critical alarm at the library with the relay refusing it, and keeps a copy of
// the work files that the first configuration's mail command was given (the example card's
// "Operations": the alarm export and both measure exports).
ComposedEmail composeAlarm() {
  ComposedEmail email{"1",
                      "Operations",
                      "Server room UPS - Alarm - Active - Critical - On battery",
                      "ops@example.com",
                      kCopies + "body",
                      {},
                      {},
                      ""};
  std::vector<std::string> attachments;
  bool copied = false;
  simcard::SimulatedCard::instance().setCommandHook(
      [&](std::vector<std::string> const&, std::string const&, std::string& printed) {
        printed = "Could not send the message\n";
        if (copied) {
          return 0;
        }
        copied = true;
        fs::create_directories(kCopies);
        for (auto const& entry : fs::directory_iterator(emailservice::paths::kWorkDirectory)) {
          std::string const name = entry.path().filename().string();
          if (entry.is_regular_file() && name.size() > 7 && name.compare(name.size() - 7, 7, "ups.txt") == 0) {
            fs::copy_file(entry.path(), kCopies + "body", fs::copy_options::overwrite_existing);
          } else if (entry.is_regular_file() && entry.path().extension() == ".csv") {
            fs::copy_file(entry.path(), kCopies + name, fs::copy_options::overwrite_existing);
            attachments.push_back(kCopies + name);
          }
        }
        return 0;
      });
  cdsapi::CdsAccessor accessor;
  emailservice::EmailService(accessor).manageEmails(
      emailservice::EmailEvent{emailservice::EventType::Ups, "2026-11-25 10:00:00", 1, "1A", 1, "On battery"});
  email.setAttachments(attachments);
  return email;
}

void print(char const* what, FaultyFiles const& files) {
  std::printf(
      "%-30s %7llu bytes written, %zu files created, %zu syncs, %zu renames, %zu directories made, "
      "%zu removals\n",
      what, static_cast<unsigned long long>(files.bytesWritten()), files.changes("create"), files.changes("sync"),
      files.changes("rename"), files.changes("mkdir"), files.changes("remove"));
}

void retry(bool delivered, char const* what) {
  simcard::SimulatedCard::instance().setCommandHook(
      [delivered](std::vector<std::string> const&, std::string const&, std::string& printed) {
        printed = delivered ? "" : "Could not send the message\n";
        return 0;
      });
  FaultyFiles files;
  OutboxStore store(files, emailservice::settings::kOutboxDirectory,
                    {emailservice::settings::kOutboxMaxEmails, emailservice::settings::kOutboxMaxBytes});
  std::string why;
  if (store.open(OutboxStore::Use::Change, why)) {
    emailservice::OutboxRetry(store, OutboxRetry::Trigger::Event).run();
  }
  print(what, files);
}

}  // namespace

int main(int argc, char** argv) {
  simcard::proto::CardState state;
  std::string error;
  if (argc != 2 || !simcard::CardFile::load(argv[1], state, error) || !simcard::CardPreparation(state).prepare(error)) {
    std::fprintf(stderr, "usage: outbox_writes CARD_FILE (%s)\n", error.c_str());
    return 2;
  }
  simcard::SimulatedCard::instance().load(state);
  ComposedEmail const email = composeAlarm();
  fs::remove_all(emailservice::settings::kOutboxDirectory);
  std::uint64_t content = sizeOf(email.bodyFile);
  for (auto const& path : email.attachments) {
    content += sizeOf(path);
  }
  std::printf("Outbox in %s; one alarm e-mail: %llu bytes of body and %zu attachments\n",
              emailservice::settings::kOutboxDirectory, static_cast<unsigned long long>(content),
              email.attachments.size());

  FaultyFiles files;
  OutboxStore::Bounds const bounds{1000, std::uint64_t{1} << 40};
  {
    OutboxStore store(files, emailservice::settings::kOutboxDirectory, bounds);
    if (!store.open(OutboxStore::Use::Create, error)) {
      std::fprintf(stderr, "outbox_writes: %s\n", error.c_str());
      return 1;
    }
    store.keep(email, {true, "Could not send the message", "", false, 0});
  }
  print("keeping it (and its outbox):", files);
  retry(false, "a retry that fails again:");
  retry(true, "a retry that delivers it:");

  OutboxStore store(emailservice::OutboxFiles::system(), emailservice::settings::kOutboxDirectory, bounds);
  store.open(OutboxStore::Use::Change, error);
  for (int i = 0; i < 32; ++i) {
    store.keep(email, {true, "Could not send the message", "", false, 0});
  }
  std::uint64_t record = 0;
  std::uint64_t blocks = 0;
  for (auto const& entry : fs::recursive_directory_iterator(emailservice::settings::kOutboxDirectory)) {
    record += entry.is_regular_file() && entry.path().filename() == "email" ? entry.file_size() : 0;
  }
  OutboxStore const counted(emailservice::OutboxFiles::system(), emailservice::settings::kOutboxDirectory, bounds);
  emailservice::OutboxTree const tree(emailservice::OutboxFiles::system());
  int root = -1;
  emailservice::OutboxFiles::system().openDirectory(emailservice::settings::kOutboxDirectory, root);
  for (auto const& sequence : store.list()) {
    blocks += tree.blocks(root, sequence);
  }
  emailservice::OutboxFiles::system().close(root);
  std::printf(
      "32 kept e-mails:               %llu bytes of content (records included), %llu bytes counted by the "
      "bounds (the blocks they spend)\n",
      static_cast<unsigned long long>(32 * content + record), static_cast<unsigned long long>(blocks));
  return 0;
}
