// A descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace quon {

class owned_descriptor {
  public:
    explicit owned_descriptor(int fd = -1) : fd_(fd) {}
    owned_descriptor(owned_descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    // Closes the descriptor owned before.
    owned_descriptor& operator=(owned_descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    ~owned_descriptor() { reset(); }
    owned_descriptor(const owned_descriptor&) = delete;
    owned_descriptor& operator=(const owned_descriptor&) = delete;

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }
    void reset() {
        if (valid()) {
            close(std::exchange(fd_, -1));
        }
    }

  private:
    int fd_;
};

}  // namespace quon
