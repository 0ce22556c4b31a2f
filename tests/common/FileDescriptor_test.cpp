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

#include "FileDescriptor.h"
#include "LockFile.h"

namespace emailservice::testing {
namespace {

bool isClosed(int fd) { return ::fcntl(fd, F_GETFD) == -1 && errno == EBADF; }

int openNull() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

// Interrupted calls are made again; another failure is given at once, with its errno.
TEST(FileDescriptorTest, RetriesOnlyInterruptedCalls) {
  for (int const failure : {EINTR, EIO}) {
    int calls = 0;
    int const result = retryOnInterrupt([&] {
      errno = ++calls < 3 ? failure : 0;
      return calls < 3 ? -1 : 7;
    });
    EXPECT_EQ(result, failure == EINTR ? 7 : -1);
    EXPECT_EQ(calls, failure == EINTR ? 3 : 1);
    EXPECT_EQ(errno, failure == EINTR ? 0 : EIO);
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
