#include "fake_netlink.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <utility>

extern "C" {
int __real_socket(int family, int type, int protocol);
int __real_bind(int socket, const sockaddr* address, socklen_t size);
int __real_setsockopt(int socket, int level, int option, const void* value, socklen_t size);
ssize_t __real_sendto(int socket, const void* data, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size);
ssize_t __real_recvfrom(int socket, void* data, size_t size, int flags, sockaddr* from,
                        socklen_t* from_size);
void* __real_malloc(size_t size);
int __real_usleep(useconds_t microseconds);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*function)(void*),
                          void* argument);
int __real_pthread_cancel(pthread_t thread);
}

namespace quon::test {

namespace {

constexpr int kChannelProtocol = 28;

struct FakeKernel {
    std::mutex lock;
    int host_end = -1;
    int kernel_end = -1;
    int socket_error = 0;
    int bind_error = 0;
    int send_error = 0;
    int receive_error = 0;
    bool thread_error = false;
    bool is_unprivileged = false;
    std::size_t cancels = 0;
    std::vector<SocketCall> sockets;
    std::vector<OptionCall> options;
    std::vector<sockaddr_nl> binds;
    std::vector<ReceiveCall> receives;
    std::vector<SentMessage> sent;
    std::vector<useconds_t> pauses;
    std::function<void(const Bytes&)> listener;
};

// Never destroyed: a receive thread may outlive main.
FakeKernel& kernel() {
    static auto* const kKernel = new FakeKernel;
    return *kKernel;
}

thread_local bool malloc_fails = false;

int fail_with(int& error) {
    errno = std::exchange(error, 0);
    return -1;
}

bool is_host_end(int descriptor) {
    return descriptor >= 0 && descriptor == kernel().host_end;
}

int open_pair(int type) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_DGRAM | (type & SOCK_CLOEXEC), 0, ends) != 0) {
        return -1;
    }
    if (kernel().kernel_end >= 0) {
        close(kernel().kernel_end);
    }
    kernel().host_end = ends[0];
    kernel().kernel_end = ends[1];
    return ends[0];
}

template <typename Member>
auto copy_of(Member FakeKernel::*member) {
    const std::lock_guard guard(kernel().lock);
    return kernel().*member;
}

template <typename Value>
void set(Value FakeKernel::*member, Value value) {
    const std::lock_guard guard(kernel().lock);
    kernel().*member = std::move(value);
}

}  // namespace

void fail_next_socket(int error) {
    set(&FakeKernel::socket_error, error);
}
void fail_next_bind(int error) {
    set(&FakeKernel::bind_error, error);
}
void fail_next_send(int error) {
    set(&FakeKernel::send_error, error);
}
void fail_next_receive(int error) {
    set(&FakeKernel::receive_error, error);
}
void fail_next_thread_start() {
    set(&FakeKernel::thread_error, true);
}
void take_privileges() {
    set(&FakeKernel::is_unprivileged, true);
}
void fail_next_malloc() {
    malloc_fails = true;
}

void forget_calls() {
    const std::lock_guard guard(kernel().lock);
    kernel().sockets.clear();
    kernel().options.clear();
    kernel().binds.clear();
    kernel().receives.clear();
    kernel().sent.clear();
    kernel().pauses.clear();
    kernel().cancels = 0;
}

std::vector<SocketCall> socket_calls() {
    return copy_of(&FakeKernel::sockets);
}
std::vector<OptionCall> option_calls() {
    return copy_of(&FakeKernel::options);
}
std::vector<sockaddr_nl> bind_calls() {
    return copy_of(&FakeKernel::binds);
}
std::vector<ReceiveCall> receive_calls() {
    return copy_of(&FakeKernel::receives);
}
std::vector<SentMessage> sent_messages() {
    return copy_of(&FakeKernel::sent);
}
std::vector<useconds_t> pauses() {
    return copy_of(&FakeKernel::pauses);
}
std::size_t cancel_calls() {
    return copy_of(&FakeKernel::cancels);
}
int host_socket() {
    return copy_of(&FakeKernel::host_end);
}

bool is_open(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

void send_to_host(const Bytes& message) {
    const int descriptor = copy_of(&FakeKernel::kernel_end);
    if (send(descriptor, message.data(), message.size(), 0) !=
        static_cast<ssize_t>(message.size())) {
        throw std::runtime_error(std::string("send_to_host: ") + std::strerror(errno));
    }
}

void on_message_from_host(std::function<void(const Bytes&)> function) {
    set(&FakeKernel::listener, std::move(function));
}

Bytes netlink_message(const Bytes& payload) {
    Bytes message(16 + payload.size(), 0xa5);
    std::ranges::copy(payload, message.begin() + 16);
    return message;
}

}  // namespace quon::test

using quon::test::kernel;

extern "C" {

int __wrap_socket(int family, int type, int protocol) {
    if (family != AF_NETLINK || protocol != quon::test::kChannelProtocol) {
        return __real_socket(family, type, protocol);
    }
    const std::lock_guard guard(kernel().lock);
    kernel().sockets.push_back({family, type, protocol});
    if (kernel().socket_error != 0) {
        return quon::test::fail_with(kernel().socket_error);
    }
    return quon::test::open_pair(type);
}

int __wrap_bind(int socket, const sockaddr* address, socklen_t size) {
    const std::lock_guard guard(kernel().lock);
    if (!quon::test::is_host_end(socket)) {
        return __real_bind(socket, address, size);
    }
    sockaddr_nl local{};
    std::memcpy(&local, address, std::min<std::size_t>(size, sizeof(local)));
    kernel().binds.push_back(local);
    return kernel().bind_error != 0 ? quon::test::fail_with(kernel().bind_error) : 0;
}

int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t size) {
    const std::lock_guard guard(kernel().lock);
    if (quon::test::is_host_end(socket) && size == sizeof(int)) {
        int number = 0;
        std::memcpy(&number, value, sizeof(number));
        kernel().options.push_back({level, option, number});
        if (level == SOL_NETLINK) {
            return 0;
        }
        if (option == SO_RCVBUFFORCE && kernel().is_unprivileged) {
            errno = EPERM;
            return -1;
        }
    }
    return __real_setsockopt(socket, level, option, value, size);
}

ssize_t __wrap_sendto(int socket, const void* data, size_t size, int flags, const sockaddr* to,
                      socklen_t to_size) {
    std::unique_lock guard(kernel().lock);
    if (!quon::test::is_host_end(socket)) {
        guard.unlock();
        return __real_sendto(socket, data, size, flags, to, to_size);
    }
    if (kernel().send_error != 0) {
        return quon::test::fail_with(kernel().send_error);
    }
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    quon::test::SentMessage message{{bytes, bytes + size}, flags, {}, to_size};
    std::memcpy(&message.to, to, std::min<std::size_t>(to_size, sizeof(message.to)));
    kernel().sent.push_back(message);
    const auto listener = kernel().listener;
    guard.unlock();
    if (listener) {
        listener(message.bytes);
    }
    return static_cast<ssize_t>(size);
}

ssize_t __wrap_recvfrom(int socket, void* data, size_t size, int flags, sockaddr* from,
                        socklen_t* from_size) {
    {
        const std::lock_guard guard(kernel().lock);
        if (quon::test::is_host_end(socket)) {
            kernel().receives.push_back({size, flags, from_size != nullptr ? *from_size : 0});
            if (kernel().receive_error != 0) {
                return quon::test::fail_with(kernel().receive_error);
            }
        }
    }
    return __real_recvfrom(socket, data, size, flags, from, from_size);
}

void* __wrap_malloc(size_t size) {
    if (std::exchange(quon::test::malloc_fails, false)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}

int __wrap_usleep(useconds_t microseconds) {
    {
        const std::lock_guard guard(kernel().lock);
        kernel().pauses.push_back(microseconds);
    }
    return __real_usleep(microseconds);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*function)(void*),
                          void* argument) {
    {
        const std::lock_guard guard(kernel().lock);
        if (std::exchange(kernel().thread_error, false)) {
            return EAGAIN;
        }
    }
    return __real_pthread_create(thread, attr, function, argument);
}

int __wrap_pthread_cancel(pthread_t thread) {
    const int result = __real_pthread_cancel(thread);
    const std::lock_guard guard(kernel().lock);
    kernel().cancels++;
    return result;
}

}  // extern "C"
