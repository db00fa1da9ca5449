#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "client_calls.h"
#include "dbus_socket_common.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

// ---- Handlers of a real server

std::int32_t echo(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                  std::int32_t /*capacity*/) {
    std::memcpy(reply, request, static_cast<std::size_t>(len));
    return len;
}

std::int32_t refuse(const std::uint8_t* /*request*/, std::int32_t /*len*/, std::uint8_t* /*reply*/,
                    std::int32_t /*capacity*/) {
    return -7;
}

Gate handler_may_end;

std::int32_t wait_for_gate(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                           std::uint8_t* /*reply*/, std::int32_t /*capacity*/) {
    handler_may_end.wait();
    return 0;
}

std::mutex signal_lock;
std::string signal_payload;

void take_signal(const std::uint8_t* request, std::int32_t len) {
    const std::lock_guard guard(signal_lock);
    signal_payload.assign(reinterpret_cast<const char*>(request), static_cast<std::size_t>(len));
}

std::string start_full_server() {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.echo", .method = echo},
                        {.name = "method.refuse", .method = refuse},
                        {.name = "method.gate", .method = wait_for_gate},
                        {.name = "method.without.handler"},
                        {.name = "signal.take",
                         .signal = take_signal,
                         .method_marker = "",
                         .signal_marker = "signal"}});
    return name;
}

TEST(ACall, BringsBackTheHandlersResultAndPayload) {
    const Client client = connect_client(start_full_server());
    ASSERT_NE(client, nullptr);
    DbusReply reply{};
    ASSERT_EQ(call(client, "method.echo", "hello", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, 5);
    EXPECT_EQ(reply.data_len, 5U);
    EXPECT_EQ(payload_of(reply), "hello");
    EXPECT_EQ(reply.data[5], 0);
    EXPECT_FALSE(has_pending_calls(client));
}

TEST(ACall, BringsBackAnEmptyAndAFullPayload) {
    const Client client = connect_client(start_full_server());
    DbusReply reply{};
    ASSERT_EQ(Dbus_Method_Call(client.get(), "method.echo", nullptr, 0, kPatience, &reply),
              DBUS_CALL_OK);
    EXPECT_EQ(reply.data_len, 0U);
    const std::string full(DBUS_DATA_SIZE, 'f');
    ASSERT_EQ(call(client, "method.echo", full, kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(payload_of(reply), full);
}

TEST(ACall, TellsTheHandlersFailureFromItsOwn) {
    const Client client = connect_client(start_full_server());
    DbusReply reply{};
    ASSERT_EQ(call(client, "method.refuse", "", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, -7);
    EXPECT_EQ(reply.data_len, 0U);
    ASSERT_EQ(call(client, "method.without.handler", "", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(reply.result, -1);
}

TEST(ACall, NeedsNoPlaceForItsReply) {
    const Client client = connect_client(start_full_server());
    EXPECT_EQ(call(client, "method.echo", "x", kPatience, nullptr), DBUS_CALL_OK);
}

TEST(ACallOfAnUnknownMember, EndsByItsTimeOut) {
    const Client client = connect_client(start_full_server());
    const std::int64_t begin = now_ms();
    EXPECT_EQ(call(client, "method.unknown", "", 200), DBUS_CALL_TIMEOUT);
    EXPECT_GE(now_ms() - begin, 200);
    EXPECT_LT(now_ms() - begin, 200 + kSlack);
    EXPECT_FALSE(has_pending_calls(client));
}

TEST(ALateResult, IsDroppedAndHarmsNobody) {
    const Client client = connect_client(start_full_server());
    const OutputCapture capture;
    EXPECT_EQ(call(client, "method.gate", "", 50), DBUS_CALL_TIMEOUT);
    handler_may_end.open();
    EXPECT_TRUE(wait_until(
        [&] { return capture.text() == "Dbus_Method_Msg_Result method node is empty\n"; }));
    DbusReply reply{};
    EXPECT_EQ(call(client, "method.echo", "after", kPatience, &reply), DBUS_CALL_OK);
    EXPECT_EQ(payload_of(reply), "after");
}

struct InvalidRow {
    const char* what;
    const char* member;
    bool with_data;
    std::uint32_t len;
    std::int32_t timeout_ms;
};

TEST(ACallWithAnInvalidArgument, IsRefusedAtOnce) {
    const std::string longest(63, 'm');
    const std::string too_long(64, 'm');
    const Client client = connect_client(start_full_server());
    const std::vector<std::uint8_t> data(DBUS_DATA_SIZE + 1);
    for (const InvalidRow& row : {
             InvalidRow{"no member", nullptr, true, 1, 100},
             InvalidRow{"a name of 64 bytes", too_long.c_str(), true, 1, 100},
             InvalidRow{"a length without data", "method.echo", false, 1, 100},
             InvalidRow{"more than 4356 bytes", "method.echo", true, DBUS_DATA_SIZE + 1, 100},
             InvalidRow{"a negative time-out", "method.echo", true, 1, -1},
         }) {
        const std::uint8_t* bytes = row.with_data ? data.data() : nullptr;
        EXPECT_EQ(
            Dbus_Method_Call(client.get(), row.member, bytes, row.len, row.timeout_ms, nullptr),
            DBUS_CALL_INVALID)
            << row.what;
        EXPECT_EQ(Dbus_Signal_Send(client.get(), row.member, bytes, row.len, row.timeout_ms),
                  DBUS_CALL_INVALID)
            << row.what;
    }
    EXPECT_EQ(Dbus_Method_Call(nullptr, "method.echo", nullptr, 0, 100, nullptr),
              DBUS_CALL_INVALID);
    EXPECT_EQ(Dbus_Signal_Send(nullptr, "signal.take", nullptr, 0, 100), DBUS_CALL_INVALID);
    EXPECT_EQ(call(client, longest, "", 0), DBUS_CALL_TIMEOUT);  // unknown, but no error
}

TEST(ASignal, ReachesItsHandler) {
    const Client client = connect_client(start_full_server());
    const std::string payload = "to the server";
    EXPECT_EQ(Dbus_Signal_Send(client.get(), "signal.take",
                               reinterpret_cast<const std::uint8_t*>(payload.data()),
                               static_cast<std::uint32_t>(payload.size()), 0),
              DBUS_CALL_OK);
    EXPECT_TRUE(wait_until([&] {
        const std::lock_guard guard(signal_lock);
        return signal_payload == payload;
    }));
}

TEST(ARegistrationWithoutAClientRole, CannotCall) {
    DbusInfo* info = start_server(fresh_name(), {{.name = "method.echo", .method = echo}});
    DbusReply reply{.result = 77, .data_len = 78, .data = {}};
    EXPECT_EQ(Dbus_Method_Call(info, "method.echo", nullptr, 0, kPatience, &reply),
              DBUS_CALL_NO_CONNECTION);
    EXPECT_EQ(Dbus_Signal_Send(info, "signal.take", nullptr, 0, kPatience),
              DBUS_CALL_NO_CONNECTION);
    // Nothing came, so nothing is told.
    EXPECT_EQ(reply.result, 77);
    EXPECT_EQ(reply.data_len, 78U);
}

// ---- Many at once

TEST(ManyThreads, ShareOneConnection) {
    const Client client = connect_client(start_full_server());
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; t++) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; i++) {
                const std::string payload = std::to_string(t) + ":" + std::to_string(i);
                DbusReply reply{};
                ASSERT_EQ(call(client, "method.echo", payload, kPatience, &reply), DBUS_CALL_OK);
                ASSERT_EQ(payload_of(reply), payload);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(has_pending_calls(client));
}

// ---- Connecting

TEST(Connecting, FailsAtOnceAndWithoutAWordWithoutAServerWhenNobodyWaits) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([] { EXPECT_EQ(connect_client("nobody.home"), nullptr); }), "");
    EXPECT_LT(now_ms() - begin, kSlack);
}

TEST(Connecting, GivesUpWithoutAWordWhenItsTimeHasPassed) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([] { EXPECT_EQ(connect_client("nobody.home", 300), nullptr); }), "");
    EXPECT_GE(now_ms() - begin, 300);
    EXPECT_LT(now_ms() - begin, 300 + kSlack);
}

TEST(Connecting, RegistersAsUsualWhenItsTimeIsNegative) {
    const std::int64_t begin = now_ms();
    EXPECT_EQ(captured_output([] { EXPECT_EQ(connect_client("nobody.home", -1), nullptr); }),
              "Cannot connect to the server (nobody.home) timeout\n");
    EXPECT_GE(now_ms() - begin, 5000);
    const Client client = connect_client(start_full_server(), -1);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(call(client, "method.echo", "x", kPatience), DBUS_CALL_OK);
}

TEST(Connecting, RefusesNamesThatDoNotFit) {
    const std::string too_long(64, 'n');
    EXPECT_EQ(Dbus_Client_Connect(nullptr, "server", 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect("me", nullptr, 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect("me", "", 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect(too_long.c_str(), "server", 0), nullptr);
    EXPECT_EQ(Dbus_Client_Connect("me", too_long.c_str(), 0), nullptr);
    Dbus_Client_Disconnect(nullptr);
}

TEST(Connecting, DoesNotHangInTheQueueOfAServerThatNeverAccepts) {
    const std::string name = fresh_name();
    const RawServer server(name);
    const std::vector<RawPeer> queue = fill_queue_of(name);
    const std::int64_t begin = now_ms();
    EXPECT_EQ(connect_client(name), nullptr);
    EXPECT_LT(now_ms() - begin, kSlack);
}

TEST(Connecting, IsTheSameOnARegistrationOfOnesOwn) {
    const std::string name = start_full_server();
    DbusInfo* info = DbusInfo_Alloc(0);
    name.copy(info->server_name, sizeof(info->server_name) - 1);
    ASSERT_EQ(Dbus_Register(info), 0);
    const Client client(info);
    EXPECT_EQ(call(client, "method.echo", "x", kPatience), DBUS_CALL_OK);
}

}  // namespace
}  // namespace quon::test
