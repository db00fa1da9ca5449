// A descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace quon::test {

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { release(); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            release();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return number_; }

  private:
    void release() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    int number_;
};

}  // namespace quon::test
