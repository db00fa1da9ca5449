// Eight threads call over one connection, with random time-outs, while the server is killed and
// started again. Every call ends in one of the ways that the header names and in time, and the
// sanitizers find nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bus_peers.h"
#include "captured_output.h"
#include "child_process.h"
#include "dbus_socket_common.h"

namespace quon::test {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 10;
constexpr int kCallsPerRound = 100;  // of each thread: 1000 calls in all
constexpr std::int64_t kSlackMs = 10000;

class Server {
  public:
    explicit Server(std::string name) : name_(std::move(name)) { start(); }
    void restart() {
        process_->send_signal(SIGKILL);
        process_->wait_exit();
        start();
    }

  private:
    void start() {
        ChildProcess::Options options;
        options.command = words_of(QUON_EMULATOR);
        options.command.emplace_back(QUON_STRESS_SERVER);
        options.command.push_back(name_);
        process_ = std::make_unique<ChildProcess>(options);
        if (!process_->wait_for_text("ready")) {
            throw std::runtime_error("no server: " + process_->output());
        }
    }
    std::string name_;
    std::unique_ptr<ChildProcess> process_;
};

struct Counts {
    std::atomic<int> ok{0};
    std::atomic<int> timeout{0};
    std::atomic<int> no_connection{0};
    std::atomic<int> wrong{0};

    [[nodiscard]] int all() const { return ok + timeout + no_connection + wrong; }
};

// A call or, now and then, a signal.
void one_call(DbusInfo* info, std::mt19937& random, Counts& counts) {
    std::array<std::uint8_t, 64> payload{};
    std::generate(payload.begin(), payload.end(), [&] { return random() & 0xFF; });
    payload[0] = static_cast<std::uint8_t>(random() % 8);  // milliseconds in the slow handler
    const auto timeout_ms = static_cast<std::int32_t>(random() % 12);
    const unsigned kind = random() % 8;
    DbusReply reply{};
    const std::int64_t begin = now_ms();
    const DbusCallStatus status =
        kind == 0
            ? Dbus_Signal_Send(info, "signal.ignore", payload.data(), payload.size(), timeout_ms)
            : Dbus_Method_Call(info, kind < 4 ? "method.echo" : "method.slow", payload.data(),
                               payload.size(), timeout_ms, &reply);
    if (now_ms() - begin > timeout_ms + kSlackMs) {
        counts.wrong++;
    } else if (status == DBUS_CALL_OK) {
        const bool intact = kind == 0 || (reply.result == 64 && reply.data_len == 64 &&
                                          std::memcmp(reply.data, payload.data(), 64) == 0);
        (intact ? counts.ok : counts.wrong)++;
    } else if (status == DBUS_CALL_TIMEOUT) {
        counts.timeout++;
    } else if (status == DBUS_CALL_NO_CONNECTION) {
        counts.no_connection++;
    } else {
        counts.wrong++;
    }
}

void run_round(DbusInfo* info, int round, Server& server, Counts& counts) {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            std::mt19937 random(static_cast<unsigned>(round * kThreads + t));
            for (int i = 0; i < kCallsPerRound; i++) {
                one_call(info, random, counts);
            }
        });
    }
    const int begin = round * kThreads * kCallsPerRound;
    wait_until([&] { return counts.all() >= begin + kThreads * kCallsPerRound * 2 / 3; });
    server.restart();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// A call that is sent before the client's thread has seen the end of the old connection ends with
// it.
bool still_connects(DbusInfo* info) {
    return wait_until([=] {
        return Dbus_Method_Call(info, "method.echo", nullptr, 0, 20000, nullptr) == DBUS_CALL_OK;
    });
}

TEST(EightThreadsOnOneConnection, EndEachOfTheirCallsWhileTheServerIsKilledAgainAndAgain) {
    const OutputCapture quiet;
    const std::string name = fresh_name();
    Server server(name);
    Counts counts;
    DbusInfo* client = Dbus_Client_Connect("quon.test.stress", name.c_str(), 5000);
    ASSERT_NE(client, nullptr);
    for (int round = 0; round < kRounds; round++) {
        run_round(client, round, server, counts);
        // Also when the kill left requests unread, which ends the client's thread.
        ASSERT_TRUE(still_connects(client)) << "round " << round;
    }
    Dbus_Client_Disconnect(client);
    EXPECT_EQ(counts.all(), kThreads * kRounds * kCallsPerRound);
    EXPECT_EQ(counts.wrong, 0);
    EXPECT_GT(counts.ok, 0);
    EXPECT_GT(counts.timeout, 0);
    RecordProperty("ok", counts.ok);
    RecordProperty("timeout", counts.timeout);
    RecordProperty("no_connection", counts.no_connection);
}

}  // namespace
}  // namespace quon::test
