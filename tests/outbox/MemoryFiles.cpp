#include "outbox/MemoryFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

namespace emailservice::testing {

MemoryFiles::MemoryFiles() { nodes.push_back(Node{}); }

// A change: the power goes, or the device is full, when the test says so.
int MemoryFiles::step(bool fills) {
  if (lastStep != 0 && stepsMade >= lastStep) {
    throw PowerCut{};
  }
  ++stepsMade;
  return fills && stepsMade == fullStep ? ENOSPC : 0;
}

int MemoryFiles::make(Type type, std::string const& content) {
  nodes.push_back(Node{type, content, content, {}, {}});
  return static_cast<int>(nodes.size()) - 1;
}

int MemoryFiles::open(int node) {
  handles[nextHandle] = Open{node, 0};
  return nextHandle++;
}

// The node of `name` in the directory of `handle`: -1 when there is none.
int MemoryFiles::child(int handle, std::string const& name) const {
  auto const& names = nodes[static_cast<std::size_t>(handles.at(handle).node)].names;
  auto const found = names.find(name);
  return found == names.end() ? -1 : found->second;
}

int MemoryFiles::resolve(std::string const& path) const {
  int node = 0;
  std::istringstream components(path);
  for (std::string name; std::getline(components, name, '/') && node >= 0;) {
    auto const& names = nodes[static_cast<std::size_t>(node)].names;
    node = name.empty() ? node : names.count(name) ? names.at(name) : -1;
  }
  return node;
}

void MemoryFiles::powerCut(bool tear) {
  for (auto& node : nodes) {
    std::string const done = node.content;
    bool const appended = done.compare(0, node.durableContent.size(), node.durableContent) == 0;
    std::size_t const kept = tear && appended ? (done.size() - node.durableContent.size()) / 2 : 0;
    node.content = node.durableContent + (appended ? done.substr(node.durableContent.size(), kept) : "");
    node.durableContent = node.content;
    node.names = node.durableNames;
  }
  handles.clear();
  lastStep = 0;
}

std::vector<std::string> MemoryFiles::namesIn(std::string const& path) const {
  std::vector<std::string> names;
  int const node = resolve(path);
  for (auto const& entry : node < 0 ? std::map<std::string, int>{} : nodes[static_cast<std::size_t>(node)].names) {
    names.push_back(entry.first);
  }
  return names;
}

// `node` opened when it is of the type wanted: ENOENT when there is none (-1), else ENOTDIR or EINVAL.
int MemoryFiles::openAs(int node, Type wanted, int& handle) {
  if (node < 0 || nodes[static_cast<std::size_t>(node)].type != wanted) {
    return node < 0 ? ENOENT : wanted == Type::Directory ? ENOTDIR : EINVAL;
  }
  handle = open(node);
  return 0;
}

int MemoryFiles::openDirectory(std::string const& path, int& handle) {
  return openAs(resolve(path), Type::Directory, handle);
}

// The parent is synced: the new directory is durable at once.
int MemoryFiles::makeDirectory(std::string const& path) {
  int const full = step(true);
  auto const slash = path.find_last_of('/');
  int const parent = resolve(path.substr(0, slash));
  std::string const name = path.substr(slash + 1);
  if (full != 0 || parent < 0 || nodes[static_cast<std::size_t>(parent)].names.count(name) != 0) {
    return full != 0 ? full : parent < 0 ? ENOENT : EEXIST;
  }
  int const node = make(Type::Directory, "");
  nodes[static_cast<std::size_t>(parent)].names[name] = node;
  nodes[static_cast<std::size_t>(parent)].durableNames[name] = node;
  return 0;
}

int MemoryFiles::openDirectoryAt(int directory, std::string const& name, int& handle) {
  return openAs(child(directory, name), Type::Directory, handle);
}

int MemoryFiles::makeDirectoryAt(int directory, std::string const& name) {
  return add(directory, name, Type::Directory, nullptr);
}

int MemoryFiles::createFileAt(int directory, std::string const& name, int& handle) {
  return add(directory, name, Type::Regular, &handle);
}

int MemoryFiles::add(int directory, std::string const& name, Type type, int* handle) {
  if (int const full = step(true)) {
    return full;
  }
  if (child(directory, name) >= 0) {
    return EEXIST;
  }
  int const node = make(type, "");
  nodes[static_cast<std::size_t>(handles.at(directory).node)].names[name] = node;
  if (handle != nullptr) {
    *handle = open(node);
  }
  return 0;
}

int MemoryFiles::list(int directory, std::vector<std::string>& names) {
  names.clear();
  for (auto const& entry : nodes[static_cast<std::size_t>(handles.at(directory).node)].names) {
    names.push_back(entry.first);
  }
  return 0;
}

int MemoryFiles::statAt(int directory, std::string const& name, Status& status) {
  int const node = child(directory, name);
  if (node < 0) {
    return ENOENT;
  }
  int const handle = open(node);
  stat(handle, status);
  handles.erase(handle);
  return 0;
}

int MemoryFiles::stat(int handle, Status& status) {
  int const node = handles.at(handle).node;
  Node const& found = nodes[static_cast<std::size_t>(node)];
  bool const directory = found.type == Type::Directory;
  status = Status{};
  status.type = found.type;
  status.mode = directory ? kDirectoryMode : kFileMode;
  status.size = found.content.size();
  status.blocks = (found.content.size() + 4095) / 4096 * 4096 + (directory ? 4096 : 0);
  status.blockSize = 4096;
  status.inode = static_cast<std::uint64_t>(node);
  return 0;
}

int MemoryFiles::openFile(std::string const& path, int& handle) {
  auto const found = external.find(path);
  if (found == external.end()) {
    return ENOENT;
  }
  handle = open(make(Type::Regular, found->second));
  return 0;
}

int MemoryFiles::openFileAt(int directory, std::string const& name, int& handle) {
  return openAs(child(directory, name), Type::Regular, handle);
}

int MemoryFiles::read(int handle, char* buffer, std::size_t size, std::size_t& got) {
  Open& open = handles.at(handle);
  std::string const& content = nodes[static_cast<std::size_t>(open.node)].content;
  got = std::min(size, content.size() - std::min(content.size(), open.offset));
  std::memcpy(buffer, content.data() + open.offset, got);
  open.offset += got;
  return 0;
}

int MemoryFiles::write(int handle, char const* data, std::size_t size) {
  if (int const full = step(true)) {
    return full;
  }
  nodes[static_cast<std::size_t>(handles.at(handle).node)].content.append(data, size);
  return 0;
}

int MemoryFiles::sync(int handle) {
  if (int const full = step(true)) {
    return full;
  }
  Node& node = nodes[static_cast<std::size_t>(handles.at(handle).node)];
  node.durableContent = node.content;
  node.durableNames = node.names;
  return 0;
}

void MemoryFiles::close(int handle) { handles.erase(handle); }

int MemoryFiles::renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) {
  step(false);
  int const node = child(fromDirectory, from);
  if (node < 0) {
    return ENOENT;
  }
  nodes[static_cast<std::size_t>(handles.at(fromDirectory).node)].names.erase(from);
  nodes[static_cast<std::size_t>(handles.at(toDirectory).node)].names[to] = node;
  return 0;
}

int MemoryFiles::removeAt(int directory, std::string const& name, bool isDirectory) {
  step(false);
  int const node = child(directory, name);
  if (node < 0) {
    return ENOENT;
  }
  Node const& found = nodes[static_cast<std::size_t>(node)];
  if (isDirectory != (found.type == Type::Directory) || !found.names.empty()) {
    return isDirectory ? (found.names.empty() ? ENOTDIR : ENOTEMPTY) : EISDIR;
  }
  nodes[static_cast<std::size_t>(handles.at(directory).node)].names.erase(name);
  return 0;
}

}  // namespace emailservice::testing
