// A daemon started without some of its standard streams: nobody sees its output.
#include <sys/ioctl.h>

#include <atomic>
#include <filesystem>
#include <functional>

#include "many_threads.h"
#include "system_test.h"

namespace quon::test {
namespace {

constexpr char kPopen[] = "method.quon.mcu.get.popen";
constexpr char kLogProfile[] = "method.quon.mcu.get.log.profile";  // each call logs an error

struct ClosedStreams {
    const char* name;
    std::string redirections;
    std::vector<int> numbers;
};

void PrintTo(const ClosedStreams& row, std::ostream* stream) {
    *stream << row.name;
}

class AStartWithClosedStreams : public SystemTest,
                                public ::testing::WithParamInterface<ClosedStreams> {
  protected:
    // With its whole log.
    void start_without_streams() {
        start_chip();
        start_daemon_after("", GetParam().redirections);
        wait_until_started();
        peer().notify("signal.quon.mcu.set.log.profile", Bytes{1, 4});
        EXPECT_EQ(peer().call(kLogProfile).result, -1);
    }
    static int unread(const BusPeer& peer) {
        int bytes = 0;
        return ioctl(peer.descriptor(), FIONREAD, &bytes) == 0 ? bytes : -1;
    }
    std::string stream(int number) {
        std::error_code missing;
        return std::filesystem::read_symlink(
            "/proc/" + std::to_string(daemon().pid()) + "/fd/" + std::to_string(number), missing);
    }
};

TEST_P(AStartWithClosedStreams, OpensThemOnNothingAndSendsNoLogToTheChip) {
    start_without_streams();
    EXPECT_EQ(peer().call("method.quon.mcu.get.time").result, 10);
    std::vector<Bytes> frames;
    for (const std::uint8_t type : from_hex("81 82 84 86 8C 93 80 84")) {
        frames.push_back(chip_frame(type));
    }
    EXPECT_EQ(chip().received(), frames);
    EXPECT_EQ(chip().messages().size(), frames.size());
    for (const int number : GetParam().numbers) {
        EXPECT_EQ(stream(number), "/dev/null") << number;
    }
}

// Each new connection and each command's pipe would briefly take the number of a stream, and a line
// printed by another thread at that moment would be mixed into the results.
TEST_P(AStartWithClosedStreams, PrintsIntoNoPeersConnectionAndNoCommandsOutput) {
    constexpr std::size_t kRounds = 10;
    constexpr std::size_t kConnections = 100;
    start_without_streams();
    std::atomic<std::size_t> busy = 2;
    const auto while_busy = [&](const std::function<void()>& work) {
        while (busy > 0 && !HasFailure()) {
            work();
        }
    };
    const std::function<void()> threads[] = {
        [&] {
            for (std::size_t round = 0; round < kRounds && !HasFailure(); ++round) {
                for (const auto& newcomer : connect_peers(kConnections)) {
                    EXPECT_EQ(unread(*newcomer), 0);
                }
            }
            --busy;
        },
        [&] {
            BusPeer commander;
            for (std::size_t round = 0; round < kConnections && !HasFailure(); ++round) {
                EXPECT_EQ(text_of(commander.call(kPopen, bytes_of("echo x")).payload()), "x\n");
            }
            --busy;
        },
        [&] {
            const BusPeer noisy;
            while_busy([&] {
                for (std::uint32_t id = 0; id < 20; ++id) {
                    noisy.send(method_request(kLogProfile, {}, id));
                }
                for (std::uint32_t id = 0; id < 20; ++id) {
                    const std::optional<BusRecord> result = noisy.receive();
                    EXPECT_EQ(result ? result->name : "none", kLogProfile);
                }
            });
        }};
    on_threads(std::size(threads), [&](std::size_t number) { threads[number](); });
    EXPECT_EQ(chip().messages().size(), 7U);
}

// A command reads nothing from the streams and can write to them.
TEST_P(AStartWithClosedStreams, GivesThemToTheCommandsOfPeers) {
    start_without_streams();
    const BusRecord listed = peer().call(kPopen, bytes_of("cat; cd /proc/self/fd; echo *"));
    EXPECT_EQ(text_of(listed.payload()), "0 1 2 3\n");  // the last is the listing's own
    const BusRecord printed =
        peer().call("method.quon.mcu.get.system", bytes_of("echo out && echo err >&2"));
    EXPECT_EQ(text_of(printed.payload()), "0");
}

const ClosedStreams kClosedStreams[] = {
    {"Input", "<&-", {0}},
    {"Output", ">&-", {1}},
    {"Errors", "2>&-", {2}},
    {"InputAndOutput", "<&- >&-", {0, 1}},
    {"OutputAndErrors", ">&- 2>&-", {1, 2}},
    {"AllThree", "<&- >&- 2>&-", {0, 1, 2}},
};
INSTANTIATE_TEST_SUITE_P(Each, AStartWithClosedStreams, ::testing::ValuesIn(kClosedStreams),
                         [](const auto& row) { return std::string(row.param.name); });

using AStart = SystemTest;

// Their substitute neither blocks a reader nor transfers anything.
TEST_F(AStart, WithoutStreamsAndWithoutANullDeviceServesAllTheSame) {
    start_chip();
    start_daemon_after(
        "exec unshare -m sh -c 'mount -t tmpfs none /dev && exec \"$@\" <&- >&- 2>&-' sh \"$@\"; ");
    wait_until_started();
    peer().notify("signal.quon.mcu.set.log.profile", Bytes{1, 4});
    EXPECT_EQ(peer().call(kLogProfile).result, -1);
    EXPECT_EQ(text_of(peer().call(kPopen, bytes_of("cat; echo x")).payload()), "x\n");
    EXPECT_EQ(chip().messages().size(), 7U);
}

}  // namespace
}  // namespace quon::test
