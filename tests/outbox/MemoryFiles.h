// A stand-in of the outbox's storage layer for power cuts, in the manner of a fault-injection
// environment: a file system in memory that keeps apart what was made durable (a file's content
// at its last sync, a directory's names at its last sync) from what was only done, and a power
// cut that throws away everything not yet durable, or tears it (keeps half of what a file had
// written since its last sync). Every change (directories made, files created, written or
// synced, renames, removals) is one numbered step, so that a test can cut the power after any.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "outbox/OutboxFiles.h"

namespace emailservice::testing {

// What the layer throws at the step after the cut: the process is gone, nothing more happens.
struct PowerCut {};

class MemoryFiles final : public OutboxFiles {
 public:
  MemoryFiles();

  // A work file outside the outbox, which openFile reads.
  void putExternal(std::string const& path, std::string const& content) { external[path] = content; }
  // The steps made so far.
  std::size_t steps() const { return stepsMade; }
  // The power goes once `steps` steps have been made: the next one throws PowerCut. 0: never.
  void cutAfter(std::size_t steps) { lastStep = steps; }
  // The device is full at step `step` (a directory or file made, a write or a sync): ENOSPC.
  void fullAt(std::size_t step) { fullStep = step; }
  // After a PowerCut: the storage as a reboot finds it. Nothing stays open.
  void powerCut(bool tear);
  // The names of a directory, as a path from "/", sorted; empty when it does not exist.
  std::vector<std::string> namesIn(std::string const& path) const;

  std::string currentBootId = "boot-1";
  std::int64_t currentBootSeconds = 1000;
  std::int64_t currentWallSeconds = 1700000000;

  int openDirectory(std::string const& path, int& handle) override;
  int makeDirectory(std::string const& path) override;
  int openDirectoryAt(int directory, std::string const& name, int& handle) override;
  int makeDirectoryAt(int directory, std::string const& name) override;
  int list(int directory, std::vector<std::string>& names) override;
  int statAt(int directory, std::string const& name, Status& status) override;
  int stat(int handle, Status& status) override;
  int openFile(std::string const& path, int& handle) override;
  int openFileAt(int directory, std::string const& name, int& handle) override;
  int read(int handle, char* buffer, std::size_t size, std::size_t& got) override;
  int createFileAt(int directory, std::string const& name, int& handle) override;
  int write(int handle, char const* data, std::size_t size) override;
  int sync(int handle) override;
  void close(int handle) override;
  int renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) override;
  int removeAt(int directory, std::string const& name, bool isDirectory) override;
  int lock(int /*directory*/) override { return 0; }
  std::uint32_t user() override { return 0; }
  std::int64_t wallSeconds() override { return currentWallSeconds; }
  std::int64_t bootSeconds() override { return currentBootSeconds; }
  std::string bootId() override { return currentBootId; }

 private:
  struct Node {
    Type type = Type::Directory;
    std::string content;
    std::string durableContent;
    std::map<std::string, int> names;
    std::map<std::string, int> durableNames;
  };
  struct Open {
    int node;
    std::size_t offset;
  };

  // A change (one that `fills` the device may find it full): 0, ENOSPC, or a PowerCut.
  int step(bool fills);
  int make(Type type, std::string const& content);
  int open(int node);
  int openAs(int node, Type wanted, int& handle);
  int child(int handle, std::string const& name) const;
  // The node of `path` from "/"; -1 when a component is missing.
  int resolve(std::string const& path) const;
  int add(int directory, std::string const& name, Type type, int* handle);

  std::vector<Node> nodes;
  std::map<int, Open> handles;
  std::map<std::string, std::string> external;
  std::size_t stepsMade = 0;
  std::size_t lastStep = 0;
  std::size_t fullStep = 0;
  int nextHandle = 3;
};

}  // namespace emailservice::testing
