#include "fake_channel.h"

namespace quon::test {

Bytes chip_frame_declaring(std::uint8_t type, std::uint32_t length, const Bytes& payload) {
    Bytes frame = {type, static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8),
                   static_cast<std::uint8_t>(length >> 16),
                   static_cast<std::uint8_t>(length >> 24)};
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

Bytes chip_frame(std::uint8_t type, const Bytes& payload) {
    return chip_frame_declaring(type, static_cast<std::uint32_t>(payload.size()), payload);
}

FakeChannel& channel() {
    static auto* const kChannel = new FakeChannel;  // the driver may use it until the process ends
    return *kChannel;
}

void FakeChannel::reset() {
    init_result = 0;
    register_result = 0;
    send_result = 0;
    deinit_result = 0;
    during_init = nullptr;
    during_deinit = nullptr;
    during_send = nullptr;
    const std::lock_guard guard(lock_);
    frames_.clear();
    calls_.clear();
    replies_.clear();
    echo_ = false;
    incoming_.clear();
}

void FakeChannel::answer(std::uint8_t type, const Bytes& payload) {
    answer_with(type, {chip_frame(type, payload)});
}

void FakeChannel::answer_with(std::uint8_t type, const std::vector<Bytes>& frames) {
    const std::lock_guard guard(lock_);
    replies_[type] = frames;
}

void FakeChannel::answer_nothing() {
    const std::lock_guard guard(lock_);
    replies_.clear();
    echo_ = false;
}

void FakeChannel::echo() {
    const std::lock_guard guard(lock_);
    echo_ = true;
}

void FakeChannel::deliver(const Bytes& frame) {
    hi_channel_rx_cb callback = nullptr;
    {
        const std::lock_guard guard(lock_);
        callback = callback_;
    }
    callback(frame.data(), static_cast<std::int32_t>(frame.size()));
}

void FakeChannel::deliver_later(const Bytes& frame) {
    const std::lock_guard guard(lock_);
    incoming_.push_back(frame);
    changed_.notify_all();
}

std::vector<Bytes> FakeChannel::frames() const {
    const std::lock_guard guard(lock_);
    return frames_;
}

std::vector<std::string> FakeChannel::calls() const {
    const std::lock_guard guard(lock_);
    return calls_;
}

void FakeChannel::forget() {
    const std::lock_guard guard(lock_);
    frames_.clear();
    calls_.clear();
}

void FakeChannel::note(const std::string& call) {
    const std::lock_guard guard(lock_);
    calls_.push_back(call);
}

std::int32_t FakeChannel::on_init() {
    note("hi_channel_init");
    if (during_init) {
        during_init();
    }
    if (init_result != 0) {
        return init_result;
    }
    const std::lock_guard guard(lock_);
    open_ = true;
    receiver_ = std::thread([this] { receive_loop(); });
    return 0;
}

std::int32_t FakeChannel::on_register(hi_channel_rx_cb callback) {
    note("hi_channel_register_rx_cb");
    const std::lock_guard guard(lock_);
    callback_ = callback;
    return register_result;
}

std::vector<Bytes> FakeChannel::replies_to(const Bytes& request) const {
    if (echo_) {
        return {request};
    }
    const auto found = replies_.find(request[0]);
    return found != replies_.end() ? found->second : std::vector<Bytes>{};
}

std::int32_t FakeChannel::on_send(const std::uint8_t* data, std::int32_t len) {
    if (during_send) {
        during_send();
    }
    if (send_result != 0) {
        return send_result;
    }
    const std::lock_guard guard(lock_);
    if (!open_) {
        return -1;
    }
    frames_.emplace_back(data, data + len);
    for (const Bytes& reply : replies_to(frames_.back())) {
        incoming_.push_back(reply);
    }
    changed_.notify_all();
    return 0;
}

std::int32_t FakeChannel::on_deinit() {
    note("hi_channel_deinit");
    if (during_deinit) {
        during_deinit();
    }
    {
        const std::lock_guard guard(lock_);
        open_ = false;
        changed_.notify_all();
    }
    if (receiver_.joinable()) {
        receiver_.join();
    }
    return deinit_result;
}

void FakeChannel::receive_loop() {
    std::unique_lock guard(lock_);
    while (true) {
        changed_.wait(guard, [this] { return !open_ || !incoming_.empty(); });
        if (!open_) {
            return;
        }
        const Bytes frame = incoming_.front();
        incoming_.pop_front();
        const hi_channel_rx_cb callback = callback_;
        guard.unlock();
        if (callback != nullptr) {
            callback(frame.data(), static_cast<std::int32_t>(frame.size()));
        }
        guard.lock();
    }
}

}  // namespace quon::test

extern "C" {

std::int32_t hi_channel_init(void) {
    return quon::test::channel().on_init();
}

std::int32_t hi_channel_register_rx_cb(hi_channel_rx_cb cb) {
    return quon::test::channel().on_register(cb);
}

std::int32_t hi_channel_send_to_dev(const std::uint8_t* data, std::int32_t len) {
    return quon::test::channel().on_send(data, len);
}

std::int32_t hi_channel_deinit(void) {
    return quon::test::channel().on_deinit();
}

}  // extern "C"
