// Entry of the daemon: start in a fixed order, then sleep until a signal ends the process.

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "daemon_log.h"
#include "mcu_ops.h"
#include "quon_platform.h"
#include "service_table.h"
#include "startup_snapshot.h"

namespace {

constexpr char VERSION[] = "V1.0";

struct fatal_signal {
    int number;
    const char* line;
};

// In the order of their installation.
constexpr auto fatal_signals = std::to_array<fatal_signal>({
    {SIGINT, "SIGINT\n"},
    {SIGQUIT, "SIGQUIT\n"},
    {SIGTERM, "SIGTERM\n"},
    {SIGSEGV, "SIGSEGV\n"},
    {SIGILL, "SIGILL\n"},
    {SIGABRT, "SIGABRT\n"},
    {SIGFPE, "SIGFPE\n"},
});

DbusInfo* bus_handle;

void quon_mcu_set_run_flag() {
    FILE* flag = fopen(QUON_MCU_RUN_FLAG_PATH, "wb");
    if (flag == nullptr) {
        DAEMON_LOG(QN_LOG_ERROR, "fopen %s failed\n", QUON_MCU_RUN_FLAG_PATH);
        return;
    }
    fclose(flag);
}

void quon_mcu_clear_run_flag() {
    if (remove(QUON_MCU_RUN_FLAG_PATH) != 0) {
        DAEMON_LOG(QN_LOG_ERROR, "remove %s failed\n", QUON_MCU_RUN_FLAG_PATH);
    }
}

// Ends the process with status 1 for every signal, SIGTERM included. The bus and the driver are
// left to the operating system.
void sig_handler(int signum) {
    DAEMON_LOG(QN_LOG_DEBUG, "\n The progress exited because of the signal: ");
    const auto known =
        std::find_if(fatal_signals.begin(), fatal_signals.end(),
                     [signum](const fatal_signal& row) { return row.number == signum; });
    if (known == fatal_signals.end()) {
        DAEMON_LOG(QN_LOG_DEBUG, "signum (%d)\n", signum);
    } else if (signum == SIGABRT) {
        puts("SIGABRT");  // past the log: intended
    } else {
        DAEMON_LOG(QN_LOG_DEBUG, "%s", known->line);
    }
    quon_mcu_clear_run_flag();
    exit(1);
}

void arrange_signals() {
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGALRM);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    for (const fatal_signal& row : fatal_signals) {
        signal(row.number, sig_handler);
    }
}

}  // namespace

int main() {
    quon_limit_malloc_arenas();
    DAEMON_LOG(QN_LOG_INFO, "Ver:%s Build time: %s %s\n", VERSION, __DATE__, __TIME__);
    arrange_signals();

    bus_service services[QUON_MCU_SERVICE_COUNT];
    std::copy_n(quon_mcu_bus_services, QUON_MCU_SERVICE_COUNT, services);
    bus_handle = nullptr;
    // The services are open before the driver is up: intended.
    if (quon_mcu_dbus_server_init(&bus_handle, services, QUON_MCU_SERVICE_COUNT) < 0) {
        DAEMON_LOG(QN_LOG_ERROR, "quon_mcu_dbus_server_init failed\n");
        return -1;
    }
    if (mcu_probe_init() < 0) {
        DAEMON_LOG(QN_LOG_ERROR, "mcu_probe_init failed\n");
        quon_mcu_dbus_server_deinit(&bus_handle);
        return 0;  // not -1: intended
    }
    quon_mcu_set_run_flag();
    quon_mcu_startup_snapshot();
    for (;;) {
        sleep(1);
    }
}
