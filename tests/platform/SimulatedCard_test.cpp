// The simulated card's platform as its users rely on it where the scenarios do not go (they use
// the data store's answers and every operation's fault): the card file, running programs, the
// parser's messages.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

#include "CardPaths.h"
#include "simcard/CardFile.h"
#include "simcard/ParseMessage.h"
#include "support/CardTest.h"
#include "zorvan/Exec.h"

namespace emailservice::testing {
namespace {

std::string const kCardFile = std::string(paths::kWorkDirectory) + "card.txtpb";

// The card is loaded from a card file.
class SimulatedCardTest : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    writeFile(kCardFile, "productName: \"Card X\"\ndevices { id: 20 friendlyName: \"F\" }\n");
    std::string error;
    ASSERT_TRUE(simcard::CardFile::load(kCardFile, card().state(), error)) << error;
  }
};

// A card file that is not read leaves the card as it was: a FIFO without a writer (which would be
// waited for) or a device. (The tools' command lines show the other errors.)
TEST_F(SimulatedCardTest, CardFileThatIsNotReadLeavesTheCardAsItWas) {
  ASSERT_EQ(mkfifo((kCardFile + ".fifo").c_str(), 0600), 0);
  auto const loaded = card().state().SerializeAsString();
  for (auto const& [file, error] : {std::pair<std::string, std::string>{kCardFile + ".fifo", "a pipe without a writer"},
                                    {"/dev/zero", "not a regular file or a pipe"}}) {
    std::string why;
    EXPECT_FALSE(simcard::CardFile::load(file, card().state(), why));
    EXPECT_EQ(why, std::string(file).append(": cannot read: ").append(error));
    EXPECT_TRUE(card().state().SerializeAsString() == loaded) << file;
  }
}

// The parser's messages in our words, the place left to the caller; one that no rule knows keeps
// its words.
TEST(ParseMessage, SaysTheParsersMessagesInTheToolsWords) {
  std::pair<char const*, char const*> const cases[] = {
      {"Expected identifier, got: ", "expected a field name, found the end of the file"},
      {"Invalid value for boolean field \"enabled\". Value: \"yes\".",
       "bad value \"yes\" for field \"enabled\": give true or false"},
  };
  for (auto const& [message, reworded] : cases) {
    EXPECT_EQ(simcard::ParseMessage::reword(message), reworded) << message;
  }
}

std::vector<std::string> sh(std::string const& script) { return {"/bin/sh", "-c", script}; }

// Real programs, run to their end or their deadline; every run ends within seconds. (That the
// deadline and the program's end also end what it left running, the mail command's tests show.)
TEST_F(SimulatedCardTest, RunsTheProgramWithItsInputAndGivesItsOutputsAndStatus) {
  std::string const large(3 << 20, 'x');
  struct Case {
    std::vector<std::string> args;
    std::string input;
    unsigned int timeoutSeconds;
    int status;
    std::string out, err;
  };
  Case const cases[] = {
      {sh("printf 'to out\\n'; printf 'to err' >&2; exit 3"), "", 10, 3, "to out\n", "to err"},
      {{"echo", "a b", "c"}, "", 10, 0, "a b c\n", ""},  // no shell; the bare name is found on the PATH
      {sh("cat; echo end"), "line 1\nline 2\n", 10, 0, "line 1\nline 2\nend\n", ""},
      {sh("cat; head -c 2000000 /dev/zero >&2"), large, 30, 0, large, std::string(2000000, '\0')},
      // The deadline ends a program that closed its outputs.
      {sh("exec >&- 2>&-; sleep 30"), "", 1, 128 + 9, "", ""},
      // A program that cannot be started raises the error of its start (negated here), not 127.
      {{"no-such-program-on-the-path"}, "", 10, -ENOENT, "", ""},
  };
  for (auto const& c : cases) {
    auto const start = std::chrono::steady_clock::now();
    std::stringstream out, err;
    std::string const name = ::testing::PrintToString(c.args);
    int status = 0;
    try {
      status = zorvan::exec(c.args, c.input, c.timeoutSeconds, &out, &err);
    } catch (std::system_error const& error) {
      status = -error.code().value();
    }
    EXPECT_EQ(status, c.status) << name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << name;
    EXPECT_TRUE(out.str() == c.out && err.str() == c.err) << name << ": " << out.str().substr(0, 80);
  }
  EXPECT_THROW(zorvan::Exec({"/nonexistent/program"}, 10), std::system_error);
}

}  // namespace
}  // namespace emailservice::testing
