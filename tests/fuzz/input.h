// The bytes of one fuzz input, consumed from the front. After its end everything is zero and empty.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quon::fuzz {

using Bytes = std::vector<std::uint8_t>;

// As many of the bytes as fit the field.
inline void put(void* field, std::size_t room, const Bytes& bytes) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), room), static_cast<std::uint8_t*>(field));
}

class Input {
  public:
    explicit Input(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }

    std::uint8_t byte() {
        const Bytes one = bytes(1);
        return one.empty() ? std::uint8_t{0} : one[0];
    }

    // Little-endian, `size` bytes of it.
    std::uint32_t number(std::size_t size) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; i++) {
            value |= static_cast<std::uint32_t>(byte()) << (8 * i);
        }
        return value;
    }

    // A copy of at most that many bytes; the allocation ends with the last of them.
    Bytes bytes(std::size_t most) {
        const auto piece = rest_.first(std::min(most, rest_.size()));
        rest_ = rest_.subspan(piece.size());
        return {piece.begin(), piece.end()};
    }

    // A two-byte length, and that many bytes.
    Bytes piece() { return bytes(number(2)); }

    std::string text() {
        const Bytes letters = piece();
        return {letters.begin(), letters.end()};
    }

    std::string text_to_the_end() {
        const Bytes letters = bytes(rest_.size());
        return {letters.begin(), letters.end()};
    }

  private:
    std::span<const std::uint8_t> rest_;
};

}  // namespace quon::fuzz
