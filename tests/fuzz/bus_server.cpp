// Records and fragments from a bus peer, processed by the daemon's own services, driver and
// channel, with a chip that answers as the input says. Each piece of the input is what one read of
// the server returns.
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <map>

#include "dbus_socket_common.h"
#include "fake_chip.h"
#include "harness.h"
#include "hichannel_host.h"
#include "mcu_ops.h"
#include "quon_log.h"
#include "service_table.h"
#include "startup_snapshot.h"
#include "websocket.h"

extern "C" {

ssize_t __real_read(int fd, void* data, size_t size);
int __real_poll(pollfd* entries, nfds_t count, int timeout_ms);
int __real_unlink(const char* path);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
}

namespace quon::fuzz {

namespace {

constexpr std::string_view kOutcomes[] = {
    "a result came",          "a handler failed",    "a signal was taken",
    "a record was split",     "a head was wrong",    "a result waited for room",
    "a read was interrupted", "message threads ran", "a peer closed early",
};

constexpr std::size_t kMostPieces = 24;
constexpr int kMostWaits = 64;
constexpr int kLeastRoom = 4096;  // bytes in a socket: too little for a record
constexpr char kPeerName[] = "a.peer";

struct Piece {
    Bytes bytes;
    bool interruption = false;
};

// The peer, and the server's reactions. Reads of the server's end go through on_read.
class Session {
  public:
    explicit Session(Input& input);
    void run(DbusInfo* info);

    void before_read(int fd);
    bool interrupts(int fd);
    bool waits_for_room(int fd);
    int start_thread(const pthread_attr_t* attributes, void* (*function)(void*), void* argument);
    void thread_ended();

    [[nodiscard]] bool is_server(int fd) const { return fd == server_; }

  private:
    void take_pieces(Input& input);
    Piece record_from(Input& input, std::uint8_t id) const;
    void drain();
    void close_peer();
    void check_results() const;
    void check_result(const DbusMsg& result) const;

    std::deque<Piece> pieces_;
    std::multimap<std::uint32_t, DbusMsg> requests_;  // as the server read them
    bool with_threads_ = false;
    bool is_deaf_ = false;
    int room_ = 0;
    int server_ = -1;
    int peer_ = -1;
    int waits_ = 0;
    bool one_read_one_piece_ = true;

    std::mutex lock_;
    std::condition_variable ended_;
    int threads_ = 0;
    Bytes results_;
};

Session* session = nullptr;

const char* service_name(std::uint8_t choice) {
    return quon_mcu_bus_services[choice % QUON_MCU_SERVICE_COUNT].name;
}

// A name that may lack a terminator.
void put_name(char* field, const Bytes& name) {
    put(field, DBUS_NAME_SIZE, name);
}

Bytes bytes_of(const DbusMsg& record) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(&record);
    return {first, first + sizeof(record)};
}

Piece Session::record_from(Input& input, std::uint8_t id) const {
    DbusMsg record{};
    record.head = DBUS_MSG_HEAD;
    record.id = id;
    std::strcpy(record.src_name, kPeerName);
    std::strcpy(record.dst_name, QUON_MCU_BUS_NAME);
    std::strcpy(record.name, service_name(input.byte()));
    record.type = std::strncmp(record.name, "signal", 6) == 0 ? DBUS_TYPE_SIGNAL : DBUS_TYPE_METHOD;
    const std::uint8_t oddities = input.byte();
    if ((oddities & 1) != 0) {
        put_name(record.src_name, input.piece());
    }
    if ((oddities & 2) != 0) {
        put_name(record.dst_name, input.piece());
    }
    if ((oddities & 4) != 0) {
        record.type = input.number(4);
    }
    if ((oddities & 8) != 0) {
        record.head = input.number(4);
    }
    if ((oddities & 16) != 0) {
        put_name(record.name, input.piece());
    }
    const Bytes data = input.piece();
    put(record.data, DBUS_DATA_SIZE, data);
    record.data_len =
        (oddities & 32) != 0 ? input.number(4) : static_cast<std::uint32_t>(data.size());
    return {bytes_of(record)};
}

// A record that is whole, cut in two or followed by an interruption; or bytes that are not a
// record.
void Session::take_pieces(Input& input) {
    for (std::uint8_t id = 0; !input.empty() && pieces_.size() < kMostPieces; id++) {
        const std::uint8_t kind = input.byte() % 8;
        if (kind == 7) {
            pieces_.push_back(
                {input.bytes(std::min<std::size_t>(input.number(2), sizeof(DbusMsg)))});
            continue;
        }
        Piece piece = record_from(input, id);
        if (kind == 6) {
            const std::size_t cut = 1 + input.number(2) % (sizeof(DbusMsg) - 1);
            const Bytes rest(piece.bytes.begin() + static_cast<std::ptrdiff_t>(cut),
                             piece.bytes.end());
            piece.bytes.resize(cut);
            pieces_.push_back(piece);
            pieces_.push_back({rest});
            saw("a record was split");
        } else {
            pieces_.push_back(piece);
        }
        if (kind == 5) {
            pieces_.push_back({{}, true});
        } else {
            chip().answer_next(take_datagrams(input));
        }
    }
    std::erase_if(pieces_,
                  [](const Piece& piece) { return piece.bytes.empty() && !piece.interruption; });
}

Session::Session(Input& input) {
    const std::uint8_t choice = input.byte();
    with_threads_ = (choice & 3) == 3;
    is_deaf_ = (choice & 4) != 0;
    room_ = (choice & 8) != 0 ? kLeastRoom << (choice >> 6) : 0;
    chip().takes = (choice & 0xf0) != 0xf0;
    chip().has_popen = (choice & 0xf0) != 0xe0;
    chip().command_result = (choice & 0x10) != 0 ? 256 : 0;
    chip().command_output.assign(input.number(2) % 6000, 'o');
    for (int i = 0; i < 7; i++) {
        chip().answer_next(take_datagrams(input));  // of the start
    }
    take_pieces(input);
}

// What the next read will find, or the end of the stream.
void Session::before_read(int fd) {
    if (!is_server(fd) || peer_ < 0) {
        return;
    }
    int unread = 0;
    if (ioctl(fd, FIONREAD, &unread) == 0 && unread > 0) {
        one_read_one_piece_ = false;
        return;
    }
    if (pieces_.empty()) {
        shutdown(peer_, SHUT_WR);
        errno = 0;  // or an earlier interruption would count at the end of the stream
        return;
    }
    const Bytes bytes = std::move(pieces_.front().bytes);
    pieces_.pop_front();
    DbusMsg record{};
    put(&record, sizeof(record), bytes);
    requests_.emplace(record.id, record);
    if (record.head != DBUS_MSG_HEAD) {
        saw("a head was wrong");
    } else if (record.type == DBUS_TYPE_SIGNAL) {
        saw("a signal was taken");
    }
    // The server may have ended the connection: then its read finds the end.
    if (send(peer_, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) {
        pieces_.clear();
    }
}

bool Session::interrupts(int fd) {
    if (!is_server(fd) || pieces_.empty() || !pieces_.front().interruption) {
        return false;
    }
    pieces_.pop_front();
    saw("a read was interrupted");
    return true;
}

// The server waits for the peer, which reads, or finally leaves.
bool Session::waits_for_room(int fd) {
    if (!is_server(fd)) {
        return false;
    }
    const std::lock_guard guard(lock_);
    saw("a result waited for room");
    if (is_deaf_ || ++waits_ > kMostWaits) {
        close_peer();
    } else {
        drain();
    }
    return true;
}

// With the lock, or alone.
void Session::drain() {
    std::uint8_t piece[sizeof(DbusMsg)];
    ssize_t got = 0;
    while (peer_ >= 0 && (got = recv(peer_, piece, sizeof(piece), MSG_DONTWAIT)) > 0) {
        results_.insert(results_.end(), piece, piece + got);
    }
}

void Session::close_peer() {
    if (peer_ >= 0) {
        saw("a peer closed early");
        drain();
        close(peer_);
        peer_ = -1;
    }
}

struct Start {
    void* (*function)(void*);
    void* argument;
};

void* run_and_tell(void* start_pointer) {
    const Start start = *static_cast<Start*>(start_pointer);
    delete static_cast<Start*>(start_pointer);
    start.function(start.argument);
    session->thread_ended();
    return nullptr;
}

// Without threads the server works as on a machine that has none left. Giving memory back needs a
// thread that waits for calm: there is none here.
int Session::start_thread(const pthread_attr_t* attributes, void* (*function)(void*),
                          void* argument) {
    if (!with_threads_ || function != Dbus_ReadWrite_Process) {
        return EAGAIN;
    }
    {
        const std::lock_guard guard(lock_);
        threads_++;
    }
    saw("message threads ran");
    pthread_t thread{};
    const int result =
        __real_pthread_create(&thread, attributes, run_and_tell, new Start{function, argument});
    require(result == 0, "there are threads");
    return 0;
}

void Session::thread_ended() {
    const std::lock_guard guard(lock_);
    threads_--;
    ended_.notify_all();
}

// The field has as much of the name as fits, followed by zeros.
bool is_name(const char* field, const char* name) {
    char expected[DBUS_NAME_SIZE] = {};
    std::memcpy(expected, name, strnlen(name, DBUS_NAME_SIZE));
    return std::memcmp(expected, field, DBUS_NAME_SIZE) == 0;
}

bool answers(const DbusMsg& result, const DbusMsg& request) {
    return is_name(result.src_name, request.dst_name) &&
           is_name(result.dst_name, request.src_name) && is_name(result.name, request.name);
}

void Session::check_result(const DbusMsg& result) const {
    require(result.head == DBUS_MSG_HEAD, "a result begins with the magic");
    require(result.type == DBUS_TYPE_METHOD, "a result is a method's");
    require(result.data_len == static_cast<std::uint32_t>(std::max(result.result, 0)),
            "a result's length is what the handler returned, or 0");
    saw(result.result < 0 ? "a handler failed" : "a result came");
    if (!one_read_one_piece_) {
        return;
    }
    const auto [first, last] = requests_.equal_range(result.id);
    require(std::any_of(first, last,
                        [&result](const auto& each) { return answers(result, each.second); }),
            "a result bears the names of its request");
}

void Session::check_results() const {
    for (std::size_t at = 0; at + sizeof(DbusMsg) <= results_.size(); at += sizeof(DbusMsg)) {
        DbusMsg result;
        std::memcpy(&result, results_.data() + at, sizeof(result));
        check_result(result);
    }
}

void Session::run(DbusInfo* info) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are sockets");
    server_ = ends[0];
    peer_ = ends[1];
    if (room_ != 0) {
        setsockopt(server_, SOL_SOCKET, SO_SNDBUF, &room_, sizeof(room_));
    }
    auto* args = static_cast<ListenArgs*>(malloc(sizeof(ListenArgs)));
    *args = {info, server_};
    session = this;
    Dbus_ReadWrite_Thread(args);
    std::unique_lock guard(lock_);
    ended_.wait(guard, [this] { return threads_ == 0; });
    session = nullptr;
    drain();
    if (peer_ >= 0) {
        close(peer_);
    }
    check_results();
}

// The registration lives as long as the process; nobody reaches its socket.
DbusInfo* registration() {
    static DbusInfo* info = nullptr;
    if (info == nullptr) {
        require(
            quon_mcu_dbus_server_init(&info, quon_mcu_bus_services, QUON_MCU_SERVICE_COUNT) == 0,
            "the services can be registered");
    }
    return info;
}

void reset_log() {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.level_limit = QN_LOG_ERROR;
    profile.fmt_mask = 0xC7;
    profile.hook = nullptr;
    QnLogSetProfile(profile);
}

}  // namespace

std::span<const std::string_view> outcomes() {
    return kOutcomes;
}

void run_input(Input& input) {
    DbusInfo* const info = registration();
    reset_log();
    chip().reset();
    Session one(input);
    require(mcu_probe_init() == 0, "a start succeeds");
    quon_mcu_startup_snapshot();
    one.run(info);
    require(mcu_get_ops_handle()->deinit() == 0, "a stop succeeds");
}

}  // namespace quon::fuzz

using quon::fuzz::session;

int websocket_local_server_init(const ws_preinit_param* /*param*/) {
    return 0;
}

extern "C" {

ssize_t __wrap_read(int fd, void* data, size_t size) {
    if (session != nullptr) {
        if (session->interrupts(fd)) {
            errno = EINTR;
            return -1;
        }
        session->before_read(fd);
    }
    return __real_read(fd, data, size);
}

int __wrap_poll(pollfd* entries, nfds_t count, int timeout_ms) {
    return session != nullptr && session->waits_for_room(entries->fd)
               ? 1
               : __real_poll(entries, count, timeout_ms);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    if (function == hi_channel_host_thread || function == Dbus_Listen_Thread) {
        return function == hi_channel_host_thread ? 0 : EAGAIN;
    }
    return session != nullptr ? session->start_thread(attributes, function, argument)
                              : __real_pthread_create(thread, attributes, function, argument);
}

// The registration's socket is not created where others could find it.
int __wrap_unlink(const char* path) {
    return std::strncmp(path, "/tmp/dbus-", 10) == 0 ? 0 : __real_unlink(path);
}

int __wrap_listen(int /*fd*/, int /*backlog*/) {
    return 0;
}
}
