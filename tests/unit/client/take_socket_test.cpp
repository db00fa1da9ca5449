// The remote wake-up's connection out of the hands of a daemon that this test plays.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "descriptor.h"
#include "hex.h"
#include "quon_mcu_client.h"
#include "waiting.h"

namespace quon::test {
namespace {

constexpr int32_t kTimeout = 20000;
constexpr char kPath[] = "/tmp/ws_socket";

// Serves one local program as `serve` says, then keeps what else it sends until its end.
class FakeHandOff {
  public:
    explicit FakeHandOff(std::function<void(int peer)> serve)
        : listener_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, kPath);
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(listener_.get(), 1), 0);
        thread_ = std::thread([this, serve = std::move(serve)] { run(serve); });
    }
    ~FakeHandOff() {
        join();
        unlink(kPath);
    }
    FakeHandOff(const FakeHandOff&) = delete;
    FakeHandOff& operator=(const FakeHandOff&) = delete;

    std::string request() {
        join();
        return to_hex(request_);
    }
    std::string afterwards() {
        join();
        return to_hex(afterwards_);
    }

  private:
    void join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    static Bytes read_some(int peer, size_t most) {
        Bytes bytes(most);
        const ssize_t got = read(peer, bytes.data(), bytes.size());
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }

    void run(const std::function<void(int)>& serve) {
        const Descriptor peer(accept(listener_.get(), nullptr, nullptr));
        request_ = read_some(peer.get(), 128);
        serve(peer.get());
        for (Bytes more = read_some(peer.get(), 128); !more.empty();
             more = read_some(peer.get(), 128)) {
            afterwards_.insert(afterwards_.end(), more.begin(), more.end());
        }
    }

    Descriptor listener_;
    Bytes request_;
    Bytes afterwards_;
    std::thread thread_;
};

void hand_over(int peer, const Bytes& data, int fd) {
    Bytes copy = data;
    iovec block{copy.data(), copy.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &block;
    message.msg_iovlen = 1;
    if (fd >= 0) {
        message.msg_control = control;
        message.msg_controllen = CMSG_LEN(sizeof(int));
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_len = CMSG_LEN(sizeof(int));
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        std::memcpy(CMSG_DATA(header), &fd, sizeof(fd));
    }
    EXPECT_EQ(sendmsg(peer, &message, 0), static_cast<ssize_t>(copy.size()));
}

const Bytes kHandOver = {1, 0, 0, 0, 0, 0, 0, 0};

TEST(ASocketTakenOver, ComesConnectedBlockingAndCloseOnExec) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    const Descriptor far_end(ends[0]);
    FakeHandOff hand_off([&](int peer) {
        hand_over(peer, kHandOver, ends[1]);
        close(ends[1]);
    });
    const Descriptor taken(quon_mcu_client_take_socket("192.168.1.2", 0x1f90, kTimeout));
    ASSERT_GE(taken.get(), 0);
    EXPECT_EQ(fcntl(taken.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(taken.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(write(far_end.get(), "hello", 5), 5);
    char text[6] = {};
    EXPECT_EQ(read(taken.get(), text, 5), 5);
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(hand_off.request(), "00 c0 a8 01 02 90 1f");
    EXPECT_EQ(hand_off.afterwards(), "01") << "a drop, so that nobody connects for nobody";
}

TEST(ASocketTakenOver, ThatIsNotConnectedCountsAsAFailure) {
    const Descriptor unconnected(socket(AF_INET, SOCK_STREAM, 0));
    const FakeHandOff hand_off([&](int peer) { hand_over(peer, kHandOver, unconnected.get()); });
    EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, kTimeout), QUON_MCU_FAILED);
}

TEST(ASocketTakenOver, WithOtherBytesOrWithoutADescriptorIsMalformed) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const Descriptor one(ends[0]);
    const Descriptor other(ends[1]);
    struct Row {
        Bytes data;
        int fd;
    };
    for (const Row& row : {Row{kHandOver, -1}, Row{{2, 0, 0, 0, 0, 0, 0, 0}, one.get()},
                           Row{{1, 0, 0, 0, 0, 0, 0}, one.get()}}) {
        const FakeHandOff hand_off([&](int peer) { hand_over(peer, row.data, row.fd); });
        EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, kTimeout), QUON_MCU_MALFORMED);
    }
}

TEST(ASocketTakenOver, EndsByItsTimeOutAndTakesItsRequestBack) {
    FakeHandOff hand_off([](int) {});
    EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, 20), QUON_MCU_TIMEOUT);
    EXPECT_EQ(hand_off.afterwards(), "01");
}

TEST(ASocketTakenOver, TellsThatTheDaemonHasGone) {
    EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, kTimeout), QUON_MCU_NO_CONNECTION);
    const FakeHandOff hand_off([](int peer) { shutdown(peer, SHUT_RDWR); });
    EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, kTimeout), QUON_MCU_NO_CONNECTION);
}

TEST(ASocketTakenOver, NeedsAnAddressAPortAndATimeOut) {
    EXPECT_EQ(quon_mcu_client_take_socket(nullptr, 80, 0), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_take_socket("localhost", 80, 0), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 0, 0), QUON_MCU_INVALID);
    EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, -1), QUON_MCU_INVALID);
}

TEST(ASocketTakenOver, LeavesNoDescriptorBehind) {
    const auto lowest_free = [] {
        const Descriptor probe(dup(0));
        return probe.get();
    };
    const int before = lowest_free();
    for (int i = 0; i < 3; ++i) {
        const FakeHandOff hand_off([](int) {});
        EXPECT_EQ(quon_mcu_client_take_socket("127.0.0.1", 80, 1), QUON_MCU_TIMEOUT);
    }
    EXPECT_EQ(lowest_free(), before);
}

}  // namespace
}  // namespace quon::test
