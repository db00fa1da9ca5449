// Owner of one descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace quon::client {

class file_descriptor {
  public:
    explicit file_descriptor(int fd) : fd_(fd) {}
    file_descriptor(file_descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    file_descriptor& operator=(file_descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~file_descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int get() const { return fd_; }

  private:
    int fd_;
};

}  // namespace quon::client
