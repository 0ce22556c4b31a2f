// The host stand-ins of the card's "sudo" and "sendemail" (platform/host/bin), run directly, for
// what users of the simulated card rely on (docs/email.md): sendemail delivers a message into the
// Maildir and prints nothing, or prints the failure text, delivers nothing and says why on standard
// error; sudo runs the command as the user when it can, keeps the environment and the arguments.
// Whole e-mails through the library, the shell and these stand-ins are delivered and read back by
// the end-to-end test (tests/endtoend), into a Maildir and to an SMTP server.
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

struct Call {
  std::vector<std::string> args;  // "BIN/" stands for the stand-ins' directory, "FILE" for a readable file
  std::string printed;            // on standard output; "UID" stands for the id of the user sudo should
                                  // run as: "nobody" for root, the current user for anyone else
  bool succeeds;
  bool delivers;
};

TEST(StandInTest, SendemailAndSudoKeepTheCardsContract) {
  std::string const directory = fs::temp_directory_path() / ("emailservice-standin-" + std::to_string(getpid()));
  std::string const maildir = directory + "/Maildir";
  fs::create_directories(directory);
  fs::permissions(directory, fs::perms::all);  // for sudo's switch to another user
  writeFile(directory + "/ups.csv", "a,b\n");
  ::setenv("SIMCARD_MAILDIR", maildir.c_str(), 1);
  std::string const failed = "Could not send the message\n";
  uid_t const nobody = ::getpwnam("nobody")->pw_uid;
  std::vector<Call> const calls = {
      {{"BIN/sendemail", "-s", "S", "-a", "FILE", "FILE", "--", "ops", "b@example.com"}, "", true, true},
      {{"BIN/sendemail"}, failed, false, false},
      {{"BIN/sendemail", "-s", "S", "-a", "FILE"}, failed, false, false},
      {{"BIN/sendemail", "-s", "S", "-a", "FILE", "/no/such.csv", "--", "ops"}, failed, false, false},
      {{"BIN/sendemail", "-s", "S", "-a", "/tmp", "--", "ops"}, failed, false, false},
      {{"BIN/sendemail", "-s", "S", "--", "|cat"}, failed, false, false},
      {{"BIN/sendemail", "-s", "UPS \xff", "--", "ops"}, failed, false, false},
      {{"/usr/bin/env", "SIMCARD_SMTP_URL=smtp://127.0.0.1:1", "BIN/sendemail", "-s", "S", "--", "ops@example.com"},
       failed,
       false,
       false},
      {{"BIN/sudo", "-u", "nobody", "id", "-u"}, "UID", true, false},
      {{"BIN/sudo", "-u", "no-such-user-of-this-host", "id", "-u"}, std::to_string(::getuid()) + "\n", true, false},
      {{"BIN/sudo", "-u", "nobody", "/bin/sh", "-c", "printf '%s|%s' \"$SIMCARD_MAILDIR\" \"$0\"", "a b"},
       maildir + "|a b",
       true,
       false},
      {{"BIN/sudo", "id"}, "", false, false},
  };
  for (auto const& call : calls) {
    std::vector<std::string> args;
    for (auto const& arg : call.args) {
      args.push_back(arg == "FILE"               ? directory + "/ups.csv"
                     : arg.rfind("BIN/", 0) == 0 ? SIMCARD_BIN_DIR + arg.substr(3)
                                                 : arg);
    }
    SCOPED_TRACE(::testing::PrintToString(call.args));
    fs::remove_all(maildir);
    std::stringstream out;
    std::stringstream errors;
    int const status = zorvan::exec(args, "body\n", 30, &out, &errors);
    EXPECT_EQ(status == 0, call.succeeds) << errors.str();
    EXPECT_EQ(out.str(),
              call.printed == "UID" ? std::to_string(::geteuid() == 0 ? nobody : ::getuid()) + "\n" : call.printed);
    std::error_code missing;
    EXPECT_EQ(!fs::is_empty(maildir + "/new", missing) && !missing, call.delivers);
    EXPECT_TRUE(fs::is_empty(maildir + "/tmp", missing) || missing) << "a message left half-written";
  }
  ::unsetenv("SIMCARD_MAILDIR");
  fs::remove_all(directory);
}

}  // namespace
}  // namespace emailservice::testing
