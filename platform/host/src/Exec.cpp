#include "zorvan/Exec.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>

#include "FileDescriptor.h"
#include "simcard/SimulatedCard.h"

namespace zorvan {

namespace {

using emailservice::FileDescriptor;
using emailservice::retryOnInterrupt;

// Exit status of the child when it cannot start the program; the parent learns the real cause
// through the error pipe, so this value never reaches the caller.
constexpr int kCannotStart = 127;

[[noreturn]] void throwErrno(int error, std::string const& what) {
  throw std::system_error(error, std::generic_category(), what);
}

// A pipe whose two ends are closed on exec, so that no other program started meanwhile keeps
// them open.
struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;

  Pipe() {
    int ends[2];
    if (::pipe(ends) != 0) {
      throwErrno(errno, "cannot create a pipe");
    }
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
  }
};

// In the child: wires the pipes to the standard streams and starts the program. Only calls that
// are safe after fork. On failure writes errno to the error pipe.
[[noreturn]] void startChild(std::vector<char*> const& argv, Pipe& input, Pipe& output, Pipe& error, Pipe& startError) {
  // Its own process group, so that a timeout ends the program together with its children.
  ::setpgid(0, 0);
  if (::dup2(input.readEnd.get(), STDIN_FILENO) < 0 || ::dup2(output.writeEnd.get(), STDOUT_FILENO) < 0 ||
      ::dup2(error.writeEnd.get(), STDERR_FILENO) < 0) {
    int const cause = errno;
    (void)!::write(startError.writeEnd.get(), &cause, sizeof cause);
    ::_exit(kCannotStart);
  }
  // dup2 clears close-on-exec on the standard streams; every other descriptor closes on exec.
  ::execvp(argv[0], argv.data());
  int const cause = errno;
  (void)!::write(startError.writeEnd.get(), &cause, sizeof cause);
  ::_exit(kCannotStart);
}

// Reads what the child reported on the error pipe: 0 when the program was started (the pipe
// closed on exec), otherwise the errno of the failure.
int readStartError(FileDescriptor& startError) {
  int cause = 0;
  ssize_t const got = retryOnInterrupt([&] { return ::read(startError.get(), &cause, sizeof cause); });
  return got == static_cast<ssize_t>(sizeof cause) ? cause : 0;
}

int exitStatusOf(int status) {
  if (WIFEXITED(status)) {
    return WEXITSTATUS(status);
  }
  if (WIFSIGNALED(status)) {
    return 128 + WTERMSIG(status);
  }
  return -1;
}

// Collects the ended program and gives its exit status.
int waitForChild(pid_t child) {
  int status = 0;
  if (retryOnInterrupt([&] { return ::waitpid(child, &status, 0); }) < 0) {
    return -1;
  }
  return exitStatusOf(status);
}

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

// How often the caller looks whether the program has ended while its output is still open.
constexpr std::chrono::milliseconds kEndCheck(50);

// What is taken from each pipe once the program's group has been ended: 16 blocks of 64 KiB.
constexpr int kRestBlocks = 16;

// Whether the program has ended, without collecting it: until it is collected its process id
// stays its process group's id, so that ending the group cannot reach a stranger.
bool hasEnded(pid_t child, bool wait) {
  siginfo_t info{};
  int const options = WEXITED | WNOWAIT | (wait ? 0 : WNOHANG);
  if (retryOnInterrupt([&] { return ::waitid(P_PID, static_cast<id_t>(child), &info, options); }) < 0) {
    return true;  // nothing left to wait for
  }
  return info.si_pid != 0;
}

// Waits until the program has ended, or until `deadline` when `timeoutSeconds` is not 0. Covers a
// program that closed its output early and runs on.
void waitForEnd(pid_t child, unsigned int timeoutSeconds, Deadline deadline) {
  if (timeoutSeconds == 0) {
    hasEnded(child, true);
    return;
  }
  while (!hasEnded(child, false) && Clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// Ends whatever is left of the program's process group (the program itself when it still runs,
// and what it started and left behind) and collects the program's status.
int endProgramGroup(pid_t child) {
  ::kill(-child, SIGKILL);
  ::kill(child, SIGKILL);
  return waitForChild(child);
}

// Writes to the program's standard input without letting SIGPIPE end the caller when the program
// has closed it: the signal is blocked for the write and a SIGPIPE it raised is consumed.
ssize_t writeWithoutSigpipe(int fd, char const* data, std::size_t size) {
  sigset_t pipeSignal;
  sigset_t previous;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
  sigset_t pending;
  sigpending(&pending);
  bool const wasPending = sigismember(&pending, SIGPIPE) == 1;

  ssize_t written = ::write(fd, data, size);
  int const cause = errno;
  if (written < 0 && cause == EPIPE && !wasPending) {
    timespec const noWait{0, 0};
    retryOnInterrupt([&] { return ::sigtimedwait(&pipeSignal, nullptr, &noWait); });
  }
  ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  errno = cause;
  return written;
}

// Moves data between the caller and the running child until both output pipes are closed, the
// program has ended while something it started still holds them, or the deadline passes.
class Exchange {
 public:
  enum class Ending { OutputClosed, ProgramEnded, TimedOut };

  Exchange(std::string const& input, FileDescriptor& toChild, FileDescriptor& fromOut, FileDescriptor& fromErr)
      : in(input), stdinFd(toChild), stdoutFd(fromOut), stderrFd(fromErr) {
    if (in.empty()) {
      stdinFd.close();
    } else {
      ::fcntl(stdinFd.get(), F_SETFL, ::fcntl(stdinFd.get(), F_GETFL) | O_NONBLOCK);
    }
  }

  Ending run(pid_t child, unsigned int timeoutSeconds, Deadline deadline, std::stringstream* out,
             std::stringstream* err) {
    Deadline nextCheck = Clock::now() + kEndCheck;
    while (stdoutFd.isOpen() || stderrFd.isOpen()) {
      Deadline const now = Clock::now();
      if (timeoutSeconds > 0 && now >= deadline) {
        return Ending::TimedOut;
      }
      if (now >= nextCheck) {
        if (hasEnded(child, false)) {
          return Ending::ProgramEnded;
        }
        nextCheck = now + kEndCheck;
      }
      Deadline const wake = timeoutSeconds > 0 ? std::min(deadline, nextCheck) : nextCheck;
      auto const waitMs = std::chrono::duration_cast<std::chrono::milliseconds>(wake - now).count() + 1;
      pollfd fds[3] = {{stdinFd.get(), POLLOUT, 0}, {stdoutFd.get(), POLLIN, 0}, {stderrFd.get(), POLLIN, 0}};
      int const ready = ::poll(fds, 3, static_cast<int>(waitMs));
      if (ready < 0) {
        if (errno == EINTR) {
          continue;
        }
        throwErrno(errno, "cannot wait for the program's output");
      }
      if (fds[0].revents != 0) {
        feedInput();
      }
      if (fds[1].revents != 0) {
        drain(stdoutFd, out);
      }
      if (fds[2].revents != 0) {
        drain(stderrFd, err);
      }
    }
    return Ending::OutputClosed;
  }

  // Once the program's group has been ended: takes what is left in the pipes, without waiting for
  // a writer that escaped the group (at most a bounded amount).
  void takeRest(std::stringstream* out, std::stringstream* err) {
    takeRest(stdoutFd, out);
    takeRest(stderrFd, err);
  }

 private:
  void feedInput() {
    ssize_t const written = writeWithoutSigpipe(stdinFd.get(), in.data() + sent, in.size() - sent);
    if (written < 0) {
      if (errno != EAGAIN && errno != EINTR) {
        // The program closed its input early; what it did not read is dropped.
        stdinFd.close();
      }
      return;
    }
    sent += static_cast<std::size_t>(written);
    if (sent == in.size()) {
      stdinFd.close();
    }
  }

  static void takeRest(FileDescriptor& fd, std::stringstream* sink) {
    if (!fd.isOpen()) {
      return;
    }
    ::fcntl(fd.get(), F_SETFL, ::fcntl(fd.get(), F_GETFL) | O_NONBLOCK);
    for (int block = 0; block < kRestBlocks && fd.isOpen(); ++block) {
      drain(fd, sink);  // closes the pipe once it is empty
    }
  }

  // Reads one block; closes the pipe at its end or on an error (an empty pipe in takeRest).
  static void drain(FileDescriptor& fd, std::stringstream* sink) {
    char buffer[65536];
    ssize_t const got = ::read(fd.get(), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) {
      return;
    }
    if (got <= 0) {
      fd.close();
      return;
    }
    if (sink != nullptr) {
      sink->write(buffer, got);
    }
  }

  std::string const& in;
  std::size_t sent = 0;
  FileDescriptor& stdinFd;
  FileDescriptor& stdoutFd;
  FileDescriptor& stderrFd;
};

int runHook(simcard::SimulatedCard::CommandHook const& hook, std::vector<std::string> const& args,
            std::string const& input, std::stringstream* out) {
  std::string printed;
  int const status = hook(args, input, printed);
  if (out != nullptr) {
    *out << printed;
  }
  return status;
}

}  // namespace

int exec(std::vector<std::string> args, std::string const& input, unsigned int timeoutSeconds, std::stringstream* out,
         std::stringstream* err) {
  // A copy: the hook may replace itself while it runs.
  auto const hook = simcard::SimulatedCard::instance().getCommandHook();
  if (hook) {
    return runHook(hook, args, input, out);
  }
  if (args.empty()) {
    throwErrno(EINVAL, "no program to run");
  }
  std::vector<char*> argv;
  argv.reserve(args.size() + 1);
  for (auto& arg : args) {
    argv.push_back(arg.data());
  }
  argv.push_back(nullptr);

  Pipe stdinPipe;
  Pipe stdoutPipe;
  Pipe stderrPipe;
  Pipe startError;
  pid_t const child = ::fork();
  if (child < 0) {
    throwErrno(errno, "cannot start " + args[0]);
  }
  if (child == 0) {
    startChild(argv, stdinPipe, stdoutPipe, stderrPipe, startError);
  }
  stdinPipe.readEnd.close();
  stdoutPipe.writeEnd.close();
  stderrPipe.writeEnd.close();
  startError.writeEnd.close();

  if (int const cause = readStartError(startError.readEnd); cause != 0) {
    waitForChild(child);
    throwErrno(cause, "cannot start " + args[0]);
  }
  auto const deadline = Clock::now() + std::chrono::seconds(timeoutSeconds);
  Exchange exchange(input, stdinPipe.writeEnd, stdoutPipe.readEnd, stderrPipe.readEnd);
  try {
    if (exchange.run(child, timeoutSeconds, deadline, out, err) == Exchange::Ending::OutputClosed) {
      waitForEnd(child, timeoutSeconds, deadline);
    }
  } catch (...) {
    endProgramGroup(child);
    throw;
  }
  // Nothing the program started outlives the run, whether it ended, timed out or left a child.
  int const status = endProgramGroup(child);
  exchange.takeRest(out, err);
  return status;
}

Exec::Exec(std::vector<std::string> const& args, unsigned int timeoutSeconds)
    : status(exec(args, "", timeoutSeconds, nullptr, nullptr)) {}

}  // namespace zorvan
