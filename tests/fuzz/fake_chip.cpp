#include "fake_chip.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "harness.h"
#include "hi3861l_context.h"
#include "hichannel_host.h"

namespace quon::fuzz {

namespace {

constexpr char kResolvConf[] = "/etc/resolv.conf";
constexpr std::size_t kMostDatagrams = 4;

thread_local std::deque<Bytes> incoming;

// A socket for the channel that is not connected to anything.
int nowhere() {
    return memfd_create("channel", MFD_CLOEXEC);
}

// The sanitizers check every byte of it.
std::size_t read_all(const char* text) {
    return std::strlen(text);
}

}  // namespace

FakeChip& chip() {
    static auto* const kChip = new FakeChip;
    return *kChip;
}

void FakeChip::reset() {
    opens = true;
    takes = true;
    command_result = 0;
    command_output.clear();
    has_popen = true;
    const std::lock_guard guard(lock_);
    answers_.clear();
    last_request_ = 0;
}

void FakeChip::answer_next(std::vector<Datagram> datagrams) {
    const std::lock_guard guard(lock_);
    answers_.push_back(std::move(datagrams));
}

void FakeChip::deliver(std::vector<Datagram> datagrams) {
    for (Datagram& each : datagrams) {
        if (each.answers && each.bytes.size() > HI_CHANNEL_HEADER_SIZE) {
            each.bytes[HI_CHANNEL_HEADER_SIZE] = last_request_;
        }
        incoming.push_back(std::move(each.bytes));
    }
    hi_channel_host_thread(nullptr);
}

void FakeChip::on_send(const std::uint8_t* message, std::size_t size) {
    if (size > HI_CHANNEL_HEADER_SIZE) {
        last_request_ = message[HI_CHANNEL_HEADER_SIZE];
    }
}

// One at a time: the driver holds its request lock.
bool FakeChip::on_wait() {
    std::vector<Datagram> datagrams;
    {
        const std::lock_guard guard(lock_);
        if (!answers_.empty()) {
            datagrams = std::move(answers_.front());
            answers_.pop_front();
        }
    }
    signalled_ = false;
    deliver(std::move(datagrams));
    return signalled_;
}

void FakeChip::on_signal() {
    signalled_ = true;
}

Bytes with_header(const Bytes& message) {
    Bytes datagram(HI_CHANNEL_HEADER_SIZE);
    datagram.insert(datagram.end(), message.begin(), message.end());
    return datagram;
}

Bytes framed(std::uint8_t type, std::uint32_t length, const Bytes& payload) {
    Bytes frame = {type};
    for (int i = 0; i < 4; i++) {
        frame.push_back(static_cast<std::uint8_t>(length >> (8 * i)));
    }
    frame.insert(frame.end(), payload.begin(), payload.end());
    return with_header(frame);
}

std::vector<Datagram> take_datagrams(Input& input) {
    std::vector<Datagram> datagrams(input.byte() % kMostDatagrams);
    for (Datagram& each : datagrams) {
        const std::uint8_t kind = input.byte() % 4;
        if (kind == 0) {  // well-formed, of the type that is asked for
            const Bytes payload = input.piece();
            each = {framed(0, static_cast<std::uint32_t>(payload.size()), payload), true};
        } else if (kind == 1) {  // the same with any length field
            const std::uint32_t length = input.number(4);
            each = {framed(0, length, input.piece()), true};
        } else if (kind == 2) {  // any frame
            each = {with_header(input.piece()), false};
        } else {  // any datagram; an empty one is an interruption
            each = {input.piece(), false};
        }
    }
    return datagrams;
}

}  // namespace quon::fuzz

using quon::fuzz::chip;

extern "C" {

int __real_socket(int family, int type, int protocol);
int __real_bind(int fd, const sockaddr* address, socklen_t size);
int __real_open(const char* path, int flags, ...);
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __real_pthread_cond_signal(pthread_cond_t* condition);

int __wrap_socket(int family, int type, int protocol) {
    return family == AF_NETLINK ? quon::fuzz::nowhere() : __real_socket(family, type, protocol);
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t /*size*/) {
    if (address->sa_family == AF_NETLINK) {
        errno = EADDRINUSE;
        return chip().opens ? 0 : -1;
    }
    // The kernel chooses an address that nobody knows.
    return __real_bind(fd, address, sizeof(address->sa_family));
}

ssize_t __wrap_sendto(int fd, const void* data, size_t size, int /*flags*/, const sockaddr* /*to*/,
                      socklen_t /*to_size*/) {
    const quon::fuzz::Bytes message(static_cast<const std::uint8_t*>(data),
                                    static_cast<const std::uint8_t*>(data) + size);
    if (fd < 0 || !chip().takes) {
        errno = EBADF;
        return -1;
    }
    chip().on_send(message.data(), message.size());
    return static_cast<ssize_t>(size);
}

ssize_t __wrap_recvfrom(int /*fd*/, void* data, size_t size, int /*flags*/, sockaddr* /*from*/,
                        socklen_t* /*from_size*/) {
    if (quon::fuzz::incoming.empty()) {
        errno = EIO;  // ends the receive thread's function
        return -1;
    }
    const quon::fuzz::Bytes datagram = quon::fuzz::incoming.front();
    quon::fuzz::incoming.pop_front();
    if (datagram.empty()) {
        errno = EINTR;
        return -1;
    }
    const size_t taken = std::min(size, datagram.size());
    std::memcpy(data, datagram.data(), taken);
    return static_cast<ssize_t>(taken);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    if (condition != &g_hi3861l.reply_cond) {
        return __real_pthread_cond_timedwait(condition, mutex, deadline);
    }
    pthread_mutex_unlock(mutex);
    const bool signalled = chip().on_wait();
    pthread_mutex_lock(mutex);
    return signalled ? 0 : ETIMEDOUT;
}

int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
    if (condition == &g_hi3861l.reply_cond) {
        chip().on_signal();
    }
    return __real_pthread_cond_signal(condition);
}

int __wrap_usleep(useconds_t /*microseconds*/) {
    return 0;
}

int __wrap_system(const char* command) {
    return quon::fuzz::read_all(command) == 0 ? 1 : chip().command_result;
}

FILE* __wrap_popen(const char* command, const char* /*mode*/) {
    if (quon::fuzz::read_all(command) == 0 || !chip().has_popen) {
        return nullptr;
    }
    const int fd = memfd_create("output", MFD_CLOEXEC);
    const quon::fuzz::Bytes& output = chip().command_output;
    if (write(fd, output.data(), output.size()) < 0 || lseek(fd, 0, SEEK_SET) != 0) {
        std::abort();
    }
    return fdopen(fd, "re");
}

int __wrap_pclose(FILE* stream) {
    return fclose(stream);
}

// The machine's own resolver file is left alone.
int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const bool resolver = std::strcmp(path, quon::fuzz::kResolvConf) == 0;
    return resolver ? __real_open("/dev/null", O_WRONLY | O_CLOEXEC)
                    : __real_open(path, flags, mode);
}
}
