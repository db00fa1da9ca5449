// Data that a server sends to a bus client, while calls are pending and while none is: the method
// thread is the real one, and runs in step with the caller.
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>

#include "dbus_socket_common.h"
#include "harness.h"

extern "C" {
ssize_t __real_read(int fd, void* data, size_t size);
ssize_t __real_send(int fd, const void* data, size_t size, int flags);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
}

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a call was answered", "a call had no answer",      "a call had no connection",
    "a signal was sent",   "a result nobody waits for", "a read was interrupted",
    "a server went away",  "a client connected anew",   "a length was beyond the record",
};

constexpr int kMostCalls = 16;
constexpr std::size_t kMostPieces = 6;
constexpr std::size_t kHeadSize = offsetof(DbusMsg, result);
constexpr char kMember[] = "method.quon.mcu.get.time";

// The server's end of the connection. The data to be sent is queued; each read of the client
// returns one piece.
class Server {
  public:
    // From `piece` on: what the server does once the next request has arrived, or at once.
    void prepare(Input& input);
    void send_unasked();
    bool accept(int client);
    void refuse(std::uint8_t attempts) { refusals_ = attempts; }
    void leave();

    void on_request(const DbusMsg& request);
    // Before the client reads; true: the read is interrupted.
    bool before_read(int client);
    // Whether the client has read everything, so that a call waits in vain.
    bool is_idle();
    [[nodiscard]] bool is_client(int fd) const { return fd == client_; }

  private:
    struct Piece {
        Bytes bytes;
        bool answers = false;  // gets the request's id and name
        bool interrupts = false;
        bool ends = false;
        bool reads_all = false;  // before the end: the client sees an end, not a failure
    };
    static Piece piece_from(Input& input);
    static bool is_nothing(const Piece& piece) {
        return piece.bytes.empty() && !piece.interrupts && !piece.ends;
    }
    void send_next();
    void read_all() const;
    void close_end();

    std::mutex lock_;
    std::deque<Piece> prepared_;
    std::deque<Piece> pieces_;
    int end_ = -1;
    int client_ = -1;
    int connections_ = 0;
    std::uint8_t refusals_ = 0;
    bool is_idle_ = false;
};

Server* server = nullptr;
thread_local bool is_calling = false;
constexpr long kSliceNs = 1'000'000;

Bytes result_from(Input& input) {
    DbusMsg result{};
    result.head = DBUS_MSG_HEAD;
    result.type = DBUS_TYPE_METHOD;
    result.result = static_cast<std::int32_t>(input.number(4));
    result.data_len = input.number(4);
    const Bytes data = input.piece();
    put(result.data, DBUS_DATA_SIZE, data);
    const auto* first = reinterpret_cast<const std::uint8_t*>(&result);
    return {first, first + sizeof(result)};
}

Server::Piece Server::piece_from(Input& input) {
    Piece piece;
    switch (input.byte() % 6) {
        case 0:  // the answer
            piece.bytes = result_from(input);
            piece.answers = true;
            break;
        case 1:  // a result of any name and number
            piece.bytes = result_from(input);
            put(piece.bytes.data(), kHeadSize, input.piece());
            break;
        case 2:  // the beginning of an answer
            piece.bytes = result_from(input);
            piece.bytes.resize(1 + input.number(2) % piece.bytes.size());
            piece.answers = piece.bytes.size() >= kHeadSize;
            break;
        case 3:
            piece.interrupts = true;
            break;
        case 4:
            piece.ends = true;
            piece.reads_all = (input.byte() & 1) != 0;
            break;
        default:
            piece.bytes = input.piece();
            break;
    }
    piece.bytes.resize(std::min(piece.bytes.size(), sizeof(DbusMsg)));
    return piece;
}

void Server::prepare(Input& input) {
    const std::lock_guard guard(lock_);
    prepared_.resize(input.byte() % kMostPieces);
    for (Piece& piece : prepared_) {
        piece = piece_from(input);
    }
}

bool Server::accept(int client) {
    const std::lock_guard guard(lock_);
    if (refusals_ > 0) {
        refusals_--;
        errno = ECONNREFUSED;
        return false;
    }
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are sockets");
    require(dup3(ends[0], client, O_CLOEXEC) == client, "a socket can be put in place");
    close(ends[0]);
    close_end();
    end_ = ends[1];
    client_ = client;
    pieces_.clear();
    if (connections_++ > 0) {
        saw("a client connected anew");
    }
    return true;
}

void Server::read_all() const {
    std::uint8_t unread[sizeof(DbusMsg)];
    while (end_ >= 0 && recv(end_, unread, sizeof(unread), MSG_DONTWAIT) > 0) {
    }
}

void Server::close_end() {
    if (end_ >= 0) {
        close(end_);
        end_ = -1;
    }
}

void Server::leave() {
    const std::lock_guard guard(lock_);
    close_end();
}

// With the lock.
void Server::send_next() {
    if (pieces_.empty()) {
        is_idle_ = end_ >= 0;  // otherwise the client's read ends
        return;
    }
    is_idle_ = false;
    const Piece piece = std::move(pieces_.front());
    pieces_.pop_front();
    if (piece.ends) {
        saw("a server went away");
        pieces_.clear();
        if (piece.reads_all) {
            read_all();
        }
        close_end();
    } else if (end_ >= 0) {
        (void)__real_send(end_, piece.bytes.data(), piece.bytes.size(),
                          MSG_NOSIGNAL | MSG_DONTWAIT);
    }
}

void Server::on_request(const DbusMsg& request) {
    const std::lock_guard guard(lock_);
    pieces_ = std::move(prepared_);
    prepared_.clear();
    for (Piece& piece : pieces_) {
        if (piece.answers) {
            std::memcpy(piece.bytes.data() + offsetof(DbusMsg, id), &request.id,
                        sizeof(request.id));
            std::memcpy(piece.bytes.data() + offsetof(DbusMsg, name), request.name,
                        sizeof(request.name));
        }
    }
    // The client is already reading: nothing can interrupt it now.
    while (!pieces_.empty() && (pieces_.front().interrupts || is_nothing(pieces_.front()))) {
        pieces_.pop_front();
    }
    if (!pieces_.empty()) {
        send_next();
    }
}

void Server::send_unasked() {
    saw("a result nobody waits for");
    on_request(DbusMsg{});
}

bool Server::before_read(int client) {
    const std::lock_guard guard(lock_);
    if (!pieces_.empty() && pieces_.front().interrupts) {
        pieces_.pop_front();
        saw("a read was interrupted");
        return true;
    }
    int unread = 0;
    if (ioctl(client, FIONREAD, &unread) == 0 && unread == 0) {
        while (!pieces_.empty() && is_nothing(pieces_.front())) {
            pieces_.pop_front();
        }
        send_next();
    }
    errno = 0;  // or an earlier interruption would count at the end of the stream
    return false;
}

bool Server::is_idle() {
    const std::lock_guard guard(lock_);
    return is_idle_;
}

void call(DbusInfo* client, Input& input) {
    Bytes request = input.piece();
    request.resize(std::min<std::size_t>(request.size(), DBUS_DATA_SIZE));
    server->prepare(input);
    const auto reply = std::make_unique<DbusReply>();
    is_calling = true;
    const DbusCallStatus status =
        Dbus_Method_Call(client, kMember, request.data(),
                         static_cast<std::uint32_t>(request.size()), 60'000, reply.get());
    is_calling = false;
    if (status == DBUS_CALL_OK) {
        saw("a call was answered");
        if (reply->data_len > DBUS_DATA_SIZE) {
            saw("a length was beyond the record");
        }
    } else {
        require(status == DBUS_CALL_TIMEOUT || status == DBUS_CALL_NO_CONNECTION,
                "a call ends as the header says");
        saw(status == DBUS_CALL_TIMEOUT ? "a call had no answer" : "a call had no connection");
    }
}

void step(DbusInfo* client, Input& input) {
    switch (input.byte() % 4) {
        case 0:
        case 1:
            call(client, input);
            break;
        case 2:
            if (Dbus_Signal_Send(client, "signal.quon.mcu.set.led", nullptr, 0, 0) ==
                DBUS_CALL_OK) {
                saw("a signal was sent");
            }
            server->prepare(input);
            server->send_unasked();
            break;
        default:
            server->refuse(input.byte());
            break;
    }
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    Server one;
    server = &one;
    DbusInfo* const client = Dbus_Client_Connect("a.client", "quon.mcu.daemon", 0);
    require(client != nullptr, "a client can connect");
    for (int i = 0; i < kMostCalls && !input.empty(); i++) {
        step(client, input);
    }
    Dbus_Client_Disconnect(client);
    one.leave();
    server = nullptr;
}

}  // namespace quon::fuzz

using quon::fuzz::is_calling;
using quon::fuzz::kSliceNs;
using quon::fuzz::server;

extern "C" {

ssize_t __wrap_read(int fd, void* data, size_t size) {
    if (server != nullptr && server->is_client(fd) && server->before_read(fd)) {
        errno = EINTR;
        return -1;
    }
    return __real_read(fd, data, size);
}

ssize_t __wrap_send(int fd, const void* data, size_t size, int flags) {
    const ssize_t sent = __real_send(fd, data, size, flags);
    if (server != nullptr && server->is_client(fd) && sent == sizeof(DbusMsg)) {
        DbusMsg request;
        std::memcpy(&request, data, sizeof(request));
        server->on_request(request);
    }
    return sent;
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
    if (server == nullptr) {
        return __real_connect(fd, address, size);
    }
    return server->accept(fd) ? 0 : -1;
}

// A call whose result will not come times out at once; all others check again often enough.
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    if (!is_calling) {
        return __real_pthread_cond_timedwait(condition, mutex, deadline);
    }
    if (server->is_idle()) {
        return ETIMEDOUT;
    }
    timespec soon{};
    clock_gettime(CLOCK_MONOTONIC, &soon);
    soon.tv_nsec += kSliceNs;
    soon.tv_sec += soon.tv_nsec / 1'000'000'000;
    soon.tv_nsec %= 1'000'000'000;
    (void)__real_pthread_cond_timedwait(condition, mutex, &soon);
    return 0;
}

int __wrap_usleep(useconds_t /*microseconds*/) {
    return 0;
}
}
