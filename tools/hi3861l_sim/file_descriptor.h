// A descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace quon::sim {

class file_descriptor {
  public:
    file_descriptor() = default;
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
    file_descriptor(const file_descriptor&) = delete;
    file_descriptor& operator=(const file_descriptor&) = delete;

    [[nodiscard]] int get() const { return fd_; }

  private:
    int fd_ = -1;
};

}  // namespace quon::sim
