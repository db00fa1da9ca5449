// The thread functions of the public header, run by somebody else with records of their own making.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "pending_call.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

// A registration in static storage that nobody registers.
struct OwnRecord {
    OwnRecord() {
        pthread_mutex_init(&info.mutex, nullptr);
        std::strcpy(info.name, "quon.test.own");
        std::strcpy(entry.name, "method.one");
        std::strcpy(entry.method_type, "Method");
        entry.method_handler = answer_one;
        info.count = 1;
        info.interfaces[0] = &entry;
    }
    DbusInterface entry{};
    DbusInfo info{};
};

// Lives as long as the threads that use it.
OwnRecord& own_record() {
    static auto* const only = new OwnRecord;
    return *only;
}

struct Pair {
    Pair() {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            std::abort();
        }
        served = ends[0];
        peer.emplace(ends[1]);
    }
    int served;
    std::optional<RawPeer> peer;
};

template <typename Args>
Args* allocated() {
    return static_cast<Args*>(std::calloc(1, sizeof(Args)));
}

TEST(AMessageOfSomebodyElse, IsAnsweredOnTheDescriptorThatItNames) {
    Pair pair;
    for (std::uint32_t id = 1; id <= 3; id++) {
        auto* args = allocated<DbusProcessArgs>();
        args->info = &own_record().info;
        args->msg = make_request("method.one", id);
        args->fd = pair.served;
        EXPECT_EQ(Dbus_ReadWrite_Process(args), nullptr);  // frees them
        const std::optional<DbusMsg> result = pair.peer->receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->id, id);
        EXPECT_EQ(payload_of(*result), "1");
    }
    close(pair.served);  // it is still open
    EXPECT_TRUE(pair.peer->sees_end());
}

TEST(AMessageOfSomebodyElse, WaitsForRoomByItself) {
    Pair pair;
    constexpr std::uint32_t kCalls = 60;
    pthread_t thread{};
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* served) -> void* {
                      for (std::uint32_t id = 0; id < kCalls; id++) {
                          auto* args = allocated<DbusProcessArgs>();
                          args->info = &own_record().info;
                          args->msg = make_request("method.one", id);
                          args->fd = *static_cast<int*>(served);
                          Dbus_ReadWrite_Process(args);
                      }
                      return nullptr;
                  },
                  &pair.served),
              0);
    for (std::uint32_t id = 0; id < kCalls; id++) {
        const std::optional<DbusMsg> result = pair.peer->receive();
        ASSERT_TRUE(result) << id;
        EXPECT_EQ(result->id, id);
    }
    pthread_join(thread, nullptr);
    close(pair.served);
}

TEST(AConnectionOfSomebodyElse, IsServedUntilItEnds) {
    Pair pair;
    auto* args = allocated<ListenArgs>();
    *args = {&own_record().info, pair.served};
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, Dbus_ReadWrite_Thread, args), 0);
    for (std::uint32_t id = 1; id <= 3; id++) {
        pair.peer->send(make_request("method.one", id));
        const std::optional<DbusMsg> result = pair.peer->receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->id, id);
    }
    pair.peer->close_now();
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_TRUE(wait_until([&] { return fcntl(pair.served, F_GETFD) < 0; }));
}

TEST(AListeningSocketOfSomebodyElse, IsServedUntilItFails) {
    const std::string name = fresh_name();
    DbusInfo& info = own_record().info;
    info.listen_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket_path(name).copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(info.listen_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(info.listen_fd, 5), 0);
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, Dbus_Listen_Thread, &info), 0);
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.one", 7));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 7U);
    const OutputCapture capture;
    shutdown(info.listen_fd, SHUT_RDWR);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_EQ(capture.text(), "Cannot accept client connect request\n");
    close(info.listen_fd);
    unlink(socket_path(name).c_str());
}

TEST(ACallOfSomebodyElse, GetsItsResultFromAMethodThreadOfItsOwn) {
    Pair pair;
    DbusInfo info{};
    pthread_mutex_init(&info.mutex, nullptr);
    info.client_fd = pair.served;
    ASSERT_EQ(pthread_create(&info.method_thread, nullptr, Dbus_Method_Thread, &info), 0);
    {
        PendingCall call(&info, "method.x", 5);
        pair.peer->send(make_result(call.request(), 2, "ok"));
        ASSERT_TRUE(call.wait_result());
        EXPECT_EQ(payload_of(*call.result()), "ok");
    }
    const pthread_t thread = info.method_thread;
    EXPECT_EQ(Dbus_UnRegister(&info), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    EXPECT_TRUE(pair.peer->sees_end());
}

}  // namespace
}  // namespace quon::test
