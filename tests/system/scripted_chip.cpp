#include "scripted_chip.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>
#include <system_error>

#include "daemon_process.h"

namespace quon::test {

namespace {

constexpr std::size_t kHeaderSize = 16;
constexpr std::size_t kLongestMessage = 4096;

// The chip's own queries: type and record size; 0 for the texts.
const std::map<std::uint8_t, std::size_t>& record_sizes() {
    static const std::map<std::uint8_t, std::size_t> sizes = {
        {0x81, 26},  {0x82, 71},  {0x84, 10},  {0x86, 5},   {0x89, 36},  {0x8C, 70},
        {0x93, 48},  {0x95, 1},   {0x99, 7},   {0x9E, 181}, {0xA3, 136}, {0xA7, 256},
        {0xA9, 241}, {0xAA, 264}, {0xAC, 221}, {0xAD, 212}, {0x8F, 5},   {0x90, 5},
    };
    return sizes;
}

Bytes with_header(const Bytes& frame) {
    Bytes message(kHeaderSize + frame.size());
    const auto length = static_cast<std::uint32_t>(message.size());
    std::memcpy(message.data(), &length, sizeof(length));
    std::copy(frame.begin(), frame.end(), message.begin() + kHeaderSize);
    return message;
}

// The link's end has a name once the daemon has bound its port.
bool holds_a_port(int connection) {
    sockaddr_un name{};
    socklen_t length = sizeof(name);
    return getpeername(connection, reinterpret_cast<sockaddr*>(&name), &length) == 0 &&
           length > sizeof(sa_family_t);
}

}  // namespace

Bytes chip_frame_declaring(std::uint8_t type, std::uint32_t length, const Bytes& payload) {
    Bytes frame{type};
    for (std::size_t index = 0; index < sizeof(length); ++index) {
        frame.push_back(static_cast<std::uint8_t>(length >> (8 * index)));
    }
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

Bytes chip_frame(std::uint8_t type, const Bytes& payload) {
    return chip_frame_declaring(type, static_cast<std::uint32_t>(payload.size()), payload);
}

Bytes usual_answer(std::uint8_t type) {
    switch (type) {
        case 0x80:
        case 0x9F:
            return bytes_of("V9.8.7");
        case 0x8F:
        case 0x90:
            return {0, 0, 0, 0, 0xA1};
        default:
            return Bytes(record_sizes().at(type), 0);
    }
}

ScriptedChip::ScriptedChip() {
    answer_as_usual(0x80);
    answer_as_usual(0x9F);
    for (const auto& [type, size] : record_sizes()) {
        answer_as_usual(type);
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, kChipSocket, sizeof(address.sun_path) - 1);
    unlink(kChipSocket);
    listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    stop_ = eventfd(0, EFD_CLOEXEC);
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener_, 8) != 0 || stop_ < 0) {
        throw std::system_error(errno, std::generic_category(), kChipSocket);
    }
    thread_ = std::thread([this] { serve(); });
}

ScriptedChip::~ScriptedChip() {
    eventfd_write(stop_, 1);
    thread_.join();
    for (const int connection : connections_) {
        close(connection);
    }
    close(listener_);
    close(stop_);
    unlink(kChipSocket);
}

void ScriptedChip::serve() {
    while (true) {
        std::vector<pollfd> waiting = {{.fd = stop_, .events = POLLIN, .revents = 0},
                                       {.fd = listener_, .events = POLLIN, .revents = 0}};
        {
            const std::lock_guard guard(lock_);
            for (const int connection : connections_) {
                waiting.push_back({.fd = connection, .events = POLLIN, .revents = 0});
            }
        }
        poll(waiting.data(), waiting.size(), -1);
        if (waiting[0].revents != 0) {
            return;
        }
        for (std::size_t index = 2; index < waiting.size(); ++index) {
            if (waiting[index].revents != 0 && !take_one(waiting[index].fd)) {
                const std::lock_guard guard(lock_);
                std::erase(connections_, waiting[index].fd);
                close(waiting[index].fd);
            }
        }
        if (waiting[1].revents != 0) {
            accept_one();
        }
    }
}

void ScriptedChip::accept_one() {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) {
        constexpr int kRoom = 1 << 20;
        setsockopt(connection, SOL_SOCKET, SO_SNDBUF, &kRoom, sizeof(kRoom));
        const std::lock_guard guard(lock_);
        connections_.push_back(connection);
    }
}

// False at the end of the connection.
bool ScriptedChip::take_one(int connection) {
    Bytes message(kLongestMessage);
    const ssize_t got = recv(connection, message.data(), message.size(), 0);
    if (got <= 0) {
        return false;
    }
    message.resize(static_cast<std::size_t>(got));
    const std::lock_guard guard(lock_);
    messages_.push_back(message);
    if (message.size() > kHeaderSize && answers_[message[kHeaderSize]]) {
        send_to(connection, *answers_[message[kHeaderSize]]);
    }
    grown_.notify_all();
    return true;
}

void ScriptedChip::send_to(int connection, const Bytes& frame) const {
    const Bytes message = with_header(frame);
    (void)::send(connection, message.data(), message.size(), MSG_NOSIGNAL);
}

void ScriptedChip::send_raw(const Bytes& frame) {
    const std::lock_guard guard(lock_);
    bool sent = false;
    for (const int connection : connections_) {
        if (holds_a_port(connection)) {
            send_to(connection, frame);
            sent = true;
        }
    }
    if (!sent) {
        throw std::runtime_error("no daemon holds the channel");
    }
}

void ScriptedChip::answer_raw(std::uint8_t type, const Bytes& frame) {
    const std::lock_guard guard(lock_);
    answers_[type] = frame;
}

void ScriptedChip::ignore(std::uint8_t type) {
    const std::lock_guard guard(lock_);
    answers_[type].reset();
}

void ScriptedChip::ignore_everything() {
    const std::lock_guard guard(lock_);
    answers_.fill(std::nullopt);
}

void ScriptedChip::answer_as_usual(std::uint8_t type) {
    answer(type, usual_answer(type));
}

std::vector<Bytes> ScriptedChip::messages() const {
    const std::lock_guard guard(lock_);
    return messages_;
}

std::vector<Bytes> ScriptedChip::received() const {
    std::vector<Bytes> frames;
    for (const Bytes& message : messages()) {
        frames.emplace_back(message.begin() + kHeaderSize, message.end());
    }
    return frames;
}

std::vector<Bytes> ScriptedChip::received(std::uint8_t type) const {
    std::vector<Bytes> frames = received();
    std::erase_if(frames, [type](const Bytes& frame) { return frame.at(0) != type; });
    return frames;
}

Bytes ScriptedChip::received_types() const {
    Bytes types;
    for (const Bytes& frame : received()) {
        types.push_back(frame.at(0));
    }
    return types;
}

bool ScriptedChip::wait_for(std::uint8_t type, std::size_t count,
                            std::chrono::milliseconds bound) const {
    std::unique_lock guard(lock_);
    return grown_.wait_for(guard, bound, [&] {
        const auto matches = [type](const Bytes& message) {
            return message.size() > kHeaderSize && message[kHeaderSize] == type;
        };
        return static_cast<std::size_t>(std::ranges::count_if(messages_, matches)) >= count;
    });
}

}  // namespace quon::test
