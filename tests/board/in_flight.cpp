#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "checks.h"
#include "figures.h"
#include "mcu_records.h"
#include "sockets.h"

namespace quon::board {

namespace {

// The first request holds the driver's request lock until its answer comes, late but in time; the
// others queue up for it.
constexpr char kFirst[] = "method.quon.mcu.get.wakeup.info";
constexpr char kOthers[] = "method.quon.mcu.get.time";
constexpr char kHoldBack[] = "fault get_wakeup_info delay 1700";

// In addition to the peers' threads, the daemon's own: main, bus, channel and hand-off.
constexpr int kOwnThreads = 4;

bool all_arrived(int pid, int count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    while (std::chrono::steady_clock::now() < end) {
        if (figures_of(pid).threads >= kOwnThreads + 2 * count) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

int count_bad_answers(const std::vector<BusPeer>& peers) {
    int bad = 0;
    for (size_t index = 0; index < peers.size(); index++) {
        const auto result = peers[index].receive();
        const int expected = index == 0 ? kMcuWakeupInfoSize : kMcuTimeSize;
        if (!result || result->id != index + 1 || result->result != expected) {
            bad++;
        }
    }
    return bad;
}

void report(const char* state, const Figures& figures) {
    std::printf("figures %s rss_kb=%ld private_dirty_kb=%ld anonymous_kb=%ld threads=%ld\n", state,
                figures.rss_kb, figures.private_dirty_kb, figures.anonymous_kb, figures.threads);
}

}  // namespace

// The others are certain to wait only once the chip has the first request.
bool send_all(const std::vector<BusPeer>& peers) {
    const bool held_back = chip_control("forget") && chip_control(kHoldBack);
    peers.front().send(DBUS_TYPE_METHOD, kFirst, {}, 1);
    const bool arrived = chip_control("wait-frame get_wakeup_info");
    for (size_t index = 1; index < peers.size(); index++) {
        peers[index].send(DBUS_TYPE_METHOD, kOthers, {}, static_cast<uint32_t>(index + 1));
    }
    return held_back && arrived;
}

int check_requests_in_flight(int count, int daemon_pid) {
    std::vector<BusPeer> peers(static_cast<size_t>(count));
    const bool sent = send_all(peers);
    const bool together = sent && all_arrived(daemon_pid, count);
    report(("in_flight=" + std::to_string(count)).c_str(), figures_of(daemon_pid));
    const int bad = count_bad_answers(peers);
    std::printf("%s %d requests in flight at the same moment\n", together ? "ok   " : "FAIL ",
                count);
    std::printf("%s %d of %d answered\n", bad == 0 ? "ok   " : "FAIL ", count - bad, count);
    return (together ? 0 : 1) + (bad == 0 ? 0 : 1);
}

int print_idle_figures(int daemon_pid, int seconds) {
    const uint64_t before = wake_ups_of(daemon_pid);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const uint64_t after = wake_ups_of(daemon_pid);
    const Figures figures = figures_of(daemon_pid);
    report("idle", figures);
    std::printf("figures wake_ups_per_second=%.1f\n",
                static_cast<double>(after - before) / static_cast<double>(seconds));
    return figures.rss_kb > 0 ? 0 : 1;
}

}  // namespace quon::board
