// Calls of the public header that find no memory for what the library keeps beside a record, and
// what else only a failing or missing neighbour brings about.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "faults.h"
#include "log_records.h"

namespace quon::test {
namespace {

class WithoutMemory : public testing::Test {
  protected:
    void TearDown() override { DbusInfo_Free(info_); }

    DbusInfo* info_ = DbusInfo_Alloc(0);
    const OutputCapture capture_;
};

TEST_F(WithoutMemory, ARegistrationSaysSoAndFails) {
    fail_next(Fault::kMalloc, 1);
    EXPECT_EQ(Dbus_Register(info_), -1);
    EXPECT_TRUE(all_failed(Fault::kMalloc));
    EXPECT_EQ(capture_.text(), "Dbus_Register malloc DbusInfo error\n");
    EXPECT_EQ(Dbus_UnRegister(info_), 0);
}

TEST_F(WithoutMemory, AMethodThreadEndsAtOnce) {
    std::thread([this] {
        fail_next(Fault::kMalloc, 1);
        EXPECT_EQ(Dbus_Method_Thread(info_), nullptr);
        EXPECT_TRUE(all_failed(Fault::kMalloc));
    }).join();
    EXPECT_EQ(capture_.text(), "");
}

// Its record is made, what the library keeps beside it is not.
TEST_F(WithoutMemory, ConnectingIsNullAndQuiet) {
    const int before = open_descriptors();
    forget_calls();
    fail_next(Fault::kMalloc, 1, 1);
    EXPECT_EQ(Dbus_Client_Connect("me", "server", 60000), nullptr);
    EXPECT_TRUE(all_failed(Fault::kMalloc));
    EXPECT_EQ(calls().connects, 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(capture_.text(), "");
}

// For the registration, then for the connection.
TEST_F(WithoutMemory, AConnectionOfSomebodyElseIsClosedWithALogLine) {
    for (const int passing : {0, 1}) {
        const LogRecords log;
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        RawPeer peer(ends[1]);
        auto* args = static_cast<ListenArgs*>(std::calloc(1, sizeof(ListenArgs)));
        *args = {info_, ends[0]};
        fail_next(Fault::kMalloc, 1, passing);
        EXPECT_EQ(Dbus_ReadWrite_Thread(args), nullptr);  // frees them
        EXPECT_TRUE(all_failed(Fault::kMalloc));
        EXPECT_TRUE(peer.sees_end());
        const LogLine line{1, "DBUS", "dbus_socket_common", "Dbus_ReadWrite_Thread",
                           "alloc msg failed\n"};
        EXPECT_EQ(log.lines(), std::vector<LogLine>{line});
    }
}

TEST(ARecordThatNobodyHasRegistered, HasNoConnection) {
    DbusInfo* info = DbusInfo_Alloc(0);
    EXPECT_EQ(Dbus_Method_Call(info, "method.x", nullptr, 0, 60000, nullptr),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Signal_Send(info, "signal.x", nullptr, 0, 60000), DBUS_CALL_NO_CONNECTION);
    DbusInfo_Free(info);
    DbusInfo_Free(nullptr);
}

TEST(AMessageOfSomebodyElse, WaitsUntilItsPeerMakesRoom) {
    constexpr std::uint32_t kCalls = 200;  // more than a socket takes
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    RawPeer peer(ends[1]);
    DbusInfo* info =
        make_registration("quon.test.own", {{.name = "method.one", .method = answer_one}});
    pthread_mutex_init(&info->mutex, nullptr);
    forget_calls();
    std::thread sender([&] {
        for (std::uint32_t id = 0; id < kCalls; id++) {
            auto* args = static_cast<DbusProcessArgs*>(std::calloc(1, sizeof(DbusProcessArgs)));
            args->info = info;
            args->msg = make_request("method.one", id);
            args->fd = ends[0];
            Dbus_ReadWrite_Process(args);
        }
    });
    EXPECT_TRUE(wait_until([] { return waits_for_room() > 0; }));
    for (std::uint32_t id = 0; id < kCalls; id++) {
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result) << id;
        EXPECT_EQ(result->id, id);
    }
    sender.join();
    close(ends[0]);
}

int send_buffer_of(int descriptor) {
    int size = 0;
    socklen_t length = sizeof(size);
    EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &size, &length), 0);
    return size;
}

// A record of 4572 bytes is then taken whole, whatever waits already.
TEST(OnASystemWithSmallSocketBuffers, AConnectionHasRoomForWholeRecords) {
    const std::string name = fresh_name();
    const RawServer server(name);
    make_new_sockets_small();
    DbusInfo* info = Dbus_Client_Connect("me", name.c_str(), 60000);
    ASSERT_NE(info, nullptr);
    EXPECT_GE(send_buffer_of(info->client_fd), 128 * 1024);
    Dbus_Client_Disconnect(info);
}

TEST(TheThreadThatGivesMemoryBack, IsMadeLaterWhenItCannotBeMadeAtOnce) {
    constexpr int kPeers = 20;
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    std::vector<RawPeer> peers;
    for (int i = 0; i < kPeers; i++) {
        peers.push_back(RawPeer::connect_to(name));
        EXPECT_TRUE(serves(peers.back()));
    }
    forget_calls();
    fail_next(Fault::kThread, 1, 0, Where::kOtherThreads);
    peers.clear();
    EXPECT_TRUE(wait_until([] {
        const std::vector<std::string> names = names_given();
        return std::ranges::count(names, "DbusCalm") == 1;
    }));
    EXPECT_TRUE(all_failed(Fault::kThread));
}

}  // namespace
}  // namespace quon::test
