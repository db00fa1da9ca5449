#include "launch.h"

#include <cstdlib>

#include "child_process.h"
#include "preload_path.h"

namespace quon::test {

namespace {

std::string setting(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

// The preloaded library is no part of a sanitizer's program, and comes before its run-time library.
std::string with_option(const char* variable, const std::string& option) {
    const std::string given = setting(variable, "");
    return given.empty() ? option : given + ":" + option;
}

}  // namespace

std::string daemon_program() {
    return setting("QUON_TEST_DAEMON", QUON_DAEMON);
}

LaunchCommand daemon_launch() {
    LaunchCommand launch;
    launch.command = words_of(setting("QUON_TEST_DAEMON_PREFIX", ""));
    const std::string link = setting("QUON_TEST_CHIP_LINK", QUON_CHIP_LINK);
    if (launch.command.empty() && link != "none") {
        launch.environment.emplace_back("LD_PRELOAD", sim::preload_entry(link));
    }
    launch.command.push_back(daemon_program());
    // The signal handler logs and exits by intention.
    launch.environment.emplace_back(
        "TSAN_OPTIONS", with_option("TSAN_OPTIONS", "report_signal_unsafe=0:atexit_sleep_ms=0"));
    launch.environment.emplace_back("ASAN_OPTIONS",
                                    with_option("ASAN_OPTIONS", "verify_asan_link_order=0"));
    return launch;
}

LaunchCommand simulator_launch() {
    LaunchCommand launch;
    launch.command = words_of(setting("QUON_TEST_SIM_PREFIX", ""));
    launch.command.push_back(setting("QUON_TEST_SIM", QUON_SIM));
    return launch;
}

std::vector<std::string> client_launch() {
    std::vector<std::string> command = words_of(setting("QUON_TEST_CLIENT_PREFIX", ""));
    command.push_back(setting("QUON_TEST_CLIENT", QUON_CLIENT));
    return command;
}

}  // namespace quon::test
