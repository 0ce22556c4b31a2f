// The end of a tool's run, as GNU's close_stdout ends a program: standard output and standard
// error must have been written whole, else the exit status says so. A report lost on a full disk
// (or on /dev/full) would otherwise read as a complete one with status 0.
#pragma once

namespace tools {

class StandardStreams final {
 public:
  // The exit status for a tool that would exit with `status`: `status` when standard output and
  // standard error were written whole and standard output closes; else kExitWriteError, with
  // "PROGRAM: write error: REASON" on standard error while it can still be written.
  static int finish(char const* program, int status);

  static constexpr int kExitWriteError = 2;
};

}  // namespace tools
