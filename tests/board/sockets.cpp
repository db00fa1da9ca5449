#include "sockets.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "quon_mcu_services.h"

namespace quon::board {

namespace {

constexpr char kControlPath[] = "/tmp/hi3861l-sim.ctl";
constexpr char kOwnName[] = "board.check";

std::string bus_path() {
    return std::string("/tmp/dbus-") + QUON_MCU_BUS_NAME;
}

void copy_name(char (&field)[DBUS_NAME_SIZE], std::string_view name) {
    const size_t length = std::min(name.size(), sizeof field - 1);
    std::memcpy(field, name.data(), length);
    field[length] = '\0';
}

}  // namespace

Connection::Connection(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const std::string why = std::strerror(errno);
        close(fd_);
        throw std::runtime_error(path + ": " + why);
    }
}

Connection::~Connection() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

Connection::Connection(Connection&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

void Connection::write_all(const void* data, size_t size) const {
    if (::send(fd_, data, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) {
        throw std::runtime_error(std::string("write: ") + std::strerror(errno));
    }
}

size_t Connection::read_some(void* data, size_t size) const {
    pollfd wait{.fd = fd_, .events = POLLIN, .revents = 0};
    if (poll(&wait, 1, kPatienceMs) != 1) {
        return 0;
    }
    return static_cast<size_t>(std::max<ssize_t>(read(fd_, data, size), 0));
}

BusPeer::BusPeer() : connection_(bus_path()) {}

void BusPeer::send(uint32_t type, std::string_view name, const Bytes& request, uint32_t id) const {
    DbusMsg message{};
    message.head = DBUS_MSG_HEAD;
    message.id = id;
    copy_name(message.src_name, kOwnName);
    copy_name(message.dst_name, QUON_MCU_BUS_NAME);
    message.type = type;
    copy_name(message.name, name);
    message.data_len = static_cast<uint32_t>(request.size());
    std::ranges::copy(request, message.data);
    connection_.write_all(&message, sizeof message);
}

std::optional<DbusMsg> BusPeer::receive() const {
    DbusMsg message{};
    size_t have = 0;
    while (have < sizeof message) {
        const size_t got =
            connection_.read_some(reinterpret_cast<char*>(&message) + have, sizeof message - have);
        if (got == 0) {
            return std::nullopt;
        }
        have += got;
    }
    return message.head == DBUS_MSG_HEAD ? std::optional(message) : std::nullopt;
}

std::optional<DbusMsg> BusPeer::call(std::string_view name, const Bytes& request) const {
    send(DBUS_TYPE_METHOD, name, request, 1);
    return receive();
}

ChipControl::ChipControl() : connection_(kControlPath) {}

void ChipControl::send(const std::string& words) const {
    const std::string line = words + "\n";
    connection_.write_all(line.data(), line.size());
}

// An answer is any number of lines, then "ok" or "error: TEXT".
bool ChipControl::accepted() {
    for (;;) {
        for (size_t end = unread_.find('\n'); end != std::string::npos; end = unread_.find('\n')) {
            const std::string line = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            if (line == "ok" || line.starts_with("error:")) {
                return line == "ok";
            }
        }
        char piece[4096];
        const size_t got = connection_.read_some(piece, sizeof piece);
        if (got == 0) {
            return false;
        }
        unread_.append(piece, got);
    }
}

bool chip_control(const std::string& words) {
    ChipControl chip;
    chip.send(words);
    return chip.accepted();
}

}  // namespace quon::board
