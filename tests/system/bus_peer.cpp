#include "bus_peer.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace quon::test {

namespace {

constexpr std::size_t kIdOffset = 4;
constexpr std::size_t kSourceOffset = 8;
constexpr std::size_t kDestinationOffset = 72;
constexpr std::size_t kTypeOffset = 136;
constexpr std::size_t kNameOffset = 140;
constexpr std::size_t kResultOffset = 204;
constexpr std::size_t kLengthOffset = 208;
constexpr std::size_t kDataOffset = 212;
constexpr std::size_t kNameSize = 64;

void put_word(Bytes& bytes, std::size_t offset, std::uint32_t value) {
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

std::uint32_t word_at(const Bytes& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

void put_name(Bytes& bytes, std::size_t offset, const std::string& name) {
    std::copy_n(name.begin(), std::min(name.size(), kNameSize),
                bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::string name_at(const Bytes& bytes, std::size_t offset) {
    const char* text = reinterpret_cast<const char*>(bytes.data() + offset);
    return {text, strnlen(text, kNameSize)};
}

bool readable(int socket, std::chrono::milliseconds bound) {
    pollfd entry{.fd = socket, .events = POLLIN, .revents = 0};
    return poll(&entry, 1, static_cast<int>(std::max<std::int64_t>(bound.count(), 0))) > 0;
}

}  // namespace

Bytes BusRecord::encoded() const {
    Bytes bytes(kRecordSize, 0);
    put_word(bytes, 0, head);
    put_word(bytes, kIdOffset, id);
    put_name(bytes, kSourceOffset, src_name);
    put_name(bytes, kDestinationOffset, dst_name);
    put_word(bytes, kTypeOffset, type);
    put_name(bytes, kNameOffset, name);
    put_word(bytes, kResultOffset, static_cast<std::uint32_t>(result));
    put_word(bytes, kLengthOffset, data_len);
    std::copy_n(data.begin(), std::min(data.size(), kDataSize), bytes.begin() + kDataOffset);
    return bytes;
}

BusRecord BusRecord::decoded(const Bytes& bytes) {
    return {.head = word_at(bytes, 0),
            .id = word_at(bytes, kIdOffset),
            .src_name = name_at(bytes, kSourceOffset),
            .dst_name = name_at(bytes, kDestinationOffset),
            .type = word_at(bytes, kTypeOffset),
            .name = name_at(bytes, kNameOffset),
            .result = static_cast<std::int32_t>(word_at(bytes, kResultOffset)),
            .data_len = word_at(bytes, kLengthOffset),
            .data = Bytes(bytes.begin() + kDataOffset, bytes.end())};
}

Bytes BusRecord::payload() const {
    const std::size_t size = std::min<std::size_t>(data_len, data.size());
    return {data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size)};
}

BusRecord method_request(std::string_view name, const Bytes& data, std::uint32_t id) {
    return {.head = kMagic,
            .id = id,
            .src_name = "system.test",
            .dst_name = "quon.mcu.daemon",
            .type = 1,
            .name = std::string(name),
            .result = 0,
            .data_len = static_cast<std::uint32_t>(data.size()),
            .data = data};
}

BusRecord signal_record(std::string_view name, const Bytes& data) {
    BusRecord record = method_request(name, data, 0);
    record.type = 0;
    return record;
}

BusPeer::BusPeer(const std::string& bus_name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/tmp/dbus-" + bus_name;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected = wait_until([&] {
        return connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    });
    if (!connected) {
        const int error = errno;
        close(socket_);
        throw std::system_error(error, std::generic_category(), "connect " + path);
    }
}

BusPeer::~BusPeer() {
    close(socket_);
}

void BusPeer::send_bytes(const Bytes& bytes) const {
    if (::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "send on the bus");
    }
}

bool BusPeer::wait_until_read() const {
    return wait_until([this] {
        int unread = 0;
        return ioctl(socket_, SIOCOUTQ, &unread) == 0 && unread == 0;
    });
}

std::optional<Bytes> BusPeer::receive_bytes(std::chrono::milliseconds bound) const {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    Bytes bytes(kRecordSize);
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (!readable(socket_, left)) {
            return std::nullopt;
        }
        const ssize_t got = recv(socket_, bytes.data() + filled, bytes.size() - filled, 0);
        if (got <= 0) {
            return std::nullopt;
        }
        filled += static_cast<std::size_t>(got);
    }
    return bytes;
}

std::optional<BusRecord> BusPeer::receive(std::chrono::milliseconds bound) const {
    const std::optional<Bytes> bytes = receive_bytes(bound);
    return bytes ? std::optional(BusRecord::decoded(*bytes)) : std::nullopt;
}

bool BusPeer::ended(std::chrono::milliseconds bound) const {
    char byte = 0;
    return readable(socket_, bound) && recv(socket_, &byte, 1, MSG_PEEK) <= 0;
}

BusRecord BusPeer::call(std::string_view name, const Bytes& data, std::chrono::milliseconds bound) {
    const std::uint32_t id = next_id_++;
    send(method_request(name, data, id));
    const std::optional<BusRecord> result = receive(bound);
    if (!result) {
        throw std::runtime_error("no result of " + std::string(name));
    }
    if (result->id != id || result->name != name) {
        throw std::runtime_error("the result of another call than " + std::string(name));
    }
    return *result;
}

std::vector<std::unique_ptr<BusPeer>> connect_peers(std::size_t count) {
    std::vector<std::unique_ptr<BusPeer>> peers(count);
    for (std::unique_ptr<BusPeer>& peer : peers) {
        peer = std::make_unique<BusPeer>();
    }
    return peers;
}

}  // namespace quon::test
