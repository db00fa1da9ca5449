// Plays the channel and the chip behind it: the test program's own hi_channel_* functions. As the
// real channel does, it hands messages to the driver on a receive thread of its own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hex.h"
#include "hichannel_host.h"

namespace quon::test {

// Type, little-endian length, payload.
Bytes chip_frame(std::uint8_t type, const Bytes& payload);

// The same with a length field of the test's choice.
Bytes chip_frame_declaring(std::uint8_t type, std::uint32_t length, const Bytes& payload);

class FakeChannel {
  public:
    void reset();

    // --- set before the calls that they concern
    std::atomic<std::int32_t> init_result{0};
    std::atomic<std::int32_t> register_result{0};
    std::atomic<std::int32_t> send_result{0};
    std::atomic<std::int32_t> deinit_result{0};
    std::function<void()> during_init;
    std::function<void()> during_deinit;
    std::function<void()> during_send;

    // Every request of `type` is answered by one frame of that type.
    void answer(std::uint8_t type, const Bytes& payload);
    // Every request of `type` is answered by these frames, byte for byte.
    void answer_with(std::uint8_t type, const std::vector<Bytes>& frames);
    void answer_nothing();
    // Every request is answered with its own payload.
    void echo();

    // Runs the driver's callback on the calling thread, as the receive thread would.
    void deliver(const Bytes& frame);
    // Leaves that to the receive thread.
    void deliver_later(const Bytes& frame);

    [[nodiscard]] std::vector<Bytes> frames() const;       // sent by the driver
    [[nodiscard]] std::vector<std::string> calls() const;  // of the channel's functions
    void forget();                                         // both lists

    // --- the channel
    std::int32_t on_init();
    std::int32_t on_register(hi_channel_rx_cb callback);
    std::int32_t on_send(const std::uint8_t* data, std::int32_t len);
    std::int32_t on_deinit();

  private:
    void note(const std::string& call);
    void receive_loop();
    std::vector<Bytes> replies_to(const Bytes& request) const;

    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::vector<Bytes> frames_;
    std::vector<std::string> calls_;
    std::map<std::uint8_t, std::vector<Bytes>> replies_;
    bool echo_ = false;
    std::deque<Bytes> incoming_;
    bool open_ = false;
    hi_channel_rx_cb callback_ = nullptr;
    std::thread receiver_;
};

FakeChannel& channel();

}  // namespace quon::test
