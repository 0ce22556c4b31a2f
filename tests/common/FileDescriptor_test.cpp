// The shared descriptor helpers: the retry of an interrupted call, the one owner of a
// descriptor, and the lock file that the library's calls and the simulator's runs wait on.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "FileDescriptor.h"
#include "LockFile.h"

namespace emailservice::testing {
namespace {

bool isClosed(int fd) { return ::fcntl(fd, F_GETFD) == -1 && errno == EBADF; }

int openNull() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

// Successive calls: the errno of each interrupted or failed call, then the last one.
struct RetryCase {
  std::vector<int> failures;  // errno of each failing call before the last one
  int lastResult;
  int lastErrno;
  int calls;
};

TEST(FileDescriptorTest, RetriesOnlyInterruptedCalls) {
  std::vector<RetryCase> const cases = {
      {{}, 7, 0, 1},              // done at once
      {{EINTR, EINTR}, 5, 0, 3},  // interrupted twice, then done
      {{}, -1, EBADF, 1},         // another failure is given at once
      {{EINTR}, -1, EIO, 2},      // interrupted, then failed
  };
  for (auto const& testCase : cases) {
    int calls = 0;
    int const result = retryOnInterrupt([&] {
      std::size_t const call = static_cast<std::size_t>(calls++);
      errno = call < testCase.failures.size() ? testCase.failures[call] : testCase.lastErrno;
      return call < testCase.failures.size() ? -1 : testCase.lastResult;
    });
    EXPECT_EQ(result, testCase.lastResult);
    EXPECT_EQ(calls, testCase.calls);
    if (result < 0) {
      EXPECT_EQ(errno, testCase.lastErrno);
    }
  }
}

TEST(FileDescriptorTest, OneOwnerClosesOnce) {
  int const first = openNull();
  int const second = openNull();
  ASSERT_GE(first, 0);
  ASSERT_GE(second, 0);
  {
    FileDescriptor owner(first);
    FileDescriptor moved(std::move(owner));
    EXPECT_FALSE(owner.isOpen());
    EXPECT_EQ(moved.get(), first);

    FileDescriptor other(second);
    other = std::move(moved);  // closes what `other` held
    EXPECT_TRUE(isClosed(second));
    EXPECT_FALSE(isClosed(first));
    EXPECT_EQ(other.get(), first);
  }
  EXPECT_TRUE(isClosed(first));

  FileDescriptor kept(openNull());
  int const released = kept.release();
  kept.reset();
  EXPECT_FALSE(isClosed(released));
  ::close(released);
}

TEST(FileDescriptorTest, LockWaitsForTheHolder) {
  std::string const path = "/tmp/descriptor-test.lock";
  std::atomic<bool> second{false};
  std::thread waiter;
  {
    LockFile holder;
    ASSERT_TRUE(holder.lock(path));
    waiter = std::thread([&] {
      LockFile other;
      second = other.lock(path);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(second);
  }
  waiter.join();
  EXPECT_TRUE(second);
  EXPECT_EQ(std::filesystem::status(path).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(FileDescriptorTest, LockRefusesALinkAndAMissingDirectory) {
  std::string const link = "/tmp/descriptor-link.lock";
  std::filesystem::remove(link);
  std::filesystem::create_symlink("/tmp/descriptor-target", link);
  LockFile lock;
  EXPECT_FALSE(lock.lock(link));
  EXPECT_EQ(errno, ELOOP);
  EXPECT_FALSE(std::filesystem::exists("/tmp/descriptor-target"));
  EXPECT_FALSE(lock.lock("/tmp/no-such-directory/x.lock"));
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace emailservice::testing
