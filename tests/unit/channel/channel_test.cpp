#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.h"
#include "expected_texts.h"
#include "fake_netlink.h"
#include "hex.h"
#include "hichannel_host.h"
#include "printed_lines.h"
#include "waiting.h"

namespace quon::test {
namespace {

constexpr int kSolNetlink = 270;
constexpr int kNetlinkNoEnobufs = 5;

// What `function` prints, with the source line numbers replaced by N.
std::string printed_by(const std::function<void()>& function) {
    return without_line_numbers(captured_output(function));
}

std::string line_of(const std::string& function, const std::string& text) {
    return "[quon_mcu_daemon/hal/hi3861l/src/channel/hichannel_host][" + function + "][l:N]," +
           text + "\n\r\n";
}

// --- received payloads

std::mutex g_received_lock;
std::vector<Bytes> g_received;

std::vector<Bytes> received() {
    const std::lock_guard guard(g_received_lock);
    return g_received;
}

// The result is ignored by the channel.
int32_t keep_payload(const uint8_t* data, int32_t len) {
    const std::lock_guard guard(g_received_lock);
    g_received.emplace_back(data, data + len);
    return -1;
}

int32_t keep_payload_marked(const uint8_t* data, int32_t len) {
    const std::lock_guard guard(g_received_lock);
    g_received.emplace_back(data, data + len);
    g_received.back().insert(g_received.back().begin(), 0xee);
    return 0;
}

bool receives(const std::vector<Bytes>& payloads) {
    return wait_until([&] { return received() == payloads; });
}

Bytes counting_bytes(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; i++) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
    }
    return bytes;
}

class AClosedChannel : public testing::Test {
  protected:
    void SetUp() override {
        const std::lock_guard guard(g_received_lock);
        g_received.clear();
        forget_calls();
    }
};
using AReceiveThread = AClosedChannel;

class AnOpenChannel : public AClosedChannel {
  protected:
    void SetUp() override {
        AClosedChannel::SetUp();
        ASSERT_EQ(hi_channel_init(), 0);
    }
    void TearDown() override { hi_channel_deinit(); }
};

class AReceivingChannel : public AnOpenChannel {
  protected:
    void SetUp() override {
        AnOpenChannel::SetUp();
        ASSERT_EQ(hi_channel_register_rx_cb(keep_payload), 0);
    }
};

// --- opening

TEST_F(AnOpenChannel, IsARawNetlinkSocketOfProtocol28) {
    EXPECT_EQ(socket_calls(), (std::vector<SocketCall>{{AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 28}}));
    EXPECT_EQ(AF_NETLINK, 16);
}

TEST_F(AnOpenChannel, IsBoundToPort1100OfNoGroup) {
    ASSERT_EQ(bind_calls().size(), 1U);
    EXPECT_EQ(bind_calls()[0].nl_family, AF_NETLINK);
    EXPECT_EQ(bind_calls()[0].nl_pid, 1100U);
    EXPECT_EQ(bind_calls()[0].nl_groups, 0U);
}

TEST_F(AnOpenChannel, AsksTheKernelNotToReportAnOverrunAndForAnEnlargedBuffer) {
    const std::vector<OptionCall> calls = option_calls();
    EXPECT_NE(std::find(calls.begin(), calls.end(), OptionCall{kSolNetlink, kNetlinkNoEnobufs, 1}),
              calls.end());
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(), [](const OptionCall& call) {
        return call.level == SOL_SOCKET &&
               (call.option == SO_RCVBUF || call.option == SO_RCVBUFFORCE) && call.value >= 262144;
    }));
}

TEST_F(AnOpenChannel, IsNotInheritedByStartedCommands) {
    EXPECT_EQ(fcntl(host_socket(), F_GETFD), FD_CLOEXEC);
}

TEST_F(AnOpenChannel, ReceivesAtMost384BytesWithWaitallAndTheSendersAddress) {
    ASSERT_TRUE(wait_until([] { return !receive_calls().empty(); }));
    EXPECT_EQ(receive_calls()[0].size, 384U);
    EXPECT_EQ(receive_calls()[0].flags, MSG_WAITALL);
    EXPECT_EQ(receive_calls()[0].address_size, 12U);
}

TEST_F(AnOpenChannel, StaysUntouchedByASecondInit) {
    const int socket = host_socket();
    ASSERT_EQ(hi_channel_register_rx_cb(keep_payload), 0);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_init(), -1); }),
              line_of("hi_channel_init", "hi_channel_init is fail"));
    EXPECT_EQ(host_socket(), socket);
    EXPECT_EQ(socket_calls().size(), 1U);
    send_to_host(netlink_message({0x42}));
    EXPECT_TRUE(receives({{0x42}}));
}

TEST_F(AClosedChannel, CannotOpenWithoutASocket) {
    fail_next_socket(EPROTONOSUPPORT);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_init(), -1); }),
              line_of("hi_channel_init",
                      std::string(expected::kSocketFailed) + std::strerror(EPROTONOSUPPORT)));
    EXPECT_EQ(hi_channel_init(), 0);  // everything was released
    EXPECT_EQ(hi_channel_deinit(), 0);
}

TEST_F(AClosedChannel, AsksAsAnOrdinaryUserForTheBufferThatItMayHave) {
    take_privileges();
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_init(), 0); }), "");
    const std::vector<OptionCall> calls = option_calls();
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(), [](const OptionCall& call) {
        return call.level == SOL_SOCKET && call.option == SO_RCVBUF && call.value >= 262144;
    }));
    EXPECT_EQ(hi_channel_deinit(), 0);
}

TEST_F(AClosedChannel, ClosesItsSocketSilentlyWhenThePortIsTaken) {
    fail_next_bind(EADDRINUSE);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_init(), -1); }), "");
    EXPECT_FALSE(is_open(host_socket()));
    EXPECT_EQ(hi_channel_init(), 0);
    EXPECT_EQ(hi_channel_deinit(), 0);
}

TEST_F(AClosedChannel, ClosesItsSocketSilentlyWhenTheThreadCannotStart) {
    fail_next_thread_start();
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_init(), -1); }), "");
    EXPECT_FALSE(is_open(host_socket()));
    EXPECT_EQ(hi_channel_register_rx_cb(keep_payload), -1);
    EXPECT_EQ(hi_channel_init(), 0);
    EXPECT_EQ(hi_channel_deinit(), 0);
}

TEST_F(AClosedChannel, FailsToOpenSilentlyWhenMemoryIsShort) {
    fail_next_malloc();
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_init(), -1); }), "");
    EXPECT_TRUE(socket_calls().empty());
    EXPECT_EQ(hi_channel_init(), 0);
    EXPECT_EQ(hi_channel_deinit(), 0);
}

// --- registering

TEST_F(AClosedChannel, TakesNoCallback) {
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_register_rx_cb(keep_payload), -1); }),
              line_of("hi_channel_register_rx_cb", expected::kRegistrationFailed));
}

TEST_F(AnOpenChannel, RefusesANullCallback) {
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_register_rx_cb(nullptr), -1); }),
              line_of("hi_channel_register_rx_cb", expected::kRegistrationFailed));
}

TEST_F(AnOpenChannel, DropsMessagesUntilACallbackIsRegistered) {
    send_to_host(netlink_message({1}));
    ASSERT_TRUE(wait_until([] { return receive_calls().size() >= 2; }));  // the first is consumed
    ASSERT_EQ(hi_channel_register_rx_cb(keep_payload), 0);
    send_to_host(netlink_message({2}));
    EXPECT_TRUE(receives({{2}}));
    EXPECT_TRUE(pauses().empty());  // not even after the dropped one
}

TEST_F(AReceivingChannel, KeepsItsCallbackWhenANullOneIsRefused) {
    EXPECT_EQ(hi_channel_register_rx_cb(nullptr), -1);
    send_to_host(netlink_message({1}));
    EXPECT_TRUE(receives({{1}}));
}

TEST_F(AReceivingChannel, UsesTheCallbackRegisteredLast) {
    send_to_host(netlink_message({1}));
    ASSERT_TRUE(receives({{1}}));
    ASSERT_EQ(hi_channel_register_rx_cb(keep_payload_marked), 0);
    send_to_host(netlink_message({2}));
    EXPECT_TRUE(receives({{1}, {0xee, 2}}));
}

// --- receiving

TEST_F(AReceivingChannel, HandsOnWhatFollowsTheHeader) {
    struct Row {
        std::size_t message_size;
        std::size_t payload_size;  // 0: the message is ignored
    };
    const Row rows[] = {{0, 0},     {1, 0},     {15, 0},    {16, 0},    {17, 1},
                        {383, 367}, {384, 368}, {385, 368}, {1516, 368}};
    std::vector<Bytes> expected;
    for (const Row& row : rows) {
        const Bytes message = counting_bytes(row.message_size);
        send_to_host(message);
        if (row.payload_size != 0) {
            expected.emplace_back(
                message.begin() + 16,
                message.begin() + 16 + static_cast<std::ptrdiff_t>(row.payload_size));
        }
    }
    EXPECT_TRUE(receives(expected));
}

TEST_F(AReceivingChannel, PausesForTenMicrosecondsAfterAMessageWithoutAPayload) {
    for (const std::size_t size : {0U, 16U, 17U}) {
        send_to_host(counting_bytes(size));
    }
    EXPECT_TRUE(wait_until([] { return received().size() == 1; }));
    EXPECT_EQ(pauses(), (std::vector<useconds_t>{10, 10}));
}

TEST_F(AReceivingChannel, DeliversMessagesOneByOneInOrder) {
    std::vector<Bytes> expected;
    for (std::uint8_t i = 0; i < 100; i++) {
        send_to_host(netlink_message({i, 0x55}));
        expected.push_back({i, 0x55});
    }
    EXPECT_TRUE(receives(expected));
}

TEST_F(AReceiveThread, GoesOnAfterAnInterruption) {
    fail_next_receive(EINTR);
    EXPECT_EQ(printed_by([] {
                  ASSERT_EQ(hi_channel_init(), 0);
                  ASSERT_EQ(hi_channel_register_rx_cb(keep_payload), 0);
                  ASSERT_TRUE(wait_until([] { return receive_calls().size() >= 2; }));
                  send_to_host(netlink_message({7}));
                  EXPECT_TRUE(receives({{7}}));
              }),
              "");
    EXPECT_EQ(pauses(), std::vector<useconds_t>{10});
    EXPECT_EQ(hi_channel_deinit(), 0);
}

TEST_F(AReceiveThread, EndsOnAnyOtherErrorAndLeavesTheChannelOpenForSending) {
    fail_next_receive(ENOBUFS);
    const OutputCapture output;
    ASSERT_EQ(hi_channel_init(), 0);
    const std::string expected = "recvfrom error! fd:" + std::to_string(host_socket()) + "\n\r\n";
    ASSERT_TRUE(wait_until([&] { return output.text().find(expected) != std::string::npos; }));
    EXPECT_EQ(
        without_line_numbers(output.text()),
        line_of("hi_channel_host_thread", "recvfrom error! fd:" + std::to_string(host_socket())));
    const std::uint8_t byte = 9;
    EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), 0);
    EXPECT_EQ(hi_channel_register_rx_cb(keep_payload), 0);
    EXPECT_EQ(hi_channel_deinit(), 0);
    EXPECT_EQ(receive_calls().size(), 1U);
}

// --- sending

TEST_F(AnOpenChannel, SendsAHeaderWithLengthAndPortThenThePayload) {
    const Bytes payload = {0x97, 0, 0, 0, 0};
    ASSERT_EQ(hi_channel_send_to_dev(payload.data(), 5), 0);
    ASSERT_EQ(sent_messages().size(), 1U);
    const SentMessage sent = sent_messages()[0];
    EXPECT_EQ(to_hex(sent.bytes), "15 00 00 00 00 00 00 00 00 00 00 00 4c 04 00 00 97 00 00 00 00");
    EXPECT_EQ(sent.flags, 0);
    EXPECT_EQ(sent.to_size, 12U);
    EXPECT_EQ(sent.to.nl_family, AF_NETLINK);
    EXPECT_EQ(sent.to.nl_pid, 0U);
    EXPECT_EQ(sent.to.nl_groups, 0U);
}

TEST_F(AnOpenChannel, SendsFromOneTo1500BytesWhole) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{389}, std::size_t{1500}}) {
        const Bytes payload = counting_bytes(size);
        ASSERT_EQ(hi_channel_send_to_dev(payload.data(), static_cast<int32_t>(size)), 0) << size;
        const Bytes message = sent_messages().back().bytes;
        ASSERT_EQ(message.size(), size + 16);
        EXPECT_EQ(Bytes(message.begin() + 16, message.end()), payload);
        EXPECT_EQ(message[0] + 256U * message[1], size + 16);
    }
}

TEST_F(AnOpenChannel, RefusesOtherLengthsAndNullData) {
    const Bytes data(1501);
    struct Row {
        const std::uint8_t* data;
        int32_t len;
    };
    const Row rows[] = {{data.data(), 0},           {data.data(), -1}, {data.data(), 1501},
                        {data.data(), -2147483647}, {nullptr, 5},      {nullptr, 0}};
    for (const Row& row : rows) {
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(hi_channel_send_to_dev(row.data, row.len), -1); }),
                  line_of("hi_channel_send_to_dev", "sendto sata len:" + std::to_string(row.len)));
    }
    EXPECT_TRUE(sent_messages().empty());
}

TEST_F(AnOpenChannel, ReportsAFailedSendWithItsReason) {
    const std::uint8_t byte = 1;
    fail_next_send(ECONNREFUSED);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), -1); }),
              line_of("hi_channel_send_to_dev",
                      std::string(expected::kSendFailed) + std::strerror(ECONNREFUSED)));
    EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), 0);
}

TEST_F(AnOpenChannel, ReportsThatASendFoundNoMemory) {
    const std::uint8_t byte = 1;
    EXPECT_EQ(printed_by([&] {
                  fail_next_malloc();
                  EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), -1);
              }),
              line_of("hi_channel_send_to_dev", "malloc mem is fail"));
    EXPECT_TRUE(sent_messages().empty());
}

TEST_F(AClosedChannel, FailsToSendAsOnABadDescriptor) {
    const std::uint8_t byte = 1;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), -1); }),
              line_of("hi_channel_send_to_dev",
                      std::string(expected::kSendFailed) + std::strerror(EBADF)));
}

TEST_F(AReceivingChannel, SendsWholeMessagesFromManyThreadsWhileReceiving) {
    constexpr std::size_t kThreads = 8;
    constexpr std::size_t kMessages = 50;
    {
        std::vector<std::jthread> senders;
        for (std::size_t thread = 0; thread < kThreads; thread++) {
            senders.emplace_back([thread] {
                const Bytes payload(100 + thread, static_cast<std::uint8_t>(thread));
                for (std::size_t i = 0; i < kMessages; i++) {
                    EXPECT_EQ(hi_channel_send_to_dev(payload.data(),
                                                     static_cast<int32_t>(payload.size())),
                              0);
                }
            });
        }
        for (std::uint8_t i = 0; i < 50; i++) {
            send_to_host(netlink_message({i}));
        }
    }
    EXPECT_TRUE(wait_until([] { return received().size() == 50; }));
    ASSERT_EQ(sent_messages().size(), kThreads * kMessages);
    for (const SentMessage& message : sent_messages()) {
        const std::uint8_t thread = message.bytes.back();
        EXPECT_EQ(Bytes(message.bytes.begin() + 16, message.bytes.end()),
                  Bytes(100U + thread, thread));
    }
}

// --- closing

TEST_F(AClosedChannel, CannotBeClosedAgain) {
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_deinit(), -1); }),
              line_of("hi_channel_deinit", "hi_channel_deinit is fail"));
}

TEST_F(AReceivingChannel, EndsItsThreadAndClosesItsSocket) {
    const int socket = host_socket();
    ASSERT_TRUE(is_open(socket));
    EXPECT_EQ(printed_by([] { EXPECT_EQ(hi_channel_deinit(), 0); }), "");
    EXPECT_FALSE(is_open(socket));
    EXPECT_EQ(cancel_calls(), 1U);
    const std::uint8_t byte = 1;
    EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), -1);
}

TEST_F(AReceivingChannel, CanBeOpenedAgainAndThenHasNoCallback) {
    ASSERT_EQ(hi_channel_deinit(), 0);
    forget_calls();
    ASSERT_EQ(hi_channel_init(), 0);
    send_to_host(netlink_message({1}));
    ASSERT_TRUE(wait_until([] { return receive_calls().size() >= 2; }));
    ASSERT_EQ(hi_channel_register_rx_cb(keep_payload), 0);
    send_to_host(netlink_message({2}));
    EXPECT_TRUE(receives({{2}}));
}

// --- the callback and the cancellation of its thread

int g_gate[2];
std::atomic<bool> g_entered{false};
std::atomic<bool> g_left{false};

// Blocks in a call that ends a cancelled thread.
int32_t wait_at_gate(const uint8_t* /*data*/, int32_t /*len*/) {
    g_entered = true;
    char byte = 0;
    EXPECT_EQ(read(g_gate[0], &byte, 1), 1);
    g_left = true;
    return 0;
}

TEST_F(AnOpenChannel, LetsARunningCallbackFinishBeforeItCloses) {
    g_entered = false;
    g_left = false;
    ASSERT_EQ(pipe(g_gate), 0);
    ASSERT_EQ(hi_channel_register_rx_cb(wait_at_gate), 0);
    send_to_host(netlink_message({1}));
    ASSERT_TRUE(wait_until([] { return g_entered.load(); }));
    std::jthread closer([] {
        EXPECT_EQ(hi_channel_deinit(), 0);
        EXPECT_TRUE(g_left);
    });
    ASSERT_TRUE(wait_until([] { return cancel_calls() == 1; }));
    EXPECT_EQ(write(g_gate[1], "x", 1), 1);
    closer.join();
    EXPECT_TRUE(g_left);
    EXPECT_EQ(receive_calls().size(), 1U);  // the thread saw the stop flag
    close(g_gate[0]);
    close(g_gate[1]);
}

std::size_t thread_count() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

TEST_F(AClosedChannel, DoesNotWaitForEverForACallbackThatDoesNotReturn) {
    std::thread([] {}).join();  // with the first one a sanitizer may start a thread of its own
    const std::size_t threads_before = thread_count();
    g_entered = false;
    g_left = false;
    ASSERT_EQ(pipe(g_gate), 0);
    ASSERT_EQ(hi_channel_init(), 0);
    const int socket = host_socket();
    ASSERT_EQ(hi_channel_register_rx_cb(wait_at_gate), 0);
    send_to_host(netlink_message({1}));
    ASSERT_TRUE(wait_until([] { return g_entered.load(); }));

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hi_channel_deinit(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_FALSE(g_left);
    EXPECT_EQ(cancel_calls(), 1U);
    const std::uint8_t byte = 1;
    EXPECT_EQ(hi_channel_send_to_dev(&byte, 1), -1);

    // What the thread uses stays; it ends when its callback has returned, and takes no more.
    send_to_host(netlink_message({2}));
    EXPECT_EQ(write(g_gate[1], "x", 1), 1);
    EXPECT_TRUE(wait_until([] { return g_left.load(); }));
    // Not equal: the joined thread above may have been seen once more.
    EXPECT_TRUE(wait_until([&] { return thread_count() <= threads_before; }));
    EXPECT_EQ(receive_calls().size(), 1U);
    EXPECT_TRUE(is_open(socket));
    close(socket);
    close(g_gate[0]);
    close(g_gate[1]);
}

}  // namespace
}  // namespace quon::test
