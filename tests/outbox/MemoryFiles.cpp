#include "outbox/MemoryFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

namespace emailservice::testing {

MemoryFiles::MemoryFiles() { makeNode(Type::Directory); }

void MemoryFiles::step() {
  if (lastStep != 0 && stepsMade >= lastStep) {
    throw PowerCut{};
  }
  ++stepsMade;
}

int MemoryFiles::makeNode(Type type) {
  nodes[nextNode].type = type;
  return nextNode++;
}

int MemoryFiles::nodeOf(int handle) const {
  auto const open = handles.find(handle);
  return open == handles.end() ? -1 : open->second.node;
}

int MemoryFiles::resolve(std::string const& path) const {
  int node = 0;
  std::istringstream components(path);
  for (std::string name; std::getline(components, name, '/');) {
    if (name.empty()) {
      continue;
    }
    auto const& here = nodes.at(node);
    if (here.type != Type::Directory) {
      return -2;
    }
    auto const found = here.names.find(name);
    if (found == here.names.end()) {
      return -1;
    }
    node = found->second;
  }
  return node;
}

int MemoryFiles::openNode(int node, int& handle) {
  handle = nextHandle++;
  handles[handle] = Open{node, 0};
  return 0;
}

void MemoryFiles::powerCut(bool tear) {
  for (auto& entry : nodes) {
    Node& node = entry.second;
    std::string const& done = node.content;
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
  if (node >= 0 && nodes.at(node).type == Type::Directory) {
    for (auto const& entry : nodes.at(node).names) {
      names.push_back(entry.first);
    }
  }
  return names;
}

int MemoryFiles::openDirectory(std::string const& path, int& handle) {
  int const node = resolve(path);
  if (node < 0) {
    return node == -1 ? ENOENT : ENOTDIR;
  }
  return nodes.at(node).type == Type::Directory ? openNode(node, handle) : ENOTDIR;
}

int MemoryFiles::makeDirectory(std::string const& path) {
  step();
  auto const slash = path.find_last_of('/');
  int const parent = resolve(path.substr(0, slash));
  std::string const name = path.substr(slash + 1);
  if (parent < 0 || nodes.at(parent).type != Type::Directory) {
    return ENOENT;
  }
  if (nodes.at(parent).names.count(name) != 0) {
    return EEXIST;
  }
  int const node = makeNode(Type::Directory);
  nodes.at(parent).names[name] = node;
  nodes.at(parent).durableNames[name] = node;  // the parent is synced
  return 0;
}

int MemoryFiles::openDirectoryAt(int directory, std::string const& name, int& handle) {
  auto const& names = nodes.at(nodeOf(directory)).names;
  auto const found = names.find(name);
  if (found == names.end()) {
    return ENOENT;
  }
  Type const type = nodes.at(found->second).type;
  if (type != Type::Directory) {
    return type == Type::Link ? ELOOP : ENOTDIR;
  }
  return openNode(found->second, handle);
}

int MemoryFiles::makeDirectoryAt(int directory, std::string const& name) {
  step();
  auto& names = nodes.at(nodeOf(directory)).names;
  if (names.count(name) != 0) {
    return EEXIST;
  }
  int const node = makeNode(Type::Directory);
  nodes.at(nodeOf(directory)).names[name] = node;
  return 0;
}

int MemoryFiles::list(int directory, std::vector<std::string>& names) {
  names.clear();
  for (auto const& entry : nodes.at(nodeOf(directory)).names) {
    names.push_back(entry.first);
  }
  return 0;
}

int MemoryFiles::statAt(int directory, std::string const& name, Status& status) {
  auto const& names = nodes.at(nodeOf(directory)).names;
  auto const found = names.find(name);
  if (found == names.end()) {
    return ENOENT;
  }
  int const handle = nextHandle++;
  handles[handle] = Open{found->second, 0};
  int const result = stat(handle, status);
  handles.erase(handle);
  return result;
}

int MemoryFiles::stat(int handle, Status& status) {
  int const node = nodeOf(handle);
  Node const& found = nodes.at(node);
  status = Status{};
  status.type = found.type;
  status.mode = found.type == Type::Directory ? kDirectoryMode : kFileMode;
  status.size = found.content.size();
  status.blocks = (found.content.size() + 4095) / 4096 * 4096 + (found.type == Type::Directory ? 4096 : 0);
  status.blockSize = 4096;
  status.inode = static_cast<std::uint64_t>(node);
  return 0;
}

int MemoryFiles::openFile(std::string const& path, int& handle) {
  auto const found = external.find(path);
  if (found == external.end()) {
    return ENOENT;
  }
  int const node = makeNode(Type::Regular);
  nodes.at(node).content = found->second;
  nodes.at(node).durableContent = found->second;
  return openNode(node, handle);
}

int MemoryFiles::openFileAt(int directory, std::string const& name, int& handle) {
  auto const& names = nodes.at(nodeOf(directory)).names;
  auto const found = names.find(name);
  if (found == names.end()) {
    return ENOENT;
  }
  Type const type = nodes.at(found->second).type;
  if (type == Type::Link) {
    return ELOOP;
  }
  return type == Type::Regular ? openNode(found->second, handle) : EINVAL;
}

int MemoryFiles::read(int handle, char* buffer, std::size_t size, std::size_t& got) {
  Open& open = handles.at(handle);
  std::string const& content = nodes.at(open.node).content;
  got = std::min(size, content.size() - std::min(content.size(), open.offset));
  std::memcpy(buffer, content.data() + open.offset, got);
  open.offset += got;
  return 0;
}

int MemoryFiles::createFileAt(int directory, std::string const& name, int& handle) {
  step();
  auto& names = nodes.at(nodeOf(directory)).names;
  if (names.count(name) != 0) {
    return EEXIST;
  }
  int const node = makeNode(Type::Regular);
  nodes.at(nodeOf(directory)).names[name] = node;
  return openNode(node, handle);
}

int MemoryFiles::write(int handle, char const* data, std::size_t size) {
  step();
  nodes.at(nodeOf(handle)).content.append(data, size);
  return 0;
}

int MemoryFiles::sync(int handle) {
  step();
  Node& node = nodes.at(nodeOf(handle));
  node.durableContent = node.content;
  node.durableNames = node.names;
  return 0;
}

void MemoryFiles::close(int handle) { handles.erase(handle); }

int MemoryFiles::renameAt(int fromDirectory, std::string const& from, int toDirectory, std::string const& to) {
  step();
  auto& fromNames = nodes.at(nodeOf(fromDirectory)).names;
  auto& toNames = nodes.at(nodeOf(toDirectory)).names;
  auto const found = fromNames.find(from);
  if (found == fromNames.end()) {
    return ENOENT;
  }
  int const node = found->second;
  fromNames.erase(found);
  toNames[to] = node;
  return 0;
}

int MemoryFiles::removeAt(int directory, std::string const& name, bool isDirectory) {
  step();
  auto& names = nodes.at(nodeOf(directory)).names;
  auto const found = names.find(name);
  if (found == names.end()) {
    return ENOENT;
  }
  Node const& node = nodes.at(found->second);
  if (isDirectory != (node.type == Type::Directory)) {
    return isDirectory ? ENOTDIR : EISDIR;
  }
  if (isDirectory && !node.names.empty()) {
    return ENOTEMPTY;
  }
  names.erase(found);
  return 0;
}

}  // namespace emailservice::testing
