// A chip's driver for the real entry of the daemon: it prints when it is called, and does what the
// environment asks for.

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "mcu_ops.h"
#include "quon_log.h"
#include "quon_mcu_services.h"

namespace {

int number_from(const char* variable, int otherwise) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : otherwise;
}

const char* presence(const char* path) {
    return access(path, F_OK) == 0 ? "there" : "not there";
}

// A fault in the midst of the signal handler's own lines.
void fault_in_handler(QnLogRecord record) {  // NOLINT(performance-unnecessary-value-param)
    if (std::string_view(record.func) == "sig_handler") {
        raise(SIGSEGV);
    }
}

// Before main: every log line is shown, in a form that has no time and no line number.
[[gnu::constructor]] void arrange_log() {
    QnLogProfile profile{};
    QnLogGetProfile(&profile);
    profile.color = 0;
    profile.hook = number_from("CHIP_FAULTY_HOOK", 0) != 0 ? fault_in_handler : nullptr;
    profile.level_limit = static_cast<unsigned>(number_from("CHIP_LOG_LEVEL", QN_LOG_DEBUG));
    profile.fmt_mask = QN_LOG_FMT_LEVEL | QN_LOG_FMT_TAG | QN_LOG_FMT_FILE | QN_LOG_FMT_FUNC;
    QnLogSetProfile(profile);
}

std::int32_t silent_query(std::uint8_t*) {
    return 0;
}

std::int32_t first_query(std::uint8_t*) {
    std::printf("snapshot begins, run flag %s\n", presence("/tmp/quon_mcu_daemon_run"));
    return 0;
}

std::int32_t last_query(char*) {
    std::puts("snapshot ends");
    return 0;
}

mcu_ops chip_table() {
    mcu_ops ops{};
    ops.get_wakeup_info = first_query;
    ops.get_time = silent_query;
    ops.get_battery_status = silent_query;
    ops.get_wifi_status = silent_query;
    ops.get_wifi_info = silent_query;
    ops.get_store_params = silent_query;
    ops.get_version = last_query;
    return ops;
}

// Another part of the process that puts the daemon's handler on one more signal.
void share_handler(int number) {
    struct sigaction daemons {};
    sigaction(SIGTERM, nullptr, &daemons);
    sigaction(number, &daemons, nullptr);
}

constexpr rlim_t kStackRoom = 1 << 20;

int fill_stack(const volatile char* above, std::size_t frames) {
    volatile char frame[1024];
    frame[0] = *above;
    return frames == 0 ? 0 : fill_stack(frame, frames - 1) + frame[0];
}

// On the main thread, whose stack grows to the limit and no further.
void overflow_stack() {
    rlimit limit{};
    getrlimit(RLIMIT_STACK, &limit);
    limit.rlim_cur = kStackRoom;
    setrlimit(RLIMIT_STACK, &limit);
    const char first = 0;
    std::printf("%d\n", fill_stack(&first, 64 * kStackRoom / 1024));
}

bool bus_listens() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        std::string word;
        std::string name;
        std::string state;
        status >> word >> name;
        while (status >> word && word != "State:") {
        }
        status >> state;
        if (name == "quon.mcu.daemon" && state == "S") {
            return true;
        }
    }
    return false;
}

// A real chip takes a while to be probed: the bus waits for its first peer by then.
void let_bus_listen() {
    for (int tries = 0; tries < 10000 && !bus_listens(); tries++) {
        usleep(1000);
    }
}

}  // namespace

const mcu_ops* mcu_get_ops_handle() {
    static const mcu_ops table = chip_table();
    return &table;
}

std::int32_t mcu_probe_init() {
    let_bus_listen();
    std::printf("probe, services %s, run flag %s\n", presence("/tmp/dbus-quon.mcu.daemon"),
                presence("/tmp/quon_mcu_daemon_run"));
    if (const int number = number_from("CHIP_SHARES_HANDLER", 0); number != 0) {
        share_handler(number);
    }
    if (number_from("CHIP_OVERFLOWS_STACK", 0) != 0) {
        overflow_stack();
    }
    return number_from("CHIP_PROBE_RESULT", 0);
}
