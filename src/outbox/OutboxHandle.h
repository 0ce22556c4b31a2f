// One handle of the outbox's storage layer (OutboxFiles) with one owner, closed when it ends.
#pragma once

#include "outbox/OutboxFiles.h"

namespace emailservice {

class OutboxHandle final {
 public:
  explicit OutboxHandle(OutboxFiles& layer) : files(&layer) {}
  ~OutboxHandle() { reset(); }
  OutboxHandle(OutboxHandle const&) = delete;
  OutboxHandle& operator=(OutboxHandle const&) = delete;
  OutboxHandle(OutboxHandle&& other) noexcept : files(other.files), handle(other.handle) { other.handle = -1; }
  OutboxHandle& operator=(OutboxHandle&& other) noexcept {
    if (this != &other) {
      reset();
      files = other.files;
      handle = other.handle;
      other.handle = -1;
    }
    return *this;
  }

  int get() const { return handle; }
  bool isOpen() const { return handle >= 0; }
  // Where a call of the layer puts the handle it opens; what was held before is closed.
  int& receive() {
    reset();
    return handle;
  }
  void reset() {
    if (handle >= 0) {
      files->close(handle);
      handle = -1;
    }
  }

 private:
  OutboxFiles* files;
  int handle = -1;
};

}  // namespace emailservice
