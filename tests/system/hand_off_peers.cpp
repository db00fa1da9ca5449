#include "hand_off_peers.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "daemon_process.h"

namespace quon::test {

namespace {

bool readable(int descriptor, std::chrono::milliseconds bound = kLongEnough) {
    pollfd entry{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&entry, 1, static_cast<int>(bound.count())) > 0;
}

sockaddr_in local_address(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// The one descriptor sent with the data, or -1.
int passed_descriptor(msghdr& message) {
    cmsghdr* head = CMSG_FIRSTHDR(&message);
    if (head == nullptr || head->cmsg_level != SOL_SOCKET || head->cmsg_type != SCM_RIGHTS ||
        head->cmsg_len != CMSG_LEN(sizeof(int)) || CMSG_NXTHDR(&message, head) != nullptr) {
        return -1;
    }
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(head), sizeof(descriptor));
    return descriptor;
}

}  // namespace

std::string read_text(int descriptor) {
    char block[256];
    const ssize_t got = readable(descriptor) ? recv(descriptor, block, sizeof(block), 0) : -1;
    return got > 0 ? std::string(block, static_cast<std::size_t>(got)) : std::string();
}

bool at_end(int descriptor, std::chrono::milliseconds bound) {
    char byte = 0;
    return readable(descriptor, bound) && recv(descriptor, &byte, 1, MSG_PEEK) <= 0;
}

void expect_connected(const Descriptor& client, const Descriptor& server) {
    ASSERT_GE(client.get(), 0);
    ASSERT_GE(server.get(), 0);
    EXPECT_EQ(send(client.get(), "to the server", 13, MSG_NOSIGNAL), 13);
    EXPECT_EQ(read_text(server.get()), "to the server");
    EXPECT_EQ(send(server.get(), "to the client", 13, MSG_NOSIGNAL), 13);
    EXPECT_EQ(read_text(client.get()), "to the client");
}

RemoteServer::RemoteServer(int backlog)
    : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = local_address(0);
    socklen_t length = sizeof(address);
    EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(listen(listener_.get(), backlog), 0);
    EXPECT_EQ(getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    port_ = ntohs(address.sin_port);
}

bool RemoteServer::called(std::chrono::milliseconds bound) const {
    return readable(listener_.get(), bound);
}

Descriptor RemoteServer::accept_one() const {
    return Descriptor(called() ? accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC) : -1);
}

void RemoteServer::stop_answering() {
    const sockaddr_in address = local_address(port_);
    bool answered = true;
    while (answered) {
        Descriptor caller(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const bool connected = connect(caller.get(), reinterpret_cast<const sockaddr*>(&address),
                                       sizeof(address)) == 0;
        pollfd entry{.fd = caller.get(), .events = POLLOUT, .revents = 0};
        answered = connected || poll(&entry, 1, 200) > 0;
        callers_.push_back(std::move(caller));
    }
}

LocalProgram::LocalProgram() : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kHandOffPath, sizeof(kHandOffPath));
    EXPECT_TRUE(wait_until([&] {
        return connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                       sizeof(address)) == 0;
    }));
}

void LocalProgram::ask(const Bytes& address, std::uint16_t port) const {
    Bytes request{0};
    request.insert(request.end(), address.begin(), address.end());
    request.push_back(static_cast<std::uint8_t>(port));  // host byte order
    request.push_back(static_cast<std::uint8_t>(port >> 8));
    send_bytes(request);
}

void LocalProgram::send_bytes(const Bytes& bytes) const {
    EXPECT_EQ(send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

Descriptor LocalProgram::receive() const {
    Bytes data(64, 0xFF);
    alignas(cmsghdr) char control[CMSG_SPACE(4 * sizeof(int))] = {};
    iovec block{.iov_base = data.data(), .iov_len = data.size()};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    if (!readable(socket_.get())) {
        ADD_FAILURE() << "nothing was handed over";
        return Descriptor();
    }
    EXPECT_EQ(recvmsg(socket_.get(), &message, MSG_CMSG_CLOEXEC), 8);
    data.resize(8);
    EXPECT_EQ(to_hex(data), "01 00 00 00 00 00 00 00");
    const int descriptor = passed_descriptor(message);
    EXPECT_GE(descriptor, 0);
    return Descriptor(descriptor);
}

bool LocalProgram::gets_something(std::chrono::milliseconds bound) const {
    return readable(socket_.get(), bound);
}

}  // namespace quon::test
