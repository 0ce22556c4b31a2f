#include "outbox/OutboxTree.h"

#include <cerrno>
#include <vector>

#include "outbox/OutboxHandle.h"

namespace emailservice {

namespace {

constexpr std::size_t kBlock = std::size_t{64} * 1024;

}  // namespace

int OutboxTree::writeFile(int directory, std::string const& name, std::string const& content) const {
  OutboxHandle file(files);
  if (int const failed = files.createFileAt(directory, name, file.receive())) {
    return failed;
  }
  if (int const failed = files.write(file.get(), content.data(), content.size())) {
    return failed;
  }
  return files.sync(file.get());
}

int OutboxTree::copyIn(std::string const& from, int directory, std::string const& name, bool& sourceFailed) const {
  OutboxHandle source(files);
  sourceFailed = true;
  if (int const failed = files.openFile(from, source.receive())) {
    return failed;
  }
  sourceFailed = false;
  OutboxHandle target(files);
  if (int const failed = files.createFileAt(directory, name, target.receive())) {
    return failed;
  }
  std::vector<char> block(kBlock);
  for (;;) {
    std::size_t got = 0;
    if (int const failed = files.read(source.get(), block.data(), block.size(), got)) {
      sourceFailed = true;
      return failed;
    }
    if (got == 0) {
      return files.sync(target.get());
    }
    if (int const failed = files.write(target.get(), block.data(), got)) {
      return failed;
    }
  }
}

// The name is looked at before it is opened, so that nothing but a regular file is ever opened;
// what was opened is then checked to be what was looked at.
int OutboxTree::readFile(int directory, std::string const& name, std::uint64_t limit, std::string& content) const {
  OutboxFiles::Status seen;
  if (int const failed = files.statAt(directory, name, seen)) {
    return failed;
  }
  if (seen.type != OutboxFiles::Type::Regular) {
    return EINVAL;
  }
  OutboxHandle file(files);
  OutboxFiles::Status opened;
  if (int const failed = files.openFileAt(directory, name, file.receive())) {
    return failed;
  }
  if (int const failed = files.stat(file.get(), opened)) {
    return failed;
  }
  if (opened.device != seen.device || opened.inode != seen.inode) {
    return EINVAL;
  }
  if (opened.size > limit) {
    return EFBIG;
  }
  content.clear();
  std::vector<char> block(kBlock);
  for (;;) {
    std::size_t got = 0;
    if (int const failed = files.read(file.get(), block.data(), block.size(), got)) {
      return failed;
    }
    if (got == 0) {
      return 0;
    }
    if (content.size() + got > limit) {
      return EFBIG;
    }
    content.append(block.data(), got);
  }
}

int OutboxTree::removeTree(int directory, std::string const& name) const {
  OutboxFiles::Status status;
  if (int const failed = files.statAt(directory, name, status)) {
    return failed == ENOENT ? 0 : failed;
  }
  if (status.type != OutboxFiles::Type::Directory) {
    return files.removeAt(directory, name, false);
  }
  OutboxHandle inside(files);
  std::vector<std::string> names;
  if (int const failed = files.openDirectoryAt(directory, name, inside.receive())) {
    return failed;
  }
  if (int const failed = files.list(inside.get(), names)) {
    return failed;
  }
  for (auto const& entry : names) {
    if (int const failed = removeTree(inside.get(), entry)) {
      return failed;
    }
  }
  inside.reset();
  return files.removeAt(directory, name, true);
}

std::uint64_t OutboxTree::blocks(int directory, std::string const& name) const {
  OutboxFiles::Status status;
  if (files.statAt(directory, name, status) != 0) {
    return 0;
  }
  std::uint64_t total = status.blocks;
  OutboxHandle inside(files);
  std::vector<std::string> names;
  if (status.type == OutboxFiles::Type::Directory && files.openDirectoryAt(directory, name, inside.receive()) == 0 &&
      files.list(inside.get(), names) == 0) {
    for (auto const& entry : names) {
      total += blocks(inside.get(), entry);
    }
  }
  return total;
}

int OutboxTree::syncDirectoryAt(int directory, std::string const& name) const {
  OutboxHandle inside(files);
  if (int const failed = files.openDirectoryAt(directory, name, inside.receive())) {
    return failed;
  }
  return files.sync(inside.get());
}

}  // namespace emailservice
