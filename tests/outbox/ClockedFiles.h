// A stand-in of the outbox's storage layer that forwards every call to the system's, with clocks
// that a test sets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "outbox/OutboxFiles.h"

namespace emailservice::testing {

class ClockedFiles final : public OutboxFiles {
 public:
  std::optional<std::int64_t> wall;
  std::optional<std::int64_t> boot;
  std::optional<std::string> id;

  int openDirectory(std::string const& path, int& handle) override { return posix().openDirectory(path, handle); }
  int makeDirectory(std::string const& path) override { return posix().makeDirectory(path); }
  int openDirectoryAt(int directory, std::string const& name, int& handle) override {
    return posix().openDirectoryAt(directory, name, handle);
  }
  int makeDirectoryAt(int directory, std::string const& name) override {
    return posix().makeDirectoryAt(directory, name);
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
    return posix().createFileAt(directory, name, handle);
  }
  int write(int handle, char const* data, std::size_t size) override { return posix().write(handle, data, size); }
  int sync(int handle) override { return posix().sync(handle); }
  void close(int handle) override { posix().close(handle); }
  int renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) override {
    return posix().renameAt(fromDirectory, from, toDirectory, to);
  }
  int removeAt(int directory, std::string const& name, bool isDirectory) override {
    return posix().removeAt(directory, name, isDirectory);
  }
  int lock(int directory) override { return posix().lock(directory); }
  std::uint32_t user() override { return posix().user(); }
  std::int64_t wallSeconds() override { return wall ? *wall : posix().wallSeconds(); }
  std::int64_t bootSeconds() override { return boot ? *boot : posix().bootSeconds(); }
  std::string bootId() override { return id ? *id : posix().bootId(); }
};

}  // namespace emailservice::testing
