// A stand-in of the outbox's storage layer that forwards every call to the system's and breaks
// only what a test asks: a change (a directory made, a file created, written or synced, a rename,
// a removal) may be refused with an errno or end the process, and the clocks may be set.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "outbox/OutboxFiles.h"

namespace emailservice::testing {

class FaultyFiles final : public OutboxFiles {
 public:
  // Called before each change with its number (from 1) and its name ("write", "sync", ...): 0
  // lets it happen, an errno refuses it. It may also end the process.
  std::function<int(std::size_t step, std::string const& change)> beforeChange;
  std::optional<std::int64_t> wall;
  std::optional<std::int64_t> boot;
  std::optional<std::string> id;

  std::size_t steps() const { return stepsMade; }

  int openDirectory(std::string const& path, int& handle) override { return posix().openDirectory(path, handle); }
  int makeDirectory(std::string const& path) override {
    return change("mkdir", [&] { return posix().makeDirectory(path); });
  }
  int openDirectoryAt(int directory, std::string const& name, int& handle) override {
    return posix().openDirectoryAt(directory, name, handle);
  }
  int makeDirectoryAt(int directory, std::string const& name) override {
    return change("mkdir", [&] { return posix().makeDirectoryAt(directory, name); });
  }
  int list(int directory, std::vector<std::string>& names) override { return posix().list(directory, names); }
  int statAt(int directory, std::string const& name, Status& status) override {
    return posix().statAt(directory, name, status);
  }
  int stat(int handle, Status& status) override { return posix().stat(handle, status); }
  int openFile(std::string const& path, int& handle) override { return posix().openFile(path, handle); }
  int openFileAt(int directory, std::string const& name, int& handle) override {
    return posix().openFileAt(directory, name, handle);
  }
  int read(int handle, char* buffer, std::size_t size, std::size_t& got) override {
    return posix().read(handle, buffer, size, got);
  }
  int createFileAt(int directory, std::string const& name, int& handle) override {
    return change("create", [&] { return posix().createFileAt(directory, name, handle); });
  }
  int write(int handle, char const* data, std::size_t size) override {
    return change("write", [&] { return posix().write(handle, data, size); });
  }
  int sync(int handle) override {
    return change("sync", [&] { return posix().sync(handle); });
  }
  void close(int handle) override { posix().close(handle); }
  int renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) override {
    return change("rename", [&] { return posix().renameAt(fromDirectory, from, toDirectory, to); });
  }
  int removeAt(int directory, std::string const& name, bool isDirectory) override {
    return change("remove", [&] { return posix().removeAt(directory, name, isDirectory); });
  }
  int lock(int directory) override { return posix().lock(directory); }
  std::uint32_t user() override { return posix().user(); }
  std::int64_t wallSeconds() override { return wall ? *wall : posix().wallSeconds(); }
  std::int64_t bootSeconds() override { return boot ? *boot : posix().bootSeconds(); }
  std::string bootId() override { return id ? *id : posix().bootId(); }

 private:
  template <typename Call>
  int change(char const* name, Call const& call) {
    ++stepsMade;
    int const refused = beforeChange ? beforeChange(stepsMade, name) : 0;
    return refused != 0 ? refused : call();
  }

  std::size_t stepsMade = 0;
};

}  // namespace emailservice::testing
