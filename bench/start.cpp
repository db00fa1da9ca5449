// The time from exec until a peer can connect and until the first answered call, and the memory
// then: this project's daemon and dbus-daemon with one service, alternating.
#include <poll.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <vector>

#include "child.h"
#include "peers/sdbus.h"
#include "peers/sdbus_bus.h"
#include "record_caller.h"
#include "report.h"
#include "timing.h"

namespace quon::bench {
namespace {

constexpr char kDaemonSocket[] = "/tmp/dbus-quon.mcu.daemon";
constexpr char kRunFlag[] = "/tmp/quon_mcu_daemon_run";
constexpr char kQuickCall[] = "method.quon.mcu.get.allwakeup.info";
constexpr int kCallers = 10;
constexpr auto kPatience = std::chrono::seconds(20);

struct Options {
    std::string daemon;
    std::string chip_link;
    std::string service;
    int starts = 5;
};

struct Figures {
    Times to_connect;
    Times to_answer;
    std::vector<long> idle_kib;
    std::vector<long> with_callers_kib;
};

int connect_soon(const std::string& path) {
    const Clock::time_point start = Clock::now();
    int socket = -1;
    while ((socket = try_to_connect(path)) < 0) {
        if (Clock::now() - start > kPatience) {
            fail(path);
        }
        usleep(20);
    }
    return socket;
}

void wait_for_file(const std::string& path) {
    const Clock::time_point start = Clock::now();
    while (!std::filesystem::exists(path)) {
        if (Clock::now() - start > kPatience) {
            fail(path);
        }
        usleep(500);
    }
}

void start_daemon(const Options& options, Figures& figures) {
    std::filesystem::remove(kDaemonSocket);
    std::filesystem::remove(kRunFlag);
    const Clock::time_point start = Clock::now();
    const Child daemon = spawn({options.daemon}, -1, {"LD_PRELOAD=" + options.chip_link});
    std::vector<std::unique_ptr<RecordCaller>> callers;
    callers.push_back(std::make_unique<RecordCaller>(connect_soon(kDaemonSocket)));
    figures.to_connect.push_back(Clock::now() - start);
    callers[0]->call(kQuickCall);
    figures.to_answer.push_back(Clock::now() - start);
    wait_for_file(kRunFlag);
    figures.idle_kib.push_back(resident_kib(daemon.pid()));
    for (int i = 0; i < kCallers; i++) {
        callers.push_back(std::make_unique<RecordCaller>(try_to_connect(kDaemonSocket)));
        callers.back()->call(kQuickCall);
    }
    figures.with_callers_kib.push_back(resident_kib(daemon.pid()));
}

// One byte says that the service has its name.
Child start_service(const Options& options, const std::string& path) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe");
    }
    Child service = spawn({options.service, path}, ends[1]);
    close(ends[1]);
    char told = 0;
    const bool ready = read(ends[0], &told, 1) == 1;
    close(ends[0]);
    if (!ready) {
        throw std::runtime_error("the service did not start");
    }
    return service;
}

void start_other(const Options& options, const std::string& folder, Figures& figures) {
    const std::string path = folder + "/bus";
    const std::vector<std::uint8_t> payload(10, 0x5A);
    std::filesystem::remove(path);
    const Clock::time_point start = Clock::now();
    const Child bus = start_dbus_daemon(folder, path);
    close(connect_soon(path));
    const Child service = start_service(options, path);
    figures.to_connect.push_back(Clock::now() - start);
    std::vector<sd_bus*> callers{open_sdbus(path)};
    call_sdbus(callers[0], kBusName, payload);
    figures.to_answer.push_back(Clock::now() - start);
    const auto resident = [&] { return resident_kib(bus.pid()) + resident_kib(service.pid()); };
    figures.idle_kib.push_back(resident());
    for (int i = 0; i < kCallers; i++) {
        callers.push_back(open_sdbus(path));
        call_sdbus(callers.back(), kBusName, payload);
    }
    figures.with_callers_kib.push_back(resident());
    for (sd_bus* caller : callers) {
        sd_bus_unref(caller);
    }
}

long median_of(std::vector<long> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

nlohmann::json shown(const Figures& figures) {
    return {{"to_connect_us", median(figures.to_connect)},
            {"to_answer_us", median(figures.to_answer)},
            {"idle_kib", median_of(figures.idle_kib)},
            {"with_callers_kib", median_of(figures.with_callers_kib)}};
}

nlohmann::json measure(const Options& options) {
    const std::string folder = "/tmp/quon-bench-start";
    std::filesystem::create_directories(folder);
    Figures ours;
    Figures other;
    for (int i = 0; i < options.starts; i++) {
        start_daemon(options, ours);
        start_other(options, folder, other);
    }
    std::filesystem::remove_all(folder);
    return {{"ours", shown(ours)}, {"peer", shown(other)}};
}

}  // namespace
}  // namespace quon::bench

void quon::bench::pause_as_the_bus_does() {}

int main(int argc, char** argv) {
    quon::bench::Options options;
    CLI::App app("Measures starts, beside a running simulated chip");
    app.add_option("--daemon", options.daemon, "its program")->required();
    app.add_option("--chip-link", options.chip_link, "preloaded into it")->required();
    app.add_option("--service", options.service, "the program bench_sdbus_service")->required();
    app.add_option("--starts", options.starts)->check(CLI::Range(1, 1000))->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    return quon::bench::report(argv[0], [&] { return quon::bench::measure(options); });
}
