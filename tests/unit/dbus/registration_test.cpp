#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"

namespace quon::test {
namespace {

bool exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

bool is_cleared(const void* from, std::size_t size) {
    const std::string zeros(size, '\0');
    return std::memcmp(from, zeros.data(), size) == 0;
}

bool is_open(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

// No descriptor can be made while one of these lives.
class NoDescriptors {
  public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit before_{};
};

TEST(ANewRegistration, IsClearedWithItsEntries) {
    DbusInfo* info = DbusInfo_Alloc(3);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->count, 3);
    for (int i = 0; i < 3; i++) {
        ASSERT_NE(info->interfaces[i], nullptr);
        EXPECT_TRUE(is_cleared(info->interfaces[i], sizeof(DbusInterface)));
        free(info->interfaces[i]);
        info->interfaces[i] = nullptr;
    }
    info->count = 0;
    EXPECT_TRUE(is_cleared(info, sizeof(*info)));
    DbusInfo_Free(info);
}

TEST(ANewRegistration, MayHaveAllOf256Entries) {
    DbusInfo* info = DbusInfo_Alloc(256);
    ASSERT_NE(info, nullptr);
    EXPECT_NE(info->interfaces[255], nullptr);
    DbusInfo_Free(info);
}

TEST(ANewRegistration, KeepsANegativeCountAndMakesNoEntries) {
    DbusInfo* info = DbusInfo_Alloc(-1);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->count, -1);
    EXPECT_EQ(info->interfaces[0], nullptr);
    DbusInfo_Free(info);
}

TEST(ARegistrationWithoutRoles, DoesNothingAndReturns0) {
    DbusInfo* info = DbusInfo_Alloc(0);
    ASSERT_NE(info, nullptr);
    const std::size_t threads = thread_names().size();
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(Dbus_Register(info), 0); }), "");
    EXPECT_EQ(info->listen_fd, 0);
    EXPECT_EQ(info->client_fd, 0);
    EXPECT_STREQ(info->path, "");
    EXPECT_EQ(thread_names().size(), threads);
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    DbusInfo_Free(info);
}

TEST(AServer, ListensOnThePathMadeFromItsName) {
    const std::string name = fresh_name();
    DbusInfo* info = start_server(name, {{.name = "method.one", .method = answer_one}});
    EXPECT_EQ(std::string(info->path), "/tmp/dbus-" + name);
    EXPECT_TRUE(exists("/tmp/dbus-" + name));
    EXPECT_GT(info->listen_fd, 0);
    EXPECT_EQ(info->client_fd, 0);
    EXPECT_EQ(info->method_thread, pthread_t{});
    EXPECT_EQ(info->spare_thread, pthread_t{});
    EXPECT_NE(info->listen_thread, pthread_t{});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.one"));
    EXPECT_TRUE(peer.receive());
}

// Commands that the process starts must not inherit the bus.
TEST(TheBusSockets, AreClosedOnExec) {
    const std::string name = fresh_name();
    DbusInfo* info = make_registration(name, {{.name = "method.one", .method = answer_one}});
    name.copy(info->server_name, sizeof(info->server_name) - 1);  // its own client
    ASSERT_EQ(Dbus_Register(info), 0);
    EXPECT_EQ(fcntl(info->listen_fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(info->client_fd, F_GETFD), FD_CLOEXEC);
    int accepted = -1;
    ASSERT_TRUE(wait_until([&] {
        for (int fd = 3; fd < 64 && accepted < 0; fd++) {
            sockaddr_un own{};
            socklen_t length = sizeof(own);
            if (fd != info->listen_fd && fd != info->client_fd &&
                getsockname(fd, reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
                std::string(own.sun_path) == info->path) {
                accepted = fd;
            }
        }
        return accepted >= 0 && fcntl(accepted, F_GETFD) == FD_CLOEXEC;
    }));
}

TEST(AServer, TakesThePathOverFromAnEarlierOne) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.who", .method = answer_one}});
    RawPeer early = RawPeer::connect_to(name);
    start_server(name, {{.name = "method.who", .method = answer_two}});
    RawPeer late = RawPeer::connect_to(name);
    late.send(make_request("method.who"));
    early.send(make_request("method.who"));
    EXPECT_EQ(payload_of(late.receive().value()), "2");
    EXPECT_EQ(payload_of(early.receive().value()), "1");
}

TEST(AServer, TakesThePathOverFromAFileOfTheSameName) {
    const std::string name = fresh_name();
    std::ofstream("/tmp/dbus-" + name) << "left by somebody";
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.one"));
    EXPECT_TRUE(peer.receive());
}

TEST(AServerThatCannotBind, SaysItsPathAndReturnsMinus1) {
    DbusInfo* info = make_registration("no/such/folder", {{.name = "method.one"}});
    std::strcpy(info->server_name, "nobody.home");  // its client role is not tried any more
    const int before = open_descriptors();
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(Dbus_Register(info), -1); }),
              "Cannot bind server socket (/tmp/dbus-no/such/folder)\n");
    EXPECT_EQ(info->listen_thread, pthread_t{});
    EXPECT_EQ(info->listen_fd, 0);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(ARoleWithoutASocket, SaysSoAndReturnsMinus1) {
    DbusInfo* server = make_registration(fresh_name(), {{.name = "method.one"}});
    DbusInfo* client = make_registration(fresh_name(), {});
    fresh_name().copy(client->server_name, sizeof(client->server_name) - 1);
    const OutputCapture capture;
    for (DbusInfo* info : {server, client}) {
        const NoDescriptors none;
        EXPECT_EQ(Dbus_Register(info), -1);
    }
    EXPECT_EQ(capture.text(),
              "Cannot create communication socket\nCannot create communication socket\n");
}

TEST(AClientWithoutAServer, GivesUpAfterAbout5SecondsAndLeavesTheServerRoleRunning) {
    const std::string name = fresh_name();
    DbusInfo* info = make_registration(name, {{.name = "method.one", .method = answer_one}});
    std::strcpy(info->server_name, "nobody.home");
    const int before = open_descriptors();
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(Dbus_Register(info), -1); }),
              "Cannot connect to the server (nobody.home) timeout\n");
    EXPECT_GE(now_ms() - begin, 5000);
    EXPECT_LT(now_ms() - begin, 15000);
    EXPECT_EQ(info->client_fd, 0);
    EXPECT_EQ(open_descriptors(), before + 1);  // the listening one
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.one"));
    EXPECT_TRUE(peer.receive());
}

// A listening server that never accepts: its queue is full, and the client must not hang in it.
TEST(AClientOfAServerWithAFullQueue, GivesUpLikewise) {
    const std::string name = fresh_name();
    const RawServer server(name);
    const std::vector<RawPeer> queue = fill_queue_of(name);
    DbusInfo* info = make_registration(fresh_name(), {});
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([&] { EXPECT_EQ(Dbus_Register(info), -1); }),
              "Cannot connect to the server (" + name + ") timeout\n");
    EXPECT_LT(now_ms() - begin, 15000);
}

TEST(BothRolesInOneRecord, WorkTogether) {
    const std::string other = fresh_name();
    start_server(other, {{.name = "method.who", .method = answer_two}});
    const std::string name = fresh_name();
    DbusInfo* info = make_registration(name, {{.name = "method.who", .method = answer_one}});
    other.copy(info->server_name, sizeof(info->server_name) - 1);
    ASSERT_EQ(Dbus_Register(info), 0);
    DbusReply reply{};
    EXPECT_EQ(Dbus_Method_Call(info, "method.who", nullptr, 0, 20000, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.data[0], '2');
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("method.who"));
    EXPECT_EQ(payload_of(peer.receive().value()), "1");
}

TEST(UnregisteringAServer, RemovesItsSocketAndLeavesItsThreadsRunning) {
    const std::string name = "quon.test.unregistered";
    DbusInfo* info = start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([] { return threads_named("quon.test.unreg").size() == 2; }));
    ASSERT_TRUE(wait_until([] { return all_asleep("quon.test.unreg"); }));
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    EXPECT_FALSE(exists("/tmp/dbus-" + name));
    EXPECT_FALSE(is_open(info->listen_fd));
    EXPECT_EQ(threads_named("quon.test.unreg").size(), 2U);
    EXPECT_TRUE(peer.is_silent());
    EXPECT_THROW(RawPeer::connect_to(name), std::runtime_error);
}

TEST(UnregisteringAClient, ClosesItsConnectionAndCancelsItsThread) {
    const std::string name = fresh_name();
    const RawServer server(name);
    DbusInfo* info = make_registration(fresh_name(), {});
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    ASSERT_EQ(Dbus_Register(info), 0);
    std::optional<RawPeer> accepted = server.accept_one();
    ASSERT_TRUE(accepted);
    ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    EXPECT_FALSE(is_open(info->client_fd));
    void* outcome = nullptr;
    EXPECT_EQ(pthread_join(info->method_thread, &outcome), 0);
    EXPECT_EQ(outcome, PTHREAD_CANCELED);
    EXPECT_TRUE(accepted->sees_end());
}

// Null unless it was cancelled before the gate was opened.
void* pass_gate_unless_cancelled(void* gate) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    static_cast<Gate*>(gate)->wait();
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_testcancel();
    return nullptr;
}

struct SlotRow {
    const char* what;
    std::int32_t count;
    pthread_t DbusInfo::*slot;
    bool cancelled;
};

TEST(Unregistering, CancelsTheSpareThreadOfAServerAndTheMethodThreadOfAnyRole) {
    for (const SlotRow& row : {SlotRow{"spare, server", 1, &DbusInfo::spare_thread, true},
                               SlotRow{"spare, no server", 0, &DbusInfo::spare_thread, false},
                               SlotRow{"method, server", 1, &DbusInfo::method_thread, true},
                               SlotRow{"method, no role", 0, &DbusInfo::method_thread, true}}) {
        SCOPED_TRACE(row.what);
        DbusInfo* info = make_registration(fresh_name(), {});
        info->count = row.count;
        pthread_mutex_init(&info->mutex, nullptr);
        Gate gate;
        pthread_t thread{};
        ASSERT_EQ(pthread_create(&thread, nullptr, pass_gate_unless_cancelled, &gate), 0);
        info->*row.slot = thread;
        EXPECT_EQ(Dbus_UnRegister(info), 0);
        info->count = 0;
        gate.open();
        void* outcome = &gate;
        EXPECT_EQ(pthread_join(thread, &outcome), 0);
        EXPECT_EQ(outcome, row.cancelled ? PTHREAD_CANCELED : nullptr);
    }
}

// The listen thread and the connection keep what they need of the record.
TEST(AServerThatIsFreedWithAnOpenConnection, ServesItAllTheSame) {
    const std::string name = fresh_name();
    DbusInfo* info = DbusInfo_Alloc(1);
    name.copy(info->name, sizeof(info->name) - 1);
    std::strcpy(info->interfaces[0]->name, "method.one");
    std::strcpy(info->interfaces[0]->method_type, "Method");
    info->interfaces[0]->method_handler = answer_one;
    ASSERT_EQ(Dbus_Register(info), 0);
    pthread_detach(info->listen_thread);  // it may end here, and nobody joins it
    RawPeer peer = RawPeer::connect_to(name);
    RawPeer late = RawPeer::connect_to(name);
    peer.send(make_request("method.one"));
    EXPECT_TRUE(peer.receive());
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    DbusInfo_Free(info);
    for (RawPeer* each : {&peer, &late}) {
        each->send(make_request("method.one"));
        const std::optional<DbusMsg> result = each->receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(payload_of(*result), "1");
        each->close_now();
    }
}

TEST(AServerThatIsFreedWithoutBeingUnregistered, ServesOn) {
    const std::string name = fresh_name();
    DbusInfo* info = DbusInfo_Alloc(1);
    name.copy(info->name, sizeof(info->name) - 1);
    std::strcpy(info->interfaces[0]->name, "method.one");
    std::strcpy(info->interfaces[0]->method_type, "Method");
    info->interfaces[0]->method_handler = answer_one;
    ASSERT_EQ(Dbus_Register(info), 0);
    DbusInfo_Free(info);
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
}

TEST(AListenThreadWhoseAcceptIsInterrupted, EndsLikewise) {
    const std::string name = "quon.test.broken";
    DbusInfo* info = start_server(name, {{.name = "method.one", .method = answer_one}});
    ASSERT_TRUE(wait_until([] { return threads_named("quon.test.broke").size() == 1; }));
    const pid_t thread = threads_named("quon.test.broke")[0];
    const OutputCapture capture;
    ASSERT_TRUE(wait_until([&] {  // it may not have reached its accept yet
        interrupt_thread(thread);
        return threads_named("quon.test.broke").empty();
    }));
    EXPECT_EQ(pthread_join(info->listen_thread, nullptr), 0);
    EXPECT_EQ(capture.text(), "Cannot accept client connect request\n");
    EXPECT_THROW(RawPeer::connect_to(name), std::runtime_error);  // refused, not left waiting
}

TEST(AListenThreadWhoseAcceptFails, SaysSoAndEndsWhileConnectionsGoOn) {
    const std::string name = "quon.test.deaf";
    DbusInfo* info = start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([&] { return threads_named(name).size() == 2; }));
    const OutputCapture capture;
    shutdown(info->listen_fd, SHUT_RDWR);
    EXPECT_EQ(pthread_join(info->listen_thread, nullptr), 0);
    EXPECT_EQ(capture.text(), "Cannot accept client connect request\n");
    peer.send(make_request("method.one"));
    EXPECT_TRUE(peer.receive());
}

// A process whose standard streams are closed: no socket takes their numbers.
TEST(TheBusSockets, StayClearOfTheStandardStreams) {
    const std::string name = fresh_name();
    const int saved = fcntl(0, F_DUPFD_CLOEXEC, 10);
    close(0);
    DbusInfo* info = start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_GT(info->listen_fd, 2);
    peer.send(make_request("method.one"));
    EXPECT_TRUE(peer.receive());
    peer.close_now();
    if (saved >= 0) {
        dup2(saved, 0);
        close(saved);
    }
}

}  // namespace
}  // namespace quon::test
