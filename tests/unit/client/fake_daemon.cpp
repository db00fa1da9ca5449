#include "fake_daemon.h"

#include <stdexcept>
#include <utility>

namespace quon::test {

using namespace std::chrono_literals;

FakeDaemon::FakeDaemon(Answer answer)
    : answer_(std::move(answer)), server_("quon.mcu.daemon"), thread_([this] { serve(); }) {}

FakeDaemon::~FakeDaemon() {
    stopped_ = true;
    thread_.join();
}

void FakeDaemon::serve() {
    std::optional<RawPeer> peer;
    while (!stopped_) {
        if (!peer) {
            peer = server_.accept_one(10ms);
        } else if (const std::optional<DbusMsg> request = peer->receive(10ms)) {
            keep(*request);
            const auto answer = request->type == DBUS_TYPE_METHOD && answer_ != nullptr
                                    ? answer_(*request)
                                    : std::nullopt;
            if (answer) {
                peer->send(*answer);
            }
        } else if (peer->sees_end(0ms)) {
            peer.reset();
        }
    }
}

void FakeDaemon::keep(const DbusMsg& request) {
    const std::lock_guard<std::mutex> guard(lock_);
    requests_.push_back(request);
}

std::size_t FakeDaemon::count() const {
    const std::lock_guard<std::mutex> guard(lock_);
    return requests_.size();
}

DbusMsg FakeDaemon::request(std::size_t number) const {
    if (!wait_until([&] { return count() > number; })) {
        throw std::runtime_error("no request number " + std::to_string(number));
    }
    const std::lock_guard<std::mutex> guard(lock_);
    return requests_[number];
}

FakeDaemon::Answer replying(const std::string& hex) {
    const Bytes bytes = from_hex(hex);
    const std::string payload(bytes.begin(), bytes.end());
    return [payload](const DbusMsg& request) {
        return make_result(request, static_cast<std::int32_t>(payload.size()), payload);
    };
}

FakeDaemon::Answer failing(std::int32_t result) {
    return [result](const DbusMsg& request) { return make_result(request, result); };
}

std::string hex_of(const DbusMsg& record) {
    const std::string payload = payload_of(record);
    return to_hex(Bytes(payload.begin(), payload.end()));
}

}  // namespace quon::test
