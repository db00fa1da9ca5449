#include "bus_peers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace quon::test {

namespace {

namespace fs = std::filesystem;

sockaddr_un address_of(const std::string& bus_name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket_path(bus_name).copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

void set_text(char* field, std::size_t size, const std::string& text) {
    if (text.size() >= size) {
        throw std::length_error(text);
    }
    text.copy(field, size - 1);
}

bool readable(int descriptor, std::chrono::milliseconds bound) {
    pollfd ready{descriptor, POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(bound.count())) > 0;
}

int count_up() {
    static std::atomic<int> count{0};
    return ++count;
}

}  // namespace

std::string fresh_name() {
    return "quon.test." + std::to_string(count_up());
}

std::string socket_path(const std::string& bus_name) {
    return "/tmp/dbus-" + bus_name;
}

DbusMsg make_request(const std::string& member, std::uint32_t id, std::string_view payload) {
    DbusMsg record{};
    record.head = 0x5AA55AA5;
    record.id = id;
    set_text(record.src_name, sizeof(record.src_name), "quon.test.peer");
    set_text(record.dst_name, sizeof(record.dst_name), "quon.test.server");
    record.type = 1;
    set_text(record.name, sizeof(record.name), member);
    record.data_len = static_cast<std::uint32_t>(payload.size());
    std::copy(payload.begin(), payload.end(), record.data);
    return record;
}

DbusMsg make_signal(const std::string& member, std::string_view payload) {
    DbusMsg record = make_request(member, 1, payload);
    record.type = 0;
    return record;
}

DbusMsg make_result(const DbusMsg& request, std::int32_t result, std::string_view payload) {
    DbusMsg record{};
    record.head = 0x5AA55AA5;
    record.id = request.id;
    std::memcpy(record.src_name, request.dst_name, sizeof(record.src_name));
    std::memcpy(record.dst_name, request.src_name, sizeof(record.dst_name));
    record.type = 1;
    std::memcpy(record.name, request.name, sizeof(record.name));
    record.result = result;
    record.data_len = result >= 0 ? static_cast<std::uint32_t>(result) : 0;
    std::copy(payload.begin(), payload.end(), record.data);
    return record;
}

std::string payload_of(const DbusMsg& record) {
    return {reinterpret_cast<const char*>(record.data),
            std::min<std::size_t>(record.data_len, sizeof(record.data))};
}

std::span<const std::uint8_t> bytes_of_record(const DbusMsg& record) {
    return {reinterpret_cast<const std::uint8_t*>(&record), sizeof(record)};
}

std::string text_of(const char* field) {
    return {field, strnlen(field, DBUS_NAME_SIZE)};
}

RawPeer::RawPeer(RawPeer&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      pending_(std::move(other.pending_)),
      ended_(other.ended_) {}

RawPeer& RawPeer::operator=(RawPeer&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(pending_, other.pending_);
    std::swap(ended_, other.ended_);
    return *this;
}

RawPeer RawPeer::connect_to(const std::string& bus_name) {
    RawPeer peer(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(bus_name);
    if (connect(peer.descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) !=
        0) {
        throw std::runtime_error("connect " + socket_path(bus_name) + ": " + std::strerror(errno));
    }
    return peer;
}

void RawPeer::send(const DbusMsg& record) const {
    send_bytes(bytes_of_record(record));
}

void RawPeer::send_bytes(std::span<const std::uint8_t> bytes) const {
    const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error(std::string("send: ") + std::strerror(errno));
    }
}

bool RawPeer::fill(std::chrono::milliseconds bound) {
    if (ended_ || !readable(descriptor_, bound)) {
        return false;
    }
    std::vector<std::uint8_t> part(sizeof(DbusMsg));
    const ssize_t got = recv(descriptor_, part.data(), part.size(), 0);
    if (got <= 0) {
        ended_ = true;
        return false;
    }
    pending_.insert(pending_.end(), part.begin(), part.begin() + got);
    return true;
}

std::optional<DbusMsg> RawPeer::receive(std::chrono::milliseconds bound) {
    const std::int64_t end = now_ms() + bound.count();
    while (pending_.size() < sizeof(DbusMsg)) {
        const std::int64_t left = end - now_ms();
        if (left <= 0 || !fill(std::chrono::milliseconds(left))) {
            return std::nullopt;
        }
    }
    DbusMsg record;
    std::memcpy(&record, pending_.data(), sizeof(record));
    pending_.erase(pending_.begin(), pending_.begin() + sizeof(record));
    return record;
}

bool RawPeer::sees_end(std::chrono::milliseconds bound) {
    while (fill(bound)) {
    }
    return ended_;
}

bool RawPeer::is_silent(std::chrono::milliseconds span) {
    return pending_.empty() && !ended_ && !readable(descriptor_, span);
}

void RawPeer::close_now() {
    if (descriptor_ >= 0) {
        close(descriptor_);
        descriptor_ = -1;
    }
}

RawServer::RawServer(const std::string& bus_name)
    : path_(socket_path(bus_name)), descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    unlink(path_.c_str());
    const sockaddr_un address = address_of(bus_name);
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(descriptor_, 5) != 0) {
        throw std::runtime_error(path_ + ": " + std::strerror(errno));
    }
}

RawServer::~RawServer() {
    close(descriptor_);
    unlink(path_.c_str());
}

std::vector<RawPeer> fill_queue_of(const std::string& bus_name) {
    std::vector<RawPeer> queue;
    for (int i = 0; i < 6; i++) {
        queue.push_back(RawPeer::connect_to(bus_name));
    }
    return queue;
}

std::optional<RawPeer> RawServer::accept_one(std::chrono::milliseconds bound) const {
    if (!readable(descriptor_, bound)) {
        return std::nullopt;
    }
    return RawPeer(accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC));
}

std::int32_t answer_one(const std::uint8_t* /*request*/, std::int32_t /*len*/, std::uint8_t* reply,
                        std::int32_t /*capacity*/) {
    reply[0] = '1';
    return 1;
}

std::int32_t answer_two(const std::uint8_t* /*request*/, std::int32_t /*len*/, std::uint8_t* reply,
                        std::int32_t /*capacity*/) {
    reply[0] = '2';
    return 1;
}

bool serves(RawPeer& peer) {
    peer.send(make_request("method.one"));
    const std::optional<DbusMsg> result = peer.receive();
    return result && payload_of(*result) == "1";
}

DbusInfo* make_registration(const std::string& bus_name, const std::vector<Member>& members) {
    static auto* const kept = new std::vector<DbusInfo*>;
    DbusInfo* info = DbusInfo_Alloc(static_cast<std::int32_t>(members.size()));
    kept->push_back(info);
    set_text(info->name, sizeof(info->name), bus_name);
    for (std::size_t i = 0; i < members.size(); i++) {
        DbusInterface& entry = *info->interfaces[i];
        set_text(entry.name, sizeof(entry.name), members[i].name);
        set_text(entry.method_type, sizeof(entry.method_type), members[i].method_marker);
        set_text(entry.signal_type, sizeof(entry.signal_type), members[i].signal_marker);
        entry.method_handler = members[i].method;
        entry.signal_handler = members[i].signal;
    }
    return info;
}

DbusInfo* start_server(const std::string& bus_name, const std::vector<Member>& members) {
    DbusInfo* info = make_registration(bus_name, members);
    if (Dbus_Register(info) != 0) {
        throw std::runtime_error("Dbus_Register " + bus_name);
    }
    return info;
}

namespace {

void each_thread(const std::function<void(pid_t, const std::string&)>& use) {
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(entry.path() / "comm"), name);
        use(static_cast<pid_t>(std::stol(entry.path().filename())), name);
    }
}

}  // namespace

int open_descriptors() {
    int count = 0;
    for (int fd = 0; fd < 1024; fd++) {
        count += fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
    }
    return count;
}

std::multiset<std::string> thread_names() {
    std::multiset<std::string> names;
    each_thread([&](pid_t, const std::string& name) { names.insert(name); });
    return names;
}

std::vector<pid_t> threads_named(const std::string& name) {
    std::vector<pid_t> found;
    each_thread([&](pid_t thread, const std::string& its_name) {
        if (its_name == name) {
            found.push_back(thread);
        }
    });
    return found;
}

bool all_asleep(const std::string& name) {
    for (int look = 0; look < 5; look++) {
        for (const pid_t thread : threads_named(name)) {
            std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
            std::string stat;
            std::getline(file, stat);
            const std::size_t state = stat.rfind(')') + 2;  // the field after the name
            if (stat.size() <= state || stat[state] != 'S') {
                return false;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void interrupt_thread(pid_t thread) {
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    sigaction(SIGUSR1, &nothing, nullptr);  // without SA_RESTART
    syscall(SYS_tgkill, getpid(), thread, SIGUSR1);
}

void Gate::open() {
    __atomic_store_n(&flag_, 1, __ATOMIC_RELEASE);
}

void Gate::close() {
    __atomic_store_n(&flag_, 0, __ATOMIC_RELEASE);
}

bool Gate::wait(std::chrono::milliseconds bound) const {
    return wait_until([this] { return __atomic_load_n(&flag_, __ATOMIC_ACQUIRE) != 0; }, bound);
}

std::int64_t now_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

std::string without_line_numbers(const std::string& text) {
    std::istringstream lines(text);
    std::string out;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t first = line.find(' ') + 1;
        const std::size_t end = line.find_first_not_of("0123456789", first);
        if (first != 0 && end != std::string::npos && end > first && line[end] == ' ') {
            line.replace(first, end - first, "LINE");
        }
        out += line + "\n";
    }
    return out;
}

int count_of(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        count++;
    }
    return count;
}

}  // namespace quon::test
