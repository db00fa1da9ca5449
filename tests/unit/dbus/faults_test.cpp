#include <gtest/gtest.h>
#include <limits.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "expected_texts.h"
#include "faults.h"
#include "log_records.h"
#include "pending_call.h"

namespace quon::test {
namespace {

bool exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

bool all_of(const void* from, std::size_t size, std::uint8_t value) {
    const auto* bytes = static_cast<const std::uint8_t*>(from);
    return std::all_of(bytes, bytes + size, [=](std::uint8_t byte) { return byte == value; });
}

// ---- Registration

TEST(ANewRegistration, IsClearedWhateverItsMemoryHeld) {
    DbusInfo* info = DbusInfo_Alloc(2);
    ASSERT_NE(info, nullptr);
    for (int i = 0; i < 2; i++) {
        EXPECT_TRUE(all_of(info->interfaces[i], sizeof(DbusInterface), 0));
        std::free(info->interfaces[i]);
        info->interfaces[i] = nullptr;
    }
    EXPECT_EQ(info->count, 2);
    info->count = 0;
    EXPECT_TRUE(all_of(info, sizeof(*info), 0));
    DbusInfo_Free(info);
}

TEST(ARegistrationThatCannotBeAllocated, SaysSoAndIsNull) {
    const OutputCapture capture;
    fail_next(Fault::kMalloc, 1);
    EXPECT_EQ(DbusInfo_Alloc(3), nullptr);
    EXPECT_TRUE(all_failed(Fault::kMalloc));
    EXPECT_EQ(capture.text(), "DbusInfo_Alloc malloc DbusInfo error\n");
}

TEST(AnEntryThatCannotBeAllocated, LeavesTheEarlierEntriesBehind) {
    const OutputCapture capture;
    fail_next(Fault::kMalloc, 1, 3);  // the record and two entries pass
    EXPECT_EQ(DbusInfo_Alloc(3), nullptr);
    EXPECT_TRUE(all_failed(Fault::kMalloc));
    EXPECT_EQ(capture.text(), "DbusInfo_Alloc malloc DbusInterface error\n");
    // The record is freed, the entries are not (a second free would be an error).
    const std::vector<void*> made = allocations_before_failure();
    ASSERT_GE(made.size(), 3U);
    std::free(made[1]);
    std::free(made[2]);
}

TEST(AServerSocket, IsMadeAndBoundCallByCall) {
    forget_calls();
    start_server("quon.test.socket", {{.name = "method.one", .method = answer_one}});
    const Calls made = calls();
    // Machines number the types of sockets differently.
    const std::string stream =
        std::to_string(AF_UNIX) + " " + std::to_string(SOCK_STREAM | SOCK_CLOEXEC) + " 0";
    EXPECT_EQ(made.sockets, std::vector<std::string>{stream});
    EXPECT_EQ(made.binds, std::vector<std::string>{"1 /tmp/dbus-quon.test.socket 110"});
    EXPECT_EQ(made.backlogs, std::vector<int>{5});
    ASSERT_EQ(threads_started().size(), 1U);
    EXPECT_EQ(threads_started()[0].function, &Dbus_Listen_Thread);
    EXPECT_TRUE(threads_started()[0].default_attributes);
}

TEST(AServerThatCannotListen, SaysSoAndRemovesItsSocket) {
    const std::string name = fresh_name();
    DbusInfo* info = make_registration(name, {{.name = "method.one"}});
    const OutputCapture capture;
    const int before = open_descriptors();
    fail_next(Fault::kListen, 1);
    EXPECT_EQ(Dbus_Register(info), -1);
    EXPECT_EQ(capture.text(), "Cannot listen the client connect request\n");
    EXPECT_EQ(info->listen_fd, 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_FALSE(exists(socket_path(name)));
}

TEST(AServerWithoutAListenThread, IsRegisteredAllTheSame) {
    const std::string name = fresh_name();
    DbusInfo* info = make_registration(name, {{.name = "method.one"}});
    const OutputCapture capture;
    fail_next(Fault::kThread, 1);
    EXPECT_EQ(Dbus_Register(info), 0);
    EXPECT_TRUE(all_failed(Fault::kThread));
    EXPECT_EQ(info->listen_thread, pthread_t{});
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    EXPECT_EQ(capture.text(), "");
}

TEST(AClient, MakesAHundredAttemptsWithAPauseAfterEach) {
    DbusInfo* info = make_registration(fresh_name(), {});
    std::strcpy(info->server_name, "nobody.home");
    forget_calls();
    const OutputCapture capture;
    EXPECT_EQ(Dbus_Register(info), -1);
    EXPECT_EQ(calls().connects, 100);
    EXPECT_EQ(pauses_of(50000), 100);
}

TEST(AClient, WaitsForAServerThatComesLate) {
    const std::string name = fresh_name();
    const RawServer server(name);
    DbusInfo* info = make_registration(fresh_name(), {});
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    forget_calls();
    fail_next(Fault::kConnect, 3);
    EXPECT_EQ(Dbus_Register(info), 0);
    EXPECT_EQ(calls().connects, 4);
    EXPECT_EQ(pauses_of(50000), 3);
    ASSERT_EQ(threads_started().size(), 1U);
    EXPECT_EQ(threads_started()[0].function, &Dbus_Method_Thread);
    EXPECT_TRUE(threads_started()[0].default_attributes);
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    pthread_join(info->method_thread, nullptr);
}

TEST(AClientWithoutAMethodThread, IsRegisteredAndItsCallsFailAtOnce) {
    const std::string name = fresh_name();
    const RawServer server(name);
    DbusInfo* info = make_registration(fresh_name(), {});
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    fail_next(Fault::kThread, 1);
    EXPECT_EQ(Dbus_Register(info), 0);
    EXPECT_EQ(info->method_thread, pthread_t{});
    EXPECT_EQ(Dbus_Method_Call(info, "method.x", nullptr, 0, 60000, nullptr),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_UnRegister(info), 0);
}

// ---- Server

// Its arguments and its own record.
TEST(AConnectionWhoseArgumentsCannotBeAllocated, IsClosedAndListeningGoesOn) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    for (const int passing : {0, 1}) {
        const OutputCapture capture;
        fail_next(Fault::kMalloc, 1, passing, Where::kOtherThreads);
        RawPeer refused = RawPeer::connect_to(name);
        EXPECT_TRUE(refused.sees_end());
        EXPECT_EQ(capture.text(), "Dbus_Listen_Thread malloc ListenArgs failed\n");
    }
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
}

TEST(AConnectionWithoutAThread, IsClosedAndListeningGoesOn) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    const OutputCapture capture;
    fail_next(Fault::kThread, 1, 0, Where::kOtherThreads);
    RawPeer refused = RawPeer::connect_to(name);
    EXPECT_TRUE(refused.sees_end());
    EXPECT_EQ(capture.text(), "");
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
}

// The allocations of a connection: its arguments, its own record, then one for each message.
TEST(AMessageThatCannotBeAllocated, EndsItsConnectionWithALogLine) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    const LogRecords log;
    fail_next(Fault::kMalloc, 1, 2, Where::kOtherThreads);
    RawPeer refused = RawPeer::connect_to(name);
    EXPECT_TRUE(refused.sees_end());
    const LogLine line{1, "DBUS", "dbus_socket_common", "Dbus_ReadWrite_Thread",
                       "alloc msg failed\n"};
    EXPECT_EQ(log.lines(), std::vector<LogLine>{line});
    RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(peer));
}

TEST(AMessageWithoutAThread, IsHandledByItsConnectionsThread) {
    const std::string name = "quon.test.busy";
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(wait_until([&] { return threads_named(name).size() == 2; }));
    forget_calls();
    fail_next(Fault::kThread, 3, 0, Where::kOtherThreads);
    for (int i = 0; i < 3; i++) {
        EXPECT_TRUE(serves(peer));
    }
    EXPECT_TRUE(all_failed(Fault::kThread));
    EXPECT_TRUE(threads_started().empty());
    EXPECT_TRUE(wait_until([&] { return threads_named(name).size() == 2; }));  // its name is back
    EXPECT_TRUE(serves(peer));
    EXPECT_EQ(threads_started().size(), 1U);
}

std::int32_t fail(const std::uint8_t* /*request*/, std::int32_t /*len*/, std::uint8_t* /*reply*/,
                  std::int32_t /*capacity*/) {
    return -1;
}

TEST(ThePauseAfterAMethod, IsMadeAfterEveryHandlerAndOnlyThen) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.without.handler"},
                        {.name = "method.one", .method = answer_one},
                        {.name = "method.fail", .method = fail}});
    RawPeer peer = RawPeer::connect_to(name);
    forget_calls();
    peer.send(make_request("method.without.handler"));
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(pauses_of(1000), 0);
    EXPECT_TRUE(serves(peer));
    EXPECT_EQ(pauses_of(1000), 1);
    peer.send(make_request("method.fail"));
    ASSERT_TRUE(peer.receive());
    EXPECT_EQ(pauses_of(1000), 2);
}

// Says whether the whole payload reads as zeros.
std::int32_t expect_zeros(const std::uint8_t* request, std::int32_t /*len*/, std::uint8_t* reply,
                          std::int32_t /*capacity*/) {
    reply[0] = all_of(request, DBUS_DATA_SIZE, 0) ? '1' : '0';
    return 1;
}

TEST(TheMissingTailOfAShortRecord, ReadsAsZerosWhateverItsMemoryHeld) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.zeros", .method = expect_zeros}});
    RawPeer peer = RawPeer::connect_to(name);
    const DbusMsg request = make_request("method.zeros");
    peer.send_bytes(bytes_of_record(request).first(212));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(payload_of(*result), "1");
}

// The messages one after the other, so that the order of the names is certain.
TEST(AMessageThread, IsFirstNamedDbusProcessAndThenAfterItsEntryIfThereIsOne) {
    const std::string name = fresh_name();
    start_server(
        name,
        {{.name = "method.one", .method = answer_one},
         {.name = "signal.quon.mcu.set.led", .method_marker = "", .signal_marker = "signal"}});
    RawPeer peer = RawPeer::connect_to(name);
    ASSERT_TRUE(serves(peer));  // the connection's thread has its name
    forget_calls();
    const auto wait_for_names = [](std::size_t count) {
        return wait_until([&] { return names_given().size() >= count; });
    };
    peer.send(make_request("nobody"));
    ASSERT_TRUE(wait_for_names(1));
    peer.send(make_signal("signal.quon.mcu.set.led"));
    ASSERT_TRUE(wait_for_names(3));
    EXPECT_TRUE(serves(peer));
    EXPECT_EQ(names_given(),
              (std::vector<std::string>{"DbusProcess", "DbusProcess", "uon.mcu.set.led",
                                        "DbusProcess", "DBUS-0"}));
}

std::vector<std::size_t> record_writes(int count) {
    std::vector<std::size_t> writes(static_cast<std::size_t>(count), 4568);
    return writes;
}

TEST(AResult, IsOneWriteOfTheWholeRecord) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    forget_calls();
    EXPECT_TRUE(serves(peer));
    EXPECT_EQ(calls().sends, record_writes(2));  // the peer's request and the result
}

TEST(AResultThatIsCutShort, EndsItsConnectionInsteadOfShiftingTheNextOnes) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    const DbusMsg request = make_request("method.one");
    const OutputCapture capture;
    cut_next_send(1000);
    // With write: the peer's own request passes whole, the result does not.
    ASSERT_EQ(write(peer.descriptor(), &request, sizeof(request)), 4568);
    EXPECT_FALSE(peer.receive());
    EXPECT_TRUE(peer.sees_end());
    EXPECT_TRUE(wait_until([&] { return capture.text() == expected::kResultNotWritten; }));
    RawPeer other = RawPeer::connect_to(name);
    EXPECT_TRUE(serves(other));
}

// ---- Client

class AClientWithFaults : public testing::Test {
  protected:
    void SetUp() override {
        info_ = Dbus_Client_Connect("quon.test.client", name_.c_str(), 0);
        ASSERT_NE(info_, nullptr);
        peer_.emplace(server_.accept_one().value());
        ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
    }
    void TearDown() override { Dbus_Client_Disconnect(info_); }

    std::string name_ = fresh_name();
    RawServer server_{name_};
    DbusInfo* info_ = nullptr;
    std::optional<RawPeer> peer_;
};

TEST_F(AClientWithFaults, WakesTheCallerWhenTheResultCannotBeCopied) {
    PendingCall call(info_, "method.x", 1);
    const OutputCapture capture;
    call.lock();
    fail_next(Fault::kMalloc, 1, 0, Where::kOtherThreads);
    peer_->send(make_result(call.request(), 1));
    EXPECT_TRUE(call.wait_signalled());
    call.unlock();
    EXPECT_EQ(call.result(), nullptr);
    EXPECT_EQ(capture.text(), "Dbus_Method_Msg_Result alloc result node failed\n");
}

// The failed allocation leaves ENOMEM.
TEST_F(AClientWithFaults, FindsTheErrorOfItsLastReadWhateverHappensBetween) {
    PendingCall call(info_, "method.x", 1);
    const OutputCapture capture;
    const pid_t thread = threads_named("DbusProcess").at(0);
    ASSERT_TRUE(wait_until([&] {
        interrupt_thread(thread);
        return !capture.text().empty();
    }));
    fail_next(Fault::kMalloc, 1, 0, Where::kOtherThreads);
    peer_->send(make_result(call.request(), 1));
    ASSERT_TRUE(wait_until([&] { return all_failed(Fault::kMalloc); }));
    forget_calls();
    peer_->close_now();
    EXPECT_TRUE(
        wait_until([&] { return capture.text().find("ret:0 errno:4 ") != std::string::npos; }));
    EXPECT_TRUE(wait_until([] { return pauses_of(10000) >= 3; }));
    EXPECT_LE(count_of(capture.text(), "ret:0 errno:4 "), pauses_of(10000) + 2);
}

TEST_F(AClientWithFaults, ReportsACallWithoutMemory) {
    fail_next(Fault::kMalloc, 1);
    EXPECT_EQ(Dbus_Method_Call(info_, "method.x", nullptr, 0, 60000, nullptr), DBUS_CALL_NO_MEMORY);
    EXPECT_TRUE(peer_->is_silent());
}

TEST_F(AClientWithFaults, WritesARequestAtOnceAndWhole) {
    forget_calls();
    EXPECT_EQ(Dbus_Method_Call(info_, "method.x", nullptr, 0, 0, nullptr), DBUS_CALL_TIMEOUT);
    EXPECT_EQ(Dbus_Signal_Send(info_, "signal.x", nullptr, 0, 60000), DBUS_CALL_OK);
    EXPECT_EQ(calls().sends, record_writes(2));
}

TEST_F(AClientWithFaults, EndsAConnectionThatTookPartOfARequest) {
    cut_next_send(100);
    EXPECT_EQ(Dbus_Method_Call(info_, "method.x", nullptr, 0, 60000, nullptr),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_FALSE(peer_->receive());
    EXPECT_TRUE(peer_->sees_end());
    // The thread connects anew.
    peer_.emplace(server_.accept_one().value());
    EXPECT_EQ(Dbus_Signal_Send(info_, "signal.x", nullptr, 0, 60000), DBUS_CALL_OK);
    EXPECT_TRUE(peer_->receive());
}

TEST_F(AClientWithFaults, ReconnectsWithAHundredAttempts) {
    const OutputCapture capture;
    forget_calls();
    fail_next(Fault::kConnect, 1000, 0, Where::kOtherThreads);
    peer_->close_now();
    EXPECT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
    EXPECT_EQ(calls().connects, 100);
    EXPECT_EQ(pauses_of(50000), 100);
}

// All but one of them sleep until it has found room.
TEST_F(AClientWithFaults, LetsOneOfItsCallersLookForRoom) {
    while (Dbus_Signal_Send(info_, "signal.x", nullptr, 0, 0) == DBUS_CALL_OK) {
    }
    forget_calls();
    std::atomic<int> sent{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < 30; i++) {
        callers.emplace_back([&] {
            sent += Dbus_Signal_Send(info_, "signal.x", nullptr, 0, 60000) == DBUS_CALL_OK ? 1 : 0;
        });
    }
    ASSERT_TRUE(wait_until([] { return waits_for_room() > 0; }));
    while (sent < 30 && peer_->receive()) {
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(sent, 30);
    EXPECT_EQ(most_waiters_for_room(), 1);
}

TEST_F(AClientWithFaults, ReconnectsOnceItsThreadCouldNotBeCreated) {
    Dbus_Client_Disconnect(info_);
    fail_next(Fault::kThread, 1);
    info_ = Dbus_Client_Connect("quon.test.client", name_.c_str(), 0);
    ASSERT_NE(info_, nullptr);
    EXPECT_EQ(info_->method_thread, pthread_t{});
    peer_.emplace(server_.accept_one().value());
    EXPECT_EQ(Dbus_Signal_Send(info_, "signal.x", nullptr, 0, 60000), DBUS_CALL_OK);
    EXPECT_TRUE(peer_->sees_end());
    peer_.emplace(server_.accept_one().value());
    EXPECT_TRUE(peer_->receive());
    ASSERT_TRUE(wait_until([] { return threads_named("DbusProcess").size() == 1; }));
}

TEST(Connecting, WaitsForAServerThatComesWithinItsTime) {
    const std::string name = fresh_name();
    const RawServer server(name);
    forget_calls();
    fail_next(Fault::kConnect, 3);
    DbusInfo* info = Dbus_Client_Connect("me", name.c_str(), 60000);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(calls().connects, 4);
    EXPECT_EQ(pauses_of(50000), 3);
    EXPECT_EQ(Dbus_Signal_Send(info, "signal.x", nullptr, 0, 60000), DBUS_CALL_OK);
    Dbus_Client_Disconnect(info);
}

TEST(Connecting, IsNullWithoutMemory) {
    const OutputCapture capture;
    fail_next(Fault::kMalloc, 1);
    EXPECT_EQ(Dbus_Client_Connect("me", "server", 0), nullptr);
    EXPECT_EQ(capture.text(), "DbusInfo_Alloc malloc DbusInfo error\n");
}

}  // namespace
}  // namespace quon::test
