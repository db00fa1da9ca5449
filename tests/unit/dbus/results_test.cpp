// Results that find no room, and what they cost.
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "dbus_socket_common.h"
#include "expected_texts.h"
#include "faults.h"
#include "log_records.h"

namespace quon::test {
namespace {

using namespace std::chrono_literals;

std::atomic<int> handled{0};

std::int32_t count_and_answer(const std::uint8_t* request, std::int32_t len, std::uint8_t* reply,
                              std::int32_t capacity) {
    handled++;
    return answer_one(request, len, reply, capacity);
}

std::size_t results_in_socket(const RawPeer& peer) {
    int bytes = 0;
    ioctl(peer.descriptor(), FIONREAD, &bytes);
    return static_cast<std::size_t>(bytes) / sizeof(DbusMsg);
}

// A message thread keeps its member's name.
std::size_t message_threads() {
    return threads_named("DBUS-0").size() + threads_named("DbusProcess").size();
}

class AServerOfADeafPeer : public testing::Test {
  protected:
    void SetUp() override {
        start_server(name_, {{.name = "method.one", .method = count_and_answer}});
        deaf_ = std::make_unique<RawPeer>(RawPeer::connect_to(name_));
        ASSERT_TRUE(wait_until([&] { return threads_named(name_).size() == 2; }));
        forget_calls();
    }

    // Makes one call and waits until its result is in the socket or waits behind the others.
    void call_without_reading(std::uint32_t id) {
        const std::size_t before = results_in_socket(*deaf_);
        const int handled_before = handled;
        deaf_->send(make_request("method.one", id));
        ASSERT_TRUE(wait_until([&] {
            return handled == handled_before + 1 &&
                   (results_in_socket(*deaf_) == before + 1 ||
                    (waits_for_room() == 1 && message_threads() == 1));
        })) << id;
    }

    // Calls until the server reads no more; how many it has taken.
    int call_until_nothing_goes() {
        const DbusMsg request = make_request("method.one");
        int sent = 0;
        int handled_before = -1;
        while (handled != handled_before) {
            handled_before = handled;
            wait_until(
                [&] {
                    while (send(deaf_->descriptor(), &request, sizeof(request),
                                MSG_DONTWAIT | MSG_NOSIGNAL) == sizeof(request)) {
                        sent++;
                    }
                    return false;
                },
                300ms);
        }
        return sent;
    }

    std::string name_ = fresh_name();
    std::unique_ptr<RawPeer> deaf_;
};

TEST_F(AServerOfADeafPeer, WritesAResultAtOnceWhereThereIsRoomWhateverReadinessSays) {
    for (std::uint32_t id = 0; id < 10; id++) {  // a socket reports room up to a quarter only
        deaf_->send(make_request("method.one", id));
    }
    EXPECT_TRUE(wait_until([&] { return results_in_socket(*deaf_) == 10; }));
    EXPECT_EQ(waits_for_room(), 0);
}

TEST_F(AServerOfADeafPeer, KeepsTheResultsThatWereReadyWhenThePeerClosesItsSendingHalf) {
    for (std::uint32_t id = 0; id < 10; id++) {
        call_without_reading(id);
    }
    shutdown(deaf_->descriptor(), SHUT_WR);
    for (std::uint32_t id = 0; id < 10; id++) {
        const std::optional<DbusMsg> result = deaf_->receive();
        ASSERT_TRUE(result) << id;
        EXPECT_EQ(result->id, id);
    }
    EXPECT_TRUE(deaf_->sees_end());
}

TEST_F(AServerOfADeafPeer, LetsALateReaderFindTheResultsInOrder) {
    constexpr std::uint32_t kCalls = 60;
    for (std::uint32_t id = 0; id < kCalls; id++) {
        call_without_reading(id);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_LT(results_in_socket(*deaf_), kCalls);  // some of them wait
    EXPECT_EQ(waits_for_room(), 1);
    for (std::uint32_t id = 0; id < kCalls; id++) {
        const std::optional<DbusMsg> result = deaf_->receive();
        ASSERT_TRUE(result) << id;
        EXPECT_EQ(result->id, id);
    }
    EXPECT_TRUE(wait_until([] { return message_threads() == 0; }));
}

// A result has to wait behind those that came before it, also where there is room for it by now.
TEST_F(AServerOfADeafPeer, SendsWhatWaitsBeforeWhatComesLater) {
    std::uint32_t id = 0;
    while (waits_for_room() == 0) {
        call_without_reading(id++);
        ASSERT_FALSE(HasFatalFailure());
    }
    for (std::uint32_t more = 0; more < 5; more++) {
        call_without_reading(id++);
    }
    const std::size_t full = results_in_socket(*deaf_);
    for (std::uint32_t read = 0; read < 3; read++) {  // too few for the waiting thread to wake
        EXPECT_EQ(deaf_->receive().value().id, read);
    }
    EXPECT_EQ(results_in_socket(*deaf_), full - 3);
    deaf_->send(make_request("method.one", id++));
    // It makes use of the room for those that wait.
    EXPECT_TRUE(wait_until([&] { return results_in_socket(*deaf_) == full; }));
    for (std::uint32_t read = 3; read < id; read++) {
        const std::optional<DbusMsg> result = deaf_->receive();
        ASSERT_TRUE(result) << read;
        EXPECT_EQ(result->id, read);
    }
}

TEST_F(AServerOfADeafPeer, StopsReadingWhen1024ResultsWait) {
    const int sent = call_until_nothing_goes();
    EXPECT_GE(handled, 1024);
    EXPECT_LT(handled, 2048);  // those in the socket, and those that ran when the limit was reached
    EXPECT_LT(handled, sent);
    EXPECT_TRUE(wait_until([] { return message_threads() == 1; }));
    RawPeer other = RawPeer::connect_to(name_);
    for (int i = 0; i < 20; i++) {
        EXPECT_TRUE(serves(other));
    }
    // Reading lets it go on, and nothing is lost.
    for (int i = 0; i < sent; i++) {
        ASSERT_TRUE(deaf_->receive()) << i;
    }
    EXPECT_TRUE(serves(*deaf_));
    EXPECT_TRUE(wait_until([] { return message_threads() == 0; }));
}

TEST_F(AServerOfADeafPeer, LetsGoOfEverythingWhenThePeerLeavesWhileItIsNotRead) {
    call_until_nothing_goes();
    const OutputCapture capture;
    deaf_->close_now();
    EXPECT_TRUE(wait_until([&] {
        return message_threads() == 0 && threads_named(name_).size() == 1;  // the listen thread
    }));
    EXPECT_GE(count_of(capture.text(), expected::kResultNotWritten), 1024);
    RawPeer other = RawPeer::connect_to(name_);
    EXPECT_TRUE(serves(other));
}

TEST_F(AServerOfADeafPeer, ServesAllOthersWithFewThreads) {
    deaf_->close_now();
    ASSERT_TRUE(wait_until([&] { return threads_named(name_).size() == 1; }));
    limit_threads(24);
    *deaf_ = RawPeer::connect_to(name_);
    call_until_nothing_goes();
    ASSERT_TRUE(wait_until([] { return message_threads() <= 1; }));
    std::vector<RawPeer> others;
    for (int i = 0; i < 15; i++) {
        others.push_back(RawPeer::connect_to(name_));
        EXPECT_TRUE(serves(others.back())) << i;
    }
    for (RawPeer& other : others) {
        EXPECT_TRUE(serves(other));
    }
    lift_thread_limit();
}

// Its connection's thread runs the handlers and, at last, waits for room itself.
TEST_F(AServerOfADeafPeer, ServesOthersAndKeepsTheOrderWithoutAnyNewThread) {
    RawPeer other = RawPeer::connect_to(name_);
    ASSERT_TRUE(serves(other));
    const int handled_before = handled;
    limit_threads(0);
    constexpr std::uint32_t kCalls = 60;  // more than have room, fewer than two sockets hold
    for (std::uint32_t id = 0; id < kCalls; id++) {
        deaf_->send(make_request("method.one", id));
    }
    ASSERT_TRUE(wait_until([] { return waits_for_room() == 1; }));
    EXPECT_LT(handled - handled_before, static_cast<int>(kCalls));
    for (int i = 0; i < 5; i++) {
        EXPECT_TRUE(serves(other));
    }
    for (std::uint32_t id = 0; id < kCalls; id++) {
        const std::optional<DbusMsg> result = deaf_->receive();
        ASSERT_TRUE(result) << id;
        EXPECT_EQ(result->id, id);
    }
    lift_thread_limit();
}

// A thread is found for waiting though none was for the message.
TEST_F(AServerOfADeafPeer, LeavesTheWaitingOfAConnectionsThreadToAThreadOfItsOwn) {
    std::uint32_t id = 0;
    while (waits_for_room() == 0) {
        const int handled_before = handled;
        fail_next(Fault::kThread, 1, 0, Where::kOtherThreads);
        deaf_->send(make_request("method.one", id++));
        ASSERT_TRUE(wait_until([&] {
            return handled == handled_before + 1 &&
                   (results_in_socket(*deaf_) == id || waits_for_room() == 1);
        })) << id;
    }
    ASSERT_TRUE(all_failed(Fault::kThread));
    // The connection's thread reads on.
    const int handled_before = handled;
    deaf_->send(make_request("method.one", id++));
    EXPECT_TRUE(wait_until([&] { return handled == handled_before + 1; }));
    for (std::uint32_t read = 0; read < id; read++) {
        const std::optional<DbusMsg> result = deaf_->receive();
        ASSERT_TRUE(result) << read;
        EXPECT_EQ(result->id, read);
    }
}

// ---- Descriptors

struct LimitRow {
    rlim_t limit;
    int first_refused;
};

// Gives back what it changes.
class DescriptorLimit {
  public:
    explicit DescriptorLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit wanted{limit, before_.rlim_max};
        set_ = setrlimit(RLIMIT_NOFILE, &wanted) == 0;
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    [[nodiscard]] bool is_set() const { return set_; }

  private:
    rlimit before_{};
    bool set_ = false;
};

// Takes all numbers from the lowest free one up to below `end`.
std::vector<int> fill_descriptors(int end) {
    std::vector<int> taken;
    for (int fd = dup(0); fd >= 0; fd = dup(0)) {
        if (fd >= end) {
            close(fd);
            break;
        }
        taken.push_back(fd);
    }
    return taken;
}

bool is_taken(RawPeer& peer) {
    const DbusMsg request = make_request("method.one");
    return send(peer.descriptor(), &request, sizeof(request), MSG_NOSIGNAL) == sizeof(request) &&
           peer.receive().has_value();
}

int last_number(const std::string& text) {
    return std::stoi(text.substr(text.rfind(':') + 1));
}

class ALimitOfDescriptors : public testing::TestWithParam<LimitRow> {};

TEST_P(ALimitOfDescriptors, LeavesItsEndToTheRestOfTheProcess) {
    const LimitRow& row = GetParam();
    const std::string name = fresh_name();
    start_server(name, {{.name = "method.one", .method = answer_one}});
    const DescriptorLimit limit(row.limit);
    ASSERT_TRUE(limit.is_set());
    const LogRecords log;
    const std::vector<int> taken = fill_descriptors(row.first_refused - 8);
    // Both ends of a connection are descriptors of this process.
    std::vector<RawPeer> peers;
    do {
        peers.push_back(RawPeer::connect_to(name));
    } while (is_taken(peers.back()) && peers.size() < 10);
    EXPECT_GE(peers.size(), 4U);
    EXPECT_LT(peers.size(), 10U);
    ASSERT_EQ(log.lines().size(), 1U);
    const LogLine line = log.lines()[0];
    EXPECT_EQ(line.level, 1U);
    EXPECT_EQ(line.tag, "DBUS");
    EXPECT_EQ(line.func, "Dbus_Listen_Thread");
    const std::size_t limit_at = line.msg.find(" limit:");
    ASSERT_NE(limit_at, std::string::npos);
    EXPECT_TRUE(line.msg.starts_with("too many connections, closed the fd:")) << line.msg;
    EXPECT_GE(last_number(line.msg.substr(0, limit_at)), row.first_refused);
    EXPECT_LE(last_number(line.msg.substr(0, limit_at)), row.first_refused + 2);
    EXPECT_EQ(last_number(line.msg), row.first_refused);
    // Listening goes on.
    for (const int fd : taken) {
        close(fd);
    }
    peers.clear();
    EXPECT_TRUE(wait_until([&] {
        RawPeer next = RawPeer::connect_to(name);
        return is_taken(next);
    }));
}

INSTANTIATE_TEST_SUITE_P(Rows, ALimitOfDescriptors,
                         testing::Values(LimitRow{40, 30}, LimitRow{63, 48}, LimitRow{64, 48},
                                         LimitRow{256, 240}, LimitRow{1024, 1008},
                                         LimitRow{2048, 1008}));

}  // namespace
}  // namespace quon::test
