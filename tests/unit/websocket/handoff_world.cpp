#include "handoff_world.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "files.h"
#include "private_world.h"

namespace quon::test {

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
    }
}

sockaddr_in address_of(std::uint32_t ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ip;
    address.sin_port = htons(port);
    return address;
}

std::uint32_t parsed(const std::string& address) {
    in_addr ip{};
    require(inet_pton(AF_INET, address.c_str(), &ip) == 1, "inet_pton");
    return ip.s_addr;
}

std::string formatted(const char* format, std::uint32_t ip, int port, int state = 0) {
    char line[128];
    std::snprintf(line, sizeof(line), format, ip, port, state);
    return line;
}

std::atomic<bool> network_up{true};
std::atomic<int> questions{0};

}  // namespace

bool readable_within(int descriptor, std::chrono::milliseconds bound) {
    pollfd item{descriptor, POLLIN, 0};
    return poll(&item, 1, static_cast<int>(bound.count())) == 1;
}

bool ends_within(int descriptor, std::chrono::milliseconds bound) {
    char byte = 0;
    return readable_within(descriptor, bound) && recv(descriptor, &byte, 1, 0) == 0;
}

bool carries(int from, int to, const std::string& text) {
    std::string received(text.size(), '\0');
    return send(from, text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size()) &&
           readable_within(to) &&
           recv(to, received.data(), received.size(), MSG_WAITALL) ==
               static_cast<ssize_t>(text.size()) &&
           received == text;
}

RemoteServer::RemoteServer(const std::string& address, std::uint16_t port, int backlog)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), ip_(parsed(address)) {
    sockaddr_in name = address_of(ip_, port);
    socklen_t length = sizeof(name);
    require(bind(socket_.get(), reinterpret_cast<sockaddr*>(&name), sizeof(name)) == 0, "bind");
    require(listen(socket_.get(), backlog) == 0, "listen");
    require(getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&name), &length) == 0,
            "getsockname");
    port_ = ntohs(name.sin_port);
}

Descriptor RemoteServer::accept(std::chrono::milliseconds bound) const {
    if (!has_visitor(bound)) {
        return Descriptor();
    }
    return Descriptor(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

SilentServer::SilentServer()
    : server_("127.0.0.1", 0, 0), occupant_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_in name = address_of(server_.ip(), server_.port());
    require(connect(occupant_.get(), reinterpret_cast<const sockaddr*>(&name), sizeof(name)) == 0,
            "connect");
    require(server_.has_visitor(kLongEnough), "no visitor");
}

std::vector<std::string> SilentServer::attempts() const {
    char wanted[32];
    std::snprintf(wanted, sizeof(wanted), "%08X:%04X", ip(), port());
    std::vector<std::string> local_ends;
    std::istringstream table(content_of("/proc/thread-self/net/tcp"));
    std::string line;
    while (std::getline(table, line)) {
        std::istringstream words(line);
        std::string number;
        std::string local;
        std::string remote;
        std::string state;
        words >> number >> local >> remote >> state;
        if (remote == wanted && state == "02") {  // connecting
            local_ends.push_back(local);
        }
    }
    return local_ends;
}

void SilentServer::leave() {
    server_.stop_listening();
    occupant_.reset();
}

std::uint16_t closed_port() {
    RemoteServer server;
    server.stop_listening();
    return server.port();
}

Bytes connect_request(std::uint32_t ip, std::uint16_t port) {
    Bytes request(WS_REQUEST_SIZE);
    request[0] = WS_COMMAND_CONNECT;
    std::memcpy(&request[1], &ip, 4);
    std::memcpy(&request[5], &port, 2);
    return request;
}

Descriptor LocalPeer::unconnected() {
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

LocalPeer::LocalPeer(Descriptor socket) : socket_(std::move(socket)) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const std::string path = "/tmp/ws_socket";
    std::copy(path.begin(), path.end(), name.sun_path);
    const auto connected = [&] {
        return connect(socket_.get(), reinterpret_cast<sockaddr*>(&name), sizeof(name)) == 0;
    };
    require(wait_until(connected), "connect to /tmp/ws_socket");
}

void LocalPeer::send(const Bytes& request) const {
    require(::send(socket_.get(), request.data(), request.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(request.size()),
            "send");
}

std::optional<Handover> LocalPeer::receive(std::chrono::milliseconds bound) const {
    if (!readable_within(socket_.get(), bound)) {
        return std::nullopt;
    }
    std::uint8_t data[64];
    alignas(cmsghdr) char control[CMSG_SPACE(4 * sizeof(int))];
    iovec block{data, sizeof(data)};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const ssize_t length = recvmsg(socket_.get(), &message, MSG_CMSG_CLOEXEC);
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    if (length <= 0 || header == nullptr || header->cmsg_type != SCM_RIGHTS ||
        header->cmsg_len != CMSG_LEN(sizeof(int))) {
        return std::nullopt;
    }
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header), sizeof(descriptor));
    return Handover{Bytes(data, data + length), Descriptor(descriptor)};
}

std::map<std::string, unsigned long> open_sockets() {
    std::map<std::string, unsigned long> sockets;
    std::error_code closed_meanwhile;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string target =
            std::filesystem::read_symlink(entry.path(), closed_meanwhile).string();
        std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
        std::string word;
        while (target.starts_with("socket:") && info >> word) {
            if (word == "flags:" && info >> word) {
                sockets[target] = std::stoul(word, nullptr, 8);
            }
        }
    }
    return sockets;
}

int since(std::chrono::steady_clock::time_point start) {
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::steady_clock::now() - start)
                                .count());
}

bool thread_runs(const std::string& name) {
    std::error_code ended;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", ended)) {
        if (content_of(task.path() / "comm") == name + "\n") {
            return true;
        }
    }
    return false;
}

std::string without_numbers(const std::string& text) {
    std::string result = text;
    for (const std::string label : {"fd:", "client_sock:", "-2484:"}) {
        for (std::size_t at = result.find(label); at != std::string::npos;
             at = result.find(label, at)) {
            at += label.size();
            const std::size_t end = result.find_first_not_of("-0123456789", at);
            result.replace(at, end - at, "#");
        }
    }
    return result;
}

void set_network_up(bool up) {
    network_up = up;
}

int network_questions() {
    return questions;
}

int answer_network_question(int* updated) {
    questions++;
    *updated = network_up ? 1 : 0;
    return 4;
}

ws_preinit_param record_without_wakeup() {
    return {0, 0, 0, answer_network_question};
}

ws_preinit_param record_for(std::uint32_t ip, std::uint16_t port) {
    return {1, ip, port, answer_network_question};
}

void HandOffTest::SetUp() {
    enter_private_world();
    std::signal(SIGPIPE, SIG_IGN);  // as in the daemon
    capture_.emplace();
}

void HandOffTest::start(const ws_preinit_param& param) {
    ASSERT_EQ(websocket_local_server_init(&param), 0);
}

std::string HandOffTest::output() const {
    return without_numbers(output_with_numbers());
}

std::string HandOffTest::output_with_numbers() const {
    return capture_->text();
}

void HandOffTest::expect_output(const std::string& lines) const {
    wait_until([&] { return output() == lines; });
    EXPECT_EQ(output(), lines);
}

bool HandOffTest::prints(const std::string& part) const {
    return wait_until([&] { return output().find(part) != std::string::npos; });
}

bool HandOffTest::prints_exactly(const std::string& part) const {
    return wait_until([&] { return output_with_numbers().find(part) != std::string::npos; });
}

std::string init_line(std::uint32_t ip, std::uint16_t port) {
    return formatted("ws init ip: %x-%d\n", ip, port);
}

std::string request_line(std::uint32_t ip, std::uint16_t port, int state) {
    return formatted("ws ls recv websocketip, %x:%d, %d\n", ip, port, state);
}

}  // namespace quon::test
