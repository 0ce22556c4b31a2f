// A whole e-mail through the shell and the stand-ins to a real SMTP server on the loopback
// (Debian's aiosmtpd, storing what it receives in a Maildir).
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "EmailTest.h"
#include "emailservice/ErrorCode.h"
#include "zorvan/Exec.h"

extern char** environ;

namespace emailservice::testing {
namespace {

namespace fs = std::filesystem;

sockaddr_in loopback(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// A port of the loopback that nothing listens on right now.
unsigned short freePort() {
  int const socketFd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  ::bind(socketFd, reinterpret_cast<sockaddr*>(&address), length);
  ::getsockname(socketFd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(socketFd);
  return ntohs(address.sin_port);
}

bool accepts(unsigned short port) {
  int const socketFd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(port);
  bool const connected = ::connect(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  ::close(socketFd);
  return connected;
}

class SmtpDelivery : public EmailTest {
 protected:
  void SetUp() override {
    EmailTest::SetUp();
    std::error_code ignored;
    fs::remove_all(testDirectory, ignored);
    fs::create_directories(testDirectory);
    port = freePort();
    std::vector<std::string> args = {
        "/usr/bin/python3",          "-m",   "aiosmtpd", "-n", "-l", "127.0.0.1:" + std::to_string(port), "-c",
        "aiosmtpd.handlers.Mailbox", maildir};
    std::vector<char*> argv;
    for (auto& arg : args) {
      argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    ASSERT_EQ(::posix_spawn(&server, argv[0], nullptr, nullptr, argv.data(), environ), 0);
    for (int attempt = 0; attempt < 100 && !accepts(port); ++attempt) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ASSERT_TRUE(accepts(port)) << "the SMTP server did not start";
    ::setenv("SIMCARD_SMTP_URL", ("smtp://127.0.0.1:" + std::to_string(port)).c_str(), 1);
    std::string const path = ::getenv("PATH") != nullptr ? ::getenv("PATH") : "/usr/bin:/bin";
    ::setenv("PATH", (std::string(SIMCARD_BIN_DIR) + ":" + path).c_str(), 1);
  }

  void TearDown() override {
    ::unsetenv("SIMCARD_SMTP_URL");
    if (server > 0) {
      ::kill(server, SIGTERM);
      ::waitpid(server, nullptr, 0);
    }
    std::error_code ignored;
    fs::remove_all(testDirectory, ignored);
    EmailTest::TearDown();
  }

  std::string received() {
    std::stringstream out;
    std::stringstream errors;
    EXPECT_EQ(zorvan::exec(
                  {"/usr/bin/python3", std::string(EMAILSERVICE_SOURCE_DIR) + "/tests/email/mime_summary.py", maildir},
                  "", 30, &out, &errors),
              0)
        << errors.str();
    return out.str();
  }

  std::string const testDirectory = std::string(paths::kPathPrefix) + "/tmp/email-smtp-test";
  std::string const maildir = testDirectory + "/Maildir";
  unsigned short port = 0;
  pid_t server = 0;
};

TEST_F(SmtpDelivery, TheServerReceivesSubjectBodyAndAttachment) {
  writeFile(workPath("ups.csv"), "time,load\n1,20\n");
  auto email = makeEmail({workPath("ups.csv")});
  ASSERT_EQ(email->manageEmail("ops@example.com admin@example.org"), ErrorCode::Success);
  EXPECT_EQ(received(), "To: ops@example.com, admin@example.org\nSubject: UPS-A\n-- part text/plain\n" +
                            expectedBanner("Host address: https://192.0.2.7\n") +
                            "\n-- part text/csv ups.csv\ntime,load\n1,20\n");
}

TEST_F(SmtpDelivery, PlainUserNamesAreRefusedForSmtp) {
  EXPECT_EQ(makeEmail()->manageEmail("ops"), ErrorCode::SendError);
  EXPECT_EQ(received(), "");
}

}  // namespace
}  // namespace emailservice::testing
