// A chip in the test's own hands, at the other end of the chip link: it keeps every message as it
// came, answers each type with what the test says, and sends any bytes. (The simulated chip, which
// thinks for itself, is simulated_chip.h.)
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "hex.h"
#include "waiting.h"

namespace quon::test {

// A frame as it goes over the channel: type (1 byte), length (4, little-endian), payload.
Bytes chip_frame(std::uint8_t type, const Bytes& payload = {});
Bytes chip_frame_declaring(std::uint8_t type, std::uint32_t length, const Bytes& payload);

// A healthy answer to a query that the daemon sends at its start, of its record's size.
Bytes usual_answer(std::uint8_t type);

class ScriptedChip {
  public:
    // Listens at once; every query is answered with usual_answer.
    ScriptedChip();
    ~ScriptedChip();
    ScriptedChip(const ScriptedChip&) = delete;
    ScriptedChip& operator=(const ScriptedChip&) = delete;

    // From now on. Methods are for one thread.
    void answer(std::uint8_t type, const Bytes& payload) {
        answer_raw(type, chip_frame(type, payload));
    }
    void answer_raw(std::uint8_t type, const Bytes& frame);
    void ignore(std::uint8_t type);
    void ignore_everything();
    void answer_as_usual(std::uint8_t type);

    // The chip speaks unasked, to every daemon that holds the channel; throws when there is none.
    void send_raw(const Bytes& frame);
    void send(std::uint8_t type, const Bytes& payload) { send_raw(chip_frame(type, payload)); }

    // Messages from the daemon, in order: whole ones with their 16-byte header, or the frames.
    [[nodiscard]] std::vector<Bytes> messages() const;
    [[nodiscard]] std::vector<Bytes> received() const;
    [[nodiscard]] std::vector<Bytes> received(std::uint8_t type) const;
    [[nodiscard]] std::size_t count(std::uint8_t type) const { return received(type).size(); }
    [[nodiscard]] Bytes received_types() const;
    // True when at least `count` frames of this type have come since the chip's start.
    [[nodiscard]] bool wait_for(std::uint8_t type, std::size_t count = 1,
                                std::chrono::milliseconds bound = kLongEnough) const;

  private:
    void serve();
    void accept_one();
    bool take_one(int connection);
    void send_to(int connection, const Bytes& frame) const;

    int listener_ = -1;
    int stop_ = -1;  // an eventfd
    mutable std::mutex lock_;
    mutable std::condition_variable grown_;
    std::vector<int> connections_;
    std::vector<Bytes> messages_;
    std::array<std::optional<Bytes>, 256> answers_;
    std::thread thread_;
};

}  // namespace quon::test
