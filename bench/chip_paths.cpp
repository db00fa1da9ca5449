// The time that the daemon adds between a peer and the chip. This program plays the chip, so its
// own response time can be measured separately; the daemon is the real one, in a private world.
#include <sys/socket.h>
#include <sys/un.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <optional>
#include <vector>

#include "daemon_process.h"
#include "hand_off_peers.h"
#include "private_world.h"
#include "record_caller.h"
#include "report.h"
#include "scripted_chip.h"
#include "timing.h"

namespace quon::bench {
namespace {

using namespace std::chrono_literals;
using test::Bytes;

constexpr char kGetTime[] = "method.quon.mcu.get.time";
constexpr char kGetSnapshot[] = "method.quon.mcu.get.allwakeup.info";
constexpr char kGetEvent[] = "method.quon.mcu.get.event.info";
constexpr std::uint8_t kTimeType = 0x84;
constexpr std::uint8_t kNetType = 0x03;
// Interface, route and resolver as on a camera at home, state 1.
constexpr char kNetwork[] =
    "00 01 c0 a8 01 14 ff ff ff 00 c0 a8 01 01 02 00 00 00 00 01 08 08 08 08 00 00 00 00";
// The commands that the daemon runs for it, in order.
constexpr const char* kNetworkCommands[] = {
    "ifconfig wlan0 down",
    "ifconfig wlan0 hw ether 2:0:0:0:0:1",
    "ifconfig wlan0 192.168.1.20 netmask 255.255.255.0",
    "route add default gw 192.168.1.1 dev wlan0",
    "ifconfig wlan0 up",
};
constexpr double kMeanNetworkPauseUs = 5000;  // it checks every 10 ms whether the network is up

struct Options {
    int exchanges = 200;
    int updates = 5;
    int wake_ups = 3;
    bool in_world = false;
};

double median_call(RecordCaller& caller, const std::string& member, int count) {
    Times times;
    for (int i = 0; i < count; i++) {
        times.push_back(time_of([&] { caller.call(member); }));
    }
    return median(times);
}

// The chip's socket as the daemon's chip link uses it: whole messages, header included.
int connect_to_chip() {
    const int chip = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(test::kChipSocket);
    if (chip < 0 ||
        connect(chip, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        fail(test::kChipSocket);
    }
    return chip;
}

// One query and its answer without a daemon: the cost of the chip and of the path to it.
double bare_exchange(int count) {
    const int chip = connect_to_chip();
    Bytes question(16, 0);
    const Bytes frame = test::chip_frame(kTimeType);
    question[0] = static_cast<std::uint8_t>(question.size() + frame.size());
    question.insert(question.end(), frame.begin(), frame.end());
    Bytes answer(4096);
    Times times;
    for (int i = 0; i < count; i++) {
        times.push_back(time_of([&] {
            if (send(chip, question.data(), question.size(), MSG_NOSIGNAL) < 0 ||
                recv(chip, answer.data(), answer.size(), 0) <= 0) {
                fail("the chip");
            }
        }));
    }
    close(chip);
    return median(times);
}

// From the chip's frame to the event in a peer's hands. A query that overtakes the frame comes back
// empty and is repeated.
nlohmann::json event_path(test::ScriptedChip& chip, RecordCaller& caller, int count) {
    Times times;
    int overtaken = 0;
    const Bytes event(33, 0x5A);
    for (int i = 0; i < count; i++) {
        const Clock::time_point start = Clock::now();
        chip.send(0x01, event);
        while (caller.call(kGetEvent) != static_cast<std::int32_t>(event.size())) {
            overtaken++;
        }
        times.push_back(Clock::now() - start);
    }
    return {{"frame_to_peer_us", median(times)},
            {"overtaken_share", static_cast<double>(overtaken) / count}};
}

Clock::duration run_commands() {
    return time_of([] {
        for (const char* command : kNetworkCommands) {
            if (std::system((std::string(command) + " >/dev/null 2>&1").c_str()) != 0) {
                throw std::runtime_error(std::string(command) + " fails here");
            }
        }
    });
}

// A query during a network update waits until the receive thread is done.
nlohmann::json update_delay(test::ScriptedChip& chip, RecordCaller& caller, int count) {
    Times delayed;
    Times commands;
    for (int i = 0; i < count; i++) {
        commands.push_back(run_commands());
        chip.send(kNetType, test::from_hex(kNetwork));
        delayed.push_back(time_of([&] { caller.call(kGetTime); }));
        while (caller.call(kGetEvent) < 0) {
        }
    }
    return {{"delayed_us", median(delayed)}, {"commands_us", median(commands)}};
}

// Until the snapshot has asked for everything that the wake-up needs.
Clock::duration start_until_asked(test::ScriptedChip& chip,
                                  std::optional<test::DaemonProcess>& daemon) {
    const std::size_t before = chip.count(0x93);
    return time_of([&] {
        daemon.emplace();
        if (!chip.wait_for(0x93, before + 1)) {
            throw std::runtime_error("the daemon does not ask for the store parameters");
        }
    });
}

// The chip reports that the server woke the camera, and the network comes up once the daemon has
// made all its queries: from exec to the connection at the server.
nlohmann::json wake_up(test::ScriptedChip& chip, int count) {
    Times whole;
    Times starts;
    Times commands;
    for (int i = 0; i < count; i++) {
        const test::RemoteServer server;
        Bytes wakeup(71, 0);
        wakeup[0] = 1;
        Bytes store(48, 0);
        const Bytes place{127,
                          0,
                          0,
                          1,
                          static_cast<std::uint8_t>(server.port()),
                          static_cast<std::uint8_t>(server.port() >> 8)};
        std::copy(place.begin(), place.end(), store.begin() + 38);
        chip.answer(0x93, store);
        chip.answer(0x82, Bytes(71, 0));
        std::optional<test::DaemonProcess> daemon;
        starts.push_back(start_until_asked(chip, daemon));
        daemon.reset();
        commands.push_back(run_commands());
        chip.answer(0x82, wakeup);
        whole.push_back(time_of([&] {
            start_until_asked(chip, daemon);
            chip.send(kNetType, test::from_hex(kNetwork));
            if (!server.called()) {
                throw std::runtime_error("the server is not called");
            }
        }));
    }
    return {{"exec_to_connection_us", median(whole)},
            {"steps_alone_us", median(starts) + median(commands) + kMeanNetworkPauseUs}};
}

nlohmann::json measure(const Options& options) {
    if (!options.in_world) {
        test::enter_private_world();
    }
    test::ScriptedChip chip;
    nlohmann::json result;
    {
        test::DaemonProcess daemon;
        if (!chip.wait_for(0x80)) {
            throw std::runtime_error("the daemon does not start");
        }
        RecordCaller caller(try_to_connect(test::kBusPath));
        median_call(caller, kGetTime, 20);
        result["bare_exchange_us"] = bare_exchange(options.exchanges);
        result["call_with_exchange_us"] = median_call(caller, kGetTime, options.exchanges);
        result["call_without_us"] = median_call(caller, kGetSnapshot, options.exchanges);
        result["event"] = event_path(chip, caller, options.exchanges);
        result["update"] = update_delay(chip, caller, options.updates);
    }
    result["wake_up"] = wake_up(chip, options.wake_ups);
    return result;
}

}  // namespace
}  // namespace quon::bench

int main(int argc, char** argv) {
    quon::bench::Options options;
    CLI::App app("Measures the daemon's ways to and from the chip");
    app.add_option("--exchanges", options.exchanges)->check(CLI::Range(1, 100'000));
    app.add_option("--updates", options.updates)->check(CLI::Range(1, 1000));
    app.add_option("--wake-ups", options.wake_ups)->check(CLI::Range(1, 1000));
    app.add_flag("--in-world", options.in_world,
                 "in a private world already: the network that is changed is not the machine's");
    CLI11_PARSE(app, argc, argv);
    return quon::bench::report(argv[0], [&] { return quon::bench::measure(options); });
}
