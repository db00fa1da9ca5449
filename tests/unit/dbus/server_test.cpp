#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "log_records.h"

namespace quon::test {
namespace {

struct Seen {
    std::string thread;
    std::string payload;
    std::int32_t len;
    std::int32_t capacity;
    bool reply_was_clear;
};
std::mutex seen_lock;
std::vector<Seen> seen;

std::string thread_name() {
    char name[16] = "";
    prctl(PR_GET_NAME, name);
    return name;
}

void note(const std::uint8_t* request, std::int32_t len, std::int32_t capacity = 0,
          bool clear = true) {
    const std::lock_guard guard(seen_lock);
    seen.push_back({thread_name(), reinterpret_cast<const char*>(request), len, capacity, clear});
}

std::vector<Seen> wait_for_calls(std::size_t count) {
    std::vector<Seen> now;
    wait_until([&] {
        const std::lock_guard guard(seen_lock);
        now = seen;
        return now.size() >= count;
    });
    return now;
}

bool all_zero(const std::uint8_t* from, std::int32_t size) {
    for (std::int32_t i = 0; i < size; i++) {
        if (from[i] != 0) {
            return false;
        }
    }
    return true;
}

std::int32_t answer_ten(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                        std::int32_t capacity) {
    note(request, len, capacity, all_zero(reply, capacity));
    std::memcpy(reply, "0123456789", 10);
    return 10;
}

std::int32_t answer_minus_three(const std::uint8_t* request, std::int32_t len,
                                std::uint8_t* /*reply*/, std::int32_t capacity) {
    note(request, len, capacity);
    return -3;
}

std::int32_t answer_thread_name(const std::uint8_t* /*request*/, std::int32_t /*len*/,
                                std::uint8_t* reply, std::int32_t capacity) {
    return std::snprintf(reinterpret_cast<char*>(reply), static_cast<std::size_t>(capacity), "%s",
                         thread_name().c_str());
}

void take_signal(const std::uint8_t* request, std::int32_t len) {
    note(request, len);
}

TEST(AMethodCall, IsAnsweredWithOneRecordAddressedBack) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.ten", .method = answer_ten}});
    RawPeer peer = RawPeer::connect_to(name);
    const DbusMsg request = make_request("method.ten", 0xCAFE0001, "ask");
    peer.send(request);

    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    const DbusMsg expected = make_result(request, 10, "0123456789");
    EXPECT_EQ(text_of(result->src_name), "quon.test.server");
    EXPECT_EQ(text_of(result->dst_name), "quon.test.peer");
    EXPECT_EQ(result->result, 10);
    EXPECT_EQ(result->data_len, 10U);
    EXPECT_EQ(std::memcmp(&*result, &expected, sizeof(expected)), 0);  // all the rest is zero
    EXPECT_TRUE(peer.is_silent());

    const std::vector<Seen> calls = wait_for_calls(1);
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].payload, "ask");
    EXPECT_EQ(calls[0].len, 3);
    EXPECT_EQ(calls[0].capacity, 4356);
    EXPECT_TRUE(calls[0].reply_was_clear);
}

struct ResultRow {
    const char* member;
    std::int32_t result;
    std::uint32_t data_len;
};

TEST(AResult, CarriesTheHandlersReturnValueAndANonNegativeLength) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.ten", .method = answer_ten},
                        {.name = "method.minus.three", .method = answer_minus_three},
                        {.name = "method.without.handler"}});
    RawPeer peer = RawPeer::connect_to(name);
    for (const ResultRow& row : {ResultRow{"method.ten", 10, 10},         //
                                 ResultRow{"method.minus.three", -3, 0},  //
                                 ResultRow{"method.without.handler", -1, 0}}) {
        peer.send(make_request(row.member, 7));
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result) << row.member;
        EXPECT_EQ(result->head, 0x5AA55AA5U);
        EXPECT_EQ(result->id, 7U);
        EXPECT_EQ(result->type, 1U);
        EXPECT_EQ(text_of(result->name), row.member);
        EXPECT_EQ(result->result, row.result) << row.member;
        EXPECT_EQ(result->data_len, row.data_len) << row.member;
    }
}

// Writes five bytes and returns what the request's first byte says.
std::int32_t write_more_than_returned(const std::uint8_t* request, std::int32_t /*len*/,
                                      std::uint8_t* reply, std::int32_t /*capacity*/) {
    std::memcpy(reply, "12345", 5);
    return static_cast<std::int8_t>(request[0]);
}

TEST(AResult, CarriesWhateverTheHandlerWroteWhateverItReturned) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.more", .method = write_more_than_returned}});
    RawPeer peer = RawPeer::connect_to(name);
    for (const std::int32_t returned : {2, 0, -3}) {
        const DbusMsg request =
            make_request("method.more", 1, std::string(1, static_cast<char>(returned)));
        peer.send(request);
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result) << returned;
        const DbusMsg expected = make_result(request, returned, "12345");
        EXPECT_EQ(std::memcmp(&*result, &expected, sizeof(expected)), 0) << returned;
    }
}

TEST(AMethodCall, MayHaveAnyTypeButZero) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    DbusMsg request = make_request("method.one");
    request.type = 0x80000000U;
    peer.send(request);
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->type, 1U);
}

TEST(ARequest, PassesItsLengthOnUnchecked) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.ten",
                         .method = answer_ten,
                         .signal = take_signal,
                         .signal_marker = "signal"}});
    RawPeer peer = RawPeer::connect_to(name);
    DbusMsg request = make_request("method.ten");
    request.data_len = 5000;
    peer.send(request);
    ASSERT_EQ(wait_for_calls(1).size(), 1U);
    request.data_len = 0xFFFFFFFF;
    request.type = 0;
    peer.send(request);
    const std::vector<Seen> calls = wait_for_calls(2);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].len, 5000);
    EXPECT_EQ(calls[1].len, -1);
}

TEST(ASignal, RunsItsHandlerAndIsNotAnswered) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "signal.quon.mcu.set.led",
                         .signal = take_signal,
                         .method_marker = "",
                         .signal_marker = "signal"}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_signal("signal.quon.mcu.set.led", "on"));
    const std::vector<Seen> calls = wait_for_calls(1);
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].payload, "on");
    EXPECT_EQ(calls[0].len, 2);
    EXPECT_EQ(calls[0].thread, "uon.mcu.set.led");
    EXPECT_TRUE(peer.is_silent());
}

// Nobody answers, nothing is logged, and the connection goes on.
TEST(AMessageThatFitsNoEntry, IsDroppedWithoutAWord) {
    const std::string name = fresh_name();
    const LogRecords log;
    start_server(
        name, {{.name = "only.method", .method = answer_one},
               {.name = "only.signal",
                .signal = take_signal,
                .method_marker = "",
                .signal_marker = "signal"},
               {.name = "signal.without.handler", .method_marker = "", .signal_marker = "signal"}});
    RawPeer peer = RawPeer::connect_to(name);
    std::string output;
    {
        const OutputCapture capture;
        peer.send(make_signal("only.method"));
        peer.send(make_request("only.signal"));
        peer.send(make_signal("signal.without.handler"));
        peer.send(make_request("nobody"));
        peer.send(make_request("only.metho"));
        peer.send(make_request("only.methods"));
        peer.send(make_request(""));
        peer.send(make_request("only.method", 99));
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->id, 99U);
        EXPECT_TRUE(wait_until([] { return threads_named("DbusProcess").empty(); }));
        output = capture.text();
    }
    EXPECT_TRUE(peer.is_silent());
    EXPECT_EQ(output, "");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(seen.empty());
}

// A count below 0 is not 0: a server, without a member.
TEST(AServerWithANegativeCount, ListensAndDropsEveryMessage) {
    const std::string name = fresh_name();
    DbusInfo* info = make_registration(name, {});
    info->count = -1;
    const OutputCapture capture;
    ASSERT_EQ(Dbus_Register(info), 0);
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request(""));
    peer.send(make_signal(""));
    EXPECT_TRUE(peer.is_silent());
    ASSERT_TRUE(wait_until([&] { return threads_named(name).size() == 2 && all_asleep(name); }));
    EXPECT_EQ(Dbus_UnRegister(info), 0);
    EXPECT_THROW(RawPeer::connect_to(name), std::runtime_error);
    EXPECT_EQ(capture.text(), "");
}

TEST(TwoEntriesOfTheSameNameAndKind, AreServedByTheFirst) {
    const std::string name = fresh_name();
    start_server(
        name,
        {{.name = "same", .signal = take_signal, .method_marker = "", .signal_marker = "signal"},
         {.name = "same", .method = answer_one},
         {.name = "same", .method = answer_two}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_request("same"));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(payload_of(*result), "1");
}

TEST(AnEntryOfBothKinds, IsChosenByTheType) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "both",
                         .method = answer_one,
                         .signal = take_signal,
                         .signal_marker = "any text"}});
    RawPeer peer = RawPeer::connect_to(name);
    peer.send(make_signal("both", "s"));
    ASSERT_EQ(wait_for_calls(1).size(), 1U);
    EXPECT_TRUE(peer.is_silent());
    peer.send(make_request("both"));
    EXPECT_TRUE(peer.receive());
    EXPECT_EQ(wait_for_calls(1).size(), 1U);
}

struct NameRow {
    const char* member;
    const char* thread;
};

TEST(AMessageThread, IsNamedByTheEndOfALongMemberNameOrByTheIndex) {
    const std::vector<NameRow> rows = {
        {"method.quon.mcu.get.ver", "uon.mcu.get.ver"},  // 23 characters: the 9th to the 23rd
        {"abcdefghijklmnop", "bcdefghijklmnop"},         // 16 characters
        {"abcdefghijklmno", "DBUS-2"},                   // 15 characters
        {"short", "DBUS-3"},
    };
    std::vector<Member> members;
    for (const NameRow& row : rows) {
        members.push_back({.name = row.member, .method = answer_thread_name});
    }
    const std::string name = fresh_name();
    start_server(name, members);
    RawPeer peer = RawPeer::connect_to(name);
    for (const NameRow& row : rows) {
        peer.send(make_request(row.member));
        const std::optional<DbusMsg> result = peer.receive();
        ASSERT_TRUE(result) << row.member;
        EXPECT_EQ(payload_of(*result), row.thread) << row.member;
    }
}

TEST(NamesOf64BytesWithoutAnEnd, AreReadAndEchoedAsTheyAre) {
    const std::string name = fresh_name();
    start_server(name, {{.name = std::string(63, 'm'), .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    DbusMsg request = make_request(std::string(63, 'm'), 5);
    std::memset(request.src_name, 's', sizeof(request.src_name));
    std::memset(request.dst_name, 'd', sizeof(request.dst_name));
    peer.send(request);
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(text_of(result->src_name), std::string(64, 'd'));
    EXPECT_EQ(text_of(result->dst_name), std::string(64, 's'));
    EXPECT_EQ(text_of(result->name), std::string(63, 'm'));
    request.name[63] = 'm';  // 64 bytes now: another member
    peer.send(request);
    EXPECT_TRUE(peer.is_silent());
}

TEST(TextAfterTheEndOfAName, IsNotEchoed) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    RawPeer peer = RawPeer::connect_to(name);
    DbusMsg request = make_request("method.one");
    request.src_name[40] = 'x';
    request.name[50] = 'y';
    peer.send(request);
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->dst_name[40], '\0');
    EXPECT_EQ(result->name[50], '\0');
}

TEST(ARecordWithTheWrongHead, IsLoggedAndDroppedAndTheConnectionGoesOn) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    const LogRecords log;
    RawPeer peer = RawPeer::connect_to(name);
    DbusMsg wrong = make_request("method.one");
    wrong.head = 0x12345678;
    peer.send(wrong);
    ASSERT_TRUE(log.wait_for(1));
    const std::array<std::uint8_t, 2> two = {0xAB, 0xCD};
    peer.send_bytes(two);
    ASSERT_TRUE(log.wait_for(2));
    peer.send(make_request("method.one", 3));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 3U);
    const std::vector<LogLine> expected = {
        {2, "DBUS", "dbus_socket_common", "Dbus_ReadWrite_Thread",
         "read msg head is invalid, ret = 4568 head:12345678\n"},
        {2, "DBUS", "dbus_socket_common", "Dbus_ReadWrite_Thread",
         "read msg head is invalid, ret = 2 head:cdab\n"},
    };
    EXPECT_EQ(log.lines(), expected);
}

TEST(ASplitRecord, CountsAsAShortOneAndItsRestIsRejected) {
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.ten", .method = answer_ten}});
    const LogRecords log;
    RawPeer peer = RawPeer::connect_to(name);
    const DbusMsg request = make_request("method.ten", 8, "payload that comes late");
    const auto bytes = bytes_of_record(request);
    peer.send_bytes(bytes.first(212));
    const std::optional<DbusMsg> result = peer.receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->id, 8U);
    const std::vector<Seen> calls = wait_for_calls(1);
    EXPECT_EQ(calls.at(0).len, 23);
    EXPECT_EQ(calls.at(0).payload, "");  // the missing tail reads as zeros
    peer.send_bytes(bytes.subspan(212));
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_EQ(log.lines()[0].msg, "read msg head is invalid, ret = 4356 head:6c796170\n");
    peer.send(make_request("method.ten", 9));
    EXPECT_TRUE(peer.receive());
}

TEST(AConnectionThread, IsNamedAfterTheBusNamesFirst15Characters) {
    const std::string name = "quon.mcu.daemon.of.a.test";
    start_server(name, {{.name = "method.one", .method = answer_one}});
    EXPECT_TRUE(wait_until([] { return threads_named("quon.mcu.daemon").size() == 1; }));
    const RawPeer peer = RawPeer::connect_to(name);
    EXPECT_TRUE(wait_until([] { return threads_named("quon.mcu.daemon").size() == 2; }));
}

}  // namespace
}  // namespace quon::test
