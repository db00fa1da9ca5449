// Entry of the daemon: starts everything in a fixed order, then sleeps until a signal ends the
// process.

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "daemon_log.h"
#include "dbus_socket_common.h"
#include "mcu_ops.h"
#include "quon_descriptor.h"
#include "quon_platform.h"
#include "service_table.h"
#include "startup_snapshot.h"

namespace {

constexpr char kVersion[] = "V1.0";
constexpr rlim_t kDescriptors = 1024;  // the hand-off's select cannot watch more
// There are many threads with shallow call chains; default stacks would fill the address space.
constexpr size_t kBusThreadStack = size_t{64} * 1024;
constexpr size_t kFaultStack = size_t{64} * 1024;
constexpr unsigned kLongestEndS = 1;
constexpr useconds_t kRunFlagPauseUs = 1000;

struct fatal_signal {
    int number;
    const char* line;
};

// In order of installation.
constexpr auto kFatalSignals = std::to_array<fatal_signal>({
    {SIGINT, "SIGINT\n"},
    {SIGQUIT, "SIGQUIT\n"},
    {SIGTERM, "SIGTERM\n"},
    {SIGSEGV, "SIGSEGV\n"},
    {SIGILL, "SIGILL\n"},
    {SIGABRT, "SIGABRT\n"},
    {SIGFPE, "SIGFPE\n"},
});

DbusInfo* bus_handle;

pthread_t main_thread;
std::atomic<bool> process_ends;
std::atomic<bool> run_flag_in_making;
thread_local bool in_handler;

// Line buffering keeps every complete line in a log file, whenever the process is killed. The
// buffer is static, because a thread interrupted by a signal may hold the heap's lock.
void buffer_output_by_lines() {
    static char buffer[BUFSIZ];
    setvbuf(stdout, buffer, _IOLBF, sizeof(buffer));
}

void raise_descriptor_limit() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < kDescriptors) {
        limit.rlim_cur = std::min(kDescriptors, limit.rlim_max);
        (void)setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void quon_mcu_set_run_flag() {
    FILE* flag = quon_create_file(QUON_MCU_RUN_FLAG_PATH);
    if (flag == nullptr) {
        DAEMON_LOG(QN_LOG_ERROR, "fopen %s failed\n", QUON_MCU_RUN_FLAG_PATH);
        return;
    }
    fclose(flag);
}

// The process may end during start-up: no flag is created once the handler has removed it.
void make_run_flag_unless_ending() {
    run_flag_in_making = true;
    if (!process_ends) {
        quon_mcu_set_run_flag();
    }
    run_flag_in_making = false;
}

void wait_for_run_flag_in_making() {
    while (run_flag_in_making && pthread_equal(pthread_self(), main_thread) == 0) {
        usleep(kRunFlagPauseUs);
    }
}

void quon_mcu_clear_run_flag() {
    if (remove(QUON_MCU_RUN_FLAG_PATH) != 0) {
        DAEMON_LOG(QN_LOG_ERROR, "remove %s failed\n", QUON_MCU_RUN_FLAG_PATH);
    }
}

// Takes nothing that another thread, or the interrupted one, may hold.
[[noreturn]] void end_at_once(int) {
    unlink(QUON_MCU_RUN_FLAG_PATH);
    _exit(1);
}

void unblock(int signum) {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signum);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
}

// The handler's lines and `exit` may block for ever: on the log's mutex or the stream's lock, if
// the interrupted thread holds it, or on a reader of standard output. The alarm, blocked until now,
// limits that.
void bound_the_end() {
    if (process_ends.exchange(true)) {
        return;
    }
    signal(SIGALRM, SIG_IGN);  // discards alarms that came while it was blocked
    signal(SIGALRM, end_at_once);
    unblock(SIGALRM);
    alarm(kLongestEndS);
}

// A fault inside the handler, caused by what the signal left half done, must re-enter it: with its
// signal blocked it would end the process bypassing the handler.
void enter_handler(int signum) {
    if (signum == SIGSEGV || signum == SIGILL || signum == SIGFPE) {
        if (in_handler) {
            end_at_once(signum);
        }
        unblock(signum);
    }
    in_handler = true;
}

// Every signal, SIGTERM included, ends the process with status 1. The bus and the driver are left
// to the operating system.
void sig_handler(int signum) {
    enter_handler(signum);
    bound_the_end();
    DAEMON_LOG(QN_LOG_DEBUG, "\n The progress exited because of the signal: ");
    const auto known =
        std::find_if(kFatalSignals.begin(), kFatalSignals.end(),
                     [signum](const fatal_signal& row) { return row.number == signum; });
    if (known == kFatalSignals.end()) {
        DAEMON_LOG(QN_LOG_DEBUG, "signum (%d)\n", signum);
    } else if (signum == SIGABRT) {
        puts("SIGABRT");  // bypassing the log: intended
    } else {
        DAEMON_LOG(QN_LOG_DEBUG, "%s", known->line);
    }
    wait_for_run_flag_in_making();
    quon_mcu_clear_run_flag();
    // Ends like any other exit; bound_the_end stops it if it would wait too long.
    QUON_ANALYZER_OFF("-Wanalyzer-unsafe-call-within-signal-handler")
    exit(1);
    QUON_ANALYZER_ON
}

// The main thread handles its stack overflow on this stack. Bus threads have no second stack: their
// handlers do not come near the end of theirs.
void arrange_full_stack() {
    static char memory[kFaultStack];
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = sizeof(memory);
    sigaltstack(&stack, nullptr);
    struct sigaction fault = {};
    sigaction(SIGSEGV, nullptr, &fault);
    fault.sa_flags |= SA_ONSTACK;
    sigaction(SIGSEGV, &fault, nullptr);
}

void arrange_signals() {
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGALRM);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    main_thread = pthread_self();
    for (const fatal_signal& row : kFatalSignals) {
        signal(row.number, sig_handler);
    }
    arrange_full_stack();
}

}  // namespace

int main() {
    raise_descriptor_limit();
    if (!quon_open_standard_streams()) {
        return -1;
    }
    buffer_output_by_lines();
    quon_limit_malloc_arenas();
    Dbus_SetThreadStack(kBusThreadStack);
    DAEMON_LOG(QN_LOG_INFO, "Ver:%s Build time: %s %s\n", kVersion, __DATE__, __TIME__);
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
    make_run_flag_unless_ending();
    quon_mcu_startup_snapshot();
    for (;;) {
        sleep(1);
    }
}
