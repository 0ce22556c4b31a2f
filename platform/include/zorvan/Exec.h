// Utility library: running the card's commands.
#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace zorvan {

// Runs `args[0]` with the arguments `args[1..]` (no shell of its own; a bare program name is
// looked up on the PATH), waits for it to end, and puts what it wrote on standard output into
// `out` and what it wrote on standard error into `err` (either may be null: the output is then
// discarded). `input` is written to the program's standard input, which is then closed; the
// empty text gives it an empty input. The program runs in a process group of its own.
// `timeoutSeconds` ends the program and its process group with SIGKILL after that many seconds;
// 0 waits as long as it runs. The call returns once the program has ended, even when something
// it started still holds its output; whatever is left of its process group is then ended too,
// so no process of the command outlives the call.
// Returns the program's exit status, or 128 plus the signal number when a signal ended it.
// Raises an exception derived from std::exception when the program cannot be started.
int exec(std::vector<std::string> args, std::string const& input, unsigned int timeoutSeconds, std::stringstream* out,
         std::stringstream* err);

// Runs a command to its end within the constructor, as exec() does, discarding its output.
// `timeoutSeconds` as for exec(). Raises an exception derived from std::exception when the
// program cannot be started.
class Exec {
 public:
  Exec(std::vector<std::string> const& args, unsigned int timeoutSeconds);
  ~Exec() = default;
  Exec(Exec const&) = delete;
  Exec& operator=(Exec const&) = delete;

  int exitStatus() const { return status; }

 private:
  int status;
};

}  // namespace zorvan
