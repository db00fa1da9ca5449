// The hand-off thread from outside: a real server, real peers, and every line that it prints.

#include "websocket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "expected_texts.h"
#include "handoff_world.h"

namespace quon::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// ---- Start ------------------------------------------------------------------------------------

struct IncompleteRecord {
    const char* name;
    ws_preinit_param record;
};

void PrintTo(const IncompleteRecord& row, std::ostream* out) {
    *out << row.name;
}

class ARecordThatAsksForNoConnection : public HandOffTest,
                                       public testing::WithParamInterface<IncompleteRecord> {};

TEST_P(ARecordThatAsksForNoConnection, StartsWithoutATargetAndAsksNobody) {
    start(GetParam().record);
    expect_output(kNoTargetLine);
    const LocalPeer peer;
    expect_output(kNoTargetLine + kClientLine);
    EXPECT_EQ(network_questions(), 0);
}

const IncompleteRecord kIncompleteRecords[] = {
    {"NoRemoteWakeup", {0, 0x0100007f, 80, answer_network_question}},
    {"NoAddress", {1, 0, 80, answer_network_question}},
    {"NoPort", {1, 0x0100007f, 0, answer_network_question}},
    {"NoCallback", {1, 0x0100007f, 80, nullptr}},
};
INSTANTIATE_TEST_SUITE_P(EachMissingField, ARecordThatAsksForNoConnection,
                         testing::ValuesIn(kIncompleteRecords),
                         [](const auto& row) { return std::string(row.param.name); });

class AHandOffThread : public HandOffTest {};

TEST_F(AHandOffThread, IsNamedWebpreinit) {
    start(record_without_wakeup());
    EXPECT_TRUE(wait_until([] { return thread_runs("webpreinit"); }));
}

TEST_F(AHandOffThread, KeepsACopyOfTheRecord) {
    const RemoteServer server;
    set_network_up(false);
    ws_preinit_param param = record_for(server);
    start(param);
    param = {};
    set_network_up(true);
    EXPECT_TRUE(server.accept().valid());
    EXPECT_TRUE(prints(init_line(server)));
}

std::atomic<int> entry_values{0};
std::atomic<std::size_t> answers_given{0};

// Three answers that are no success, then one that is.
int answer_in_four_ways(int* updated) {
    static constexpr std::array<std::pair<int, int>, 4> kAnswers = {
        {{0, 1}, {-1, 1}, {4, 0}, {1, 7}}};
    const auto& [result, value] = kAnswers.at(answers_given++);
    entry_values += *updated;
    *updated = value;
    return result;
}

TEST_F(AHandOffThread, NeedsAPositiveResultAndAFlagAndClearsTheFlagBeforeEachQuestion) {
    const RemoteServer server;
    start({1, server.ip(), server.port(), answer_in_four_ways});
    expect_output(init_line(server) + kConnectedLine);
    EXPECT_EQ(entry_values, 0);
    EXPECT_EQ(answers_given, 4U);
}

TEST_F(AHandOffThread, GivesTheNetworkUpAfter300QuestionsAndStillServes) {
    const RemoteServer server;
    set_network_up(false);
    const auto start_time = steady_clock::now();
    start(record_for(server));
    expect_output("websocket remote wakeup wait ip update timeout!\n" + kNoTargetLine);
    EXPECT_GE(since(start_time), 2990);
    EXPECT_EQ(network_questions(), 300);

    const LocalPeer peer;
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    EXPECT_EQ(network_questions(), 300);
}

TEST_F(AHandOffThread, ReplacesASocketFileThatIsLeftOver) {
    fclose(fopen("/tmp/ws_socket", "wb"));
    start(record_without_wakeup());
    EXPECT_TRUE(prints(kNoTargetLine));
    const LocalPeer peer;
    EXPECT_TRUE(prints(kClientLine));
}

TEST_F(AHandOffThread, EndsWhenItsSocketCannotBeBound) {
    ASSERT_EQ(mkdir("/tmp/ws_socket", 0700), 0);
    const RemoteServer server;
    start(record_for(server));
    expect_output(expected::kBindFailed + std::to_string(EADDRINUSE) + ".\n");
    EXPECT_TRUE(wait_until([] { return !thread_runs("webpreinit"); }));
    EXPECT_EQ(network_questions(), 0);
}

TEST_F(AHandOffThread, KeepsItsDescriptorsOutOfStartedPrograms) {
    const RemoteServer server;
    const std::map<std::string, unsigned long> before = open_sockets();
    start(record_for(server));
    const LocalPeer peer;
    EXPECT_TRUE(prints(kClientLine));
    EXPECT_TRUE(prints(kConnectedLine));
    int added = 0;
    for (const auto& [socket, flags] : open_sockets()) {
        if (!before.contains(socket)) {
            added++;
            EXPECT_TRUE((flags & O_CLOEXEC) != 0) << socket;
        }
    }
    EXPECT_EQ(added, 4);  // listening, client and remote socket of the thread, and the peer's
}

TEST_F(AHandOffThread, UsesNoNumberOfAMissingStandardStream) {
    const RemoteServer server;
    Descriptor socket = LocalPeer::unconnected();
    ASSERT_EQ(close(STDIN_FILENO), 0);
    start(record_for(server));
    const LocalPeer peer(std::move(socket));
    ASSERT_TRUE(prints(kConnectedLine));
    ASSERT_TRUE(prints(kClientLine));
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
}

// ---- The early connection ---------------------------------------------------------------------

class AnEarlyConnection : public HandOffTest {};

TEST_F(AnEarlyConnection, IsMadeBeforeAnybodyAsksAndKept) {
    const RemoteServer server("127.0.0.5");
    start(record_for(server));
    expect_output(init_line(server) + kConnectedLine);
    const Descriptor connection = server.accept();
    ASSERT_TRUE(connection.valid());
    EXPECT_FALSE(readable_within(connection.get(), kSomePasses));
    EXPECT_FALSE(server.has_visitor(milliseconds(0)));
}

TEST_F(AnEarlyConnection, IsHandedOverAtOnceToThePeerThatAsksForIt) {
    const RemoteServer server;
    start(record_for(server));
    const Descriptor connection = server.accept();
    ASSERT_TRUE(prints(kConnectedLine));

    const LocalPeer peer;
    peer.send(connect_request(server));
    std::optional<Handover> handover = peer.receive();
    ASSERT_TRUE(handover.has_value());
    EXPECT_EQ(handover->data, (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(carries(handover->socket.get(), connection.get(), "from the camera"));
    EXPECT_TRUE(carries(connection.get(), handover->socket.get(), "from the server"));
    expect_output(init_line(server) + kConnectedLine + kClientLine + kWholeRequestLine +
                  request_line(server, 3) + kSentAtOnceLine);

    handover->socket.reset();  // the only copy: the connection ends with it
    EXPECT_TRUE(ends_within(connection.get()));
}

// The milliseconds of the monotonic clock, as 32 bits hold them.
std::uint32_t clock_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000);
}

TEST_F(AnEarlyConnection, IsPrintedWithTheMillisecondsOfTheMonotonicClock) {
    const RemoteServer server;
    const std::uint32_t before = clock_ms();
    start(record_for(server));
    ASSERT_TRUE(prints(kConnectedLine));
    const std::uint32_t after = clock_ms();
    const std::string output = output_with_numbers();
    const std::string label = "ws ls connected remote:src/websocket.c-2484:";
    const auto printed =
        static_cast<std::uint32_t>(std::stol(output.substr(output.find(label) + label.size())));
    EXPECT_LE(printed - before, after - before);
}

// The number of this process's own end of a connection to the server; -1 when there is none.
int descriptor_towards(const RemoteServer& server) {
    for (int number = 0; number < FD_SETSIZE; number++) {
        sockaddr_in remote{};
        socklen_t length = sizeof(remote);
        if (getpeername(number, reinterpret_cast<sockaddr*>(&remote), &length) == 0 &&
            remote.sin_family == AF_INET && ntohs(remote.sin_port) == server.port()) {
            return number;
        }
    }
    return -1;
}

TEST_F(AnEarlyConnection, IsHandedOverWithItsDescriptorsNumberPrinted) {
    const RemoteServer server;
    start(record_for(server));
    ASSERT_TRUE(prints(kConnectedLine));
    const int number = descriptor_towards(server);
    ASSERT_GT(number, STDERR_FILENO);
    const LocalPeer peer;
    peer.send(connect_request(server));
    ASSERT_TRUE(peer.receive().has_value());
    EXPECT_TRUE(prints_exactly("ws ls sendfd ret = 8, fd:" + std::to_string(number) + "\n"));
}

TEST_F(AnEarlyConnection, IsReplacedForThePeerThatAsksASecondTime) {
    const RemoteServer server;
    start(record_for(server));
    const Descriptor first = server.accept();
    ASSERT_TRUE(prints(kConnectedLine));
    const LocalPeer peer;
    peer.send(connect_request(server));
    ASSERT_TRUE(peer.receive().has_value());

    peer.send(connect_request(server));
    const std::optional<Handover> again = peer.receive();
    ASSERT_TRUE(again.has_value());
    const Descriptor second = server.accept();
    EXPECT_TRUE(carries(again->socket.get(), second.get(), "second"));
    expect_output(init_line(server) + kConnectedLine + kClientLine + kWholeRequestLine +
                  request_line(server, 3) + kSentAtOnceLine + kWholeRequestLine +
                  request_line(server, 0) + kServedLater);
}

TEST_F(AnEarlyConnection, IsClosedForThePeerThatAsksForAnotherAddress) {
    const RemoteServer server;
    const RemoteServer other("127.0.0.2");
    start(record_for(server));
    const Descriptor connection = server.accept();
    ASSERT_TRUE(prints(kConnectedLine));

    const LocalPeer peer;
    peer.send(connect_request(other));
    const std::optional<Handover> handover = peer.receive();
    ASSERT_TRUE(handover.has_value());
    EXPECT_TRUE(ends_within(connection.get()));
    const Descriptor wanted = other.accept();
    EXPECT_TRUE(carries(handover->socket.get(), wanted.get(), "to the other"));
    expect_output(init_line(server) + kConnectedLine + kClientLine + kWholeRequestLine +
                  request_line(other, 3) + kServedLater);
}

// The early connection to the first server goes when a peer asks for the second one.
class AnEarlyConnectionToAnotherServer : public HandOffTest {
  protected:
    static void expect_closed_for(const RemoteServer& server, const RemoteServer& other) {
        const Descriptor connection = server.accept();
        const LocalPeer peer;
        peer.send(connect_request(other));
        EXPECT_TRUE(peer.receive().has_value());
        EXPECT_TRUE(ends_within(connection.get()));
        EXPECT_TRUE(other.accept().valid());
    }
};

TEST_F(AnEarlyConnectionToAnotherServer, IsClosedWhenThePortAloneDiffers) {
    const RemoteServer server;
    const RemoteServer other;
    start(record_for(server));
    ASSERT_TRUE(prints(kConnectedLine));
    expect_closed_for(server, other);
}

TEST_F(AnEarlyConnectionToAnotherServer, IsClosedWhenTheAddressAloneDiffers) {
    const RemoteServer server;
    const RemoteServer other("127.0.0.2", server.port());
    start(record_for(server));
    ASSERT_TRUE(prints(kConnectedLine));
    expect_closed_for(server, other);
}

TEST_F(AnEarlyConnection, EndsWithTheDropCommandAndLeavesThePeerConnected) {
    const RemoteServer server;
    start(record_for(server));
    const Descriptor connection = server.accept();
    ASSERT_TRUE(prints(kConnectedLine));
    const LocalPeer peer;
    peer.send(kDropRequest);
    EXPECT_TRUE(ends_within(connection.get()));

    peer.send(connect_request(server));
    EXPECT_TRUE(peer.receive().has_value());
    expect_output(init_line(server) + kConnectedLine + kClientLine + kDropLine + kWholeRequestLine +
                  request_line(server, 0) + kServedLater);
}

// ---- Descriptors at their limits --------------------------------------------------------------

// The network question holds the thread before its first pass until the test lets go.
class AThreadBeforeItsFirstPass : public HandOffTest {
  protected:
    void SetUp() override {
        HandOffTest::SetUp();
        set_network_up(false);
    }
};

TEST_F(AThreadBeforeItsFirstPass, DoesNotReadTheNewPeerForTheOldOnesReadiness) {
    const RemoteServer server;
    start(record_for(server));
    const LocalPeer first;
    first.send(connect_request(server));
    const LocalPeer second;  // silent: reading it would hold the thread for good
    set_network_up(true);
    EXPECT_TRUE(readable_within(first.get()));  // closed
    const LocalPeer third;
    third.send(connect_request(server));
    EXPECT_TRUE(third.receive().has_value());
}

// Takes every free number below `limit`.
std::vector<Descriptor> fill_descriptors(int limit) {
    std::vector<Descriptor> taken;
    while (taken.empty() || (taken.back().valid() && taken.back().get() < limit - 1)) {
        taken.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    return taken;
}

void allow_descriptors_beyond_select() {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, rlim_t{2} * FD_SETSIZE);
    ASSERT_GT(limit.rlim_cur, static_cast<rlim_t>(FD_SETSIZE));
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

class ADescriptorBeyondASelectSet : public HandOffTest {
  protected:
    void SetUp() override {
        HandOffTest::SetUp();
        allow_descriptors_beyond_select();
    }
};

TEST_F(ADescriptorBeyondASelectSet, CountsAsAFailedAccept) {
    start(record_without_wakeup());
    ASSERT_TRUE(prints(kNoTargetLine));
    std::vector<Descriptor> taken = fill_descriptors(FD_SETSIZE);
    const LocalPeer peer;
    EXPECT_TRUE(ends_within(peer.get()));
    expect_output(kNoTargetLine);

    taken.clear();
    const LocalPeer second;
    expect_output(kNoTargetLine + kClientLine);
}

TEST_F(ADescriptorBeyondASelectSet, CountsAsAFailedRemoteSocket) {
    const RemoteServer server;
    start(record_without_wakeup());
    const LocalPeer peer;
    ASSERT_TRUE(prints(kClientLine));
    const std::vector<Descriptor> taken = fill_descriptors(FD_SETSIZE);
    peer.send(connect_request(server));
    expect_output(kNoTargetLine + kClientLine + kWholeRequestLine + request_line(server, 0) +
                  "socket failed.\nws ls connect server 127.0.0.1:" +
                  std::to_string(server.port()) + " failed!\n");
    EXPECT_FALSE(server.has_visitor(milliseconds(0)));
}

TEST_F(ADescriptorBeyondASelectSet, EndsTheThreadWhenItIsTheListeningOne) {
    const std::vector<Descriptor> taken = fill_descriptors(FD_SETSIZE);
    start(record_without_wakeup());
    expect_output("socket failed.\n");
    EXPECT_TRUE(wait_until([] { return !thread_runs("webpreinit"); }));
}

TEST_F(ADescriptorBeyondASelectSet, IsNotTheLastOneThatFits) {
    start(record_without_wakeup());
    ASSERT_TRUE(prints(kNoTargetLine));
    std::vector<Descriptor> taken = fill_descriptors(FD_SETSIZE);
    Descriptor socket = LocalPeer::unconnected();
    ASSERT_GE(socket.get(), FD_SETSIZE);
    ASSERT_EQ(taken.back().get(), FD_SETSIZE - 1);
    taken.pop_back();
    const LocalPeer peer(std::move(socket));
    peer.send({7});
    EXPECT_TRUE(prints("ws ls recv[7] ----> len:1\n"));
    EXPECT_TRUE(prints_exactly("===========client_sock:" + std::to_string(FD_SETSIZE - 1) + "\n"));
}

}  // namespace
}  // namespace quon::test
