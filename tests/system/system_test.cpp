#include "system_test.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "private_world.h"

namespace quon::test {

namespace {

constexpr std::uint8_t kLastSnapshotQuery = 0x80;

// Only matters when several tests run in one process.
void tidy_the_world() {
    run({"/bin/sh", "-c",
         "rm -rf /tmp/dbus-* /tmp/ws_socket /tmp/hi3861l-sim* /tmp/quon_mcu_daemon_run;"
         "ifconfig wlan0 0.0.0.0 down; : >/etc/resolv.conf"});
}

constexpr char kHandOffThread[] = "webpreinit";

std::string first_line(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

// How often a thread has gone to sleep.
std::optional<long> sleeps_of(const std::filesystem::path& thread) {
    constexpr std::string_view kField = "voluntary_ctxt_switches:";
    std::ifstream status(thread / "status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(kField)) {
            return std::stol(line.substr(kField.size()));
        }
    }
    return std::nullopt;
}

// Nothing without such a thread.
std::optional<long> sleeps_of(pid_t process, const std::string& name) {
    std::error_code ignored;
    const std::string folder = "/proc/" + std::to_string(process) + "/task";
    for (const auto& thread : std::filesystem::directory_iterator(folder, ignored)) {
        if (first_line(thread.path() / "comm") == name) {
            return sleeps_of(thread.path());
        }
    }
    return std::nullopt;
}

}  // namespace

Bytes pattern(std::size_t size, std::uint8_t first) {
    Bytes bytes(size);
    std::uint8_t value = first;
    for (std::uint8_t& byte : bytes) {
        byte = value;
        value = static_cast<std::uint8_t>(value == 251 ? 1 : value + 1);  // never 0
    }
    return bytes;
}

Bytes joined(const Bytes& front, const Bytes& back) {
    Bytes bytes = front;
    bytes.insert(bytes.end(), back.begin(), back.end());
    return bytes;
}

Bytes padded(const Bytes& bytes, std::size_t size) {
    Bytes all = bytes;
    all.resize(size, 0);
    return all;
}

Bytes little_endian(std::uint32_t value, std::size_t size) {
    Bytes bytes;
    for (std::size_t index = 0; index < size; ++index) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * index)));
    }
    return bytes;
}

std::uint32_t word_at(const Bytes& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

Bytes slice(const Bytes& bytes, std::size_t offset, std::size_t size) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(offset, bytes.size()));
    const auto left = static_cast<std::size_t>(bytes.end() - first);
    return {first, first + static_cast<std::ptrdiff_t>(std::min(size, left))};
}

std::string text_of(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

bool file_exists(const std::string& path) {
    struct stat unused {};
    return lstat(path.c_str(), &unused) == 0;
}

std::vector<pid_t> children_of(pid_t parent) {
    std::vector<pid_t> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        if (!isdigit(entry.path().filename().string().front())) {
            continue;
        }
        // "pid (name) state parent ...": the name may hold anything, so from the last parenthesis.
        const std::string stat = content_of(entry.path() / "stat");
        const std::size_t name_end = stat.rfind(')');
        const std::vector<std::string> words =
            words_of(name_end == std::string::npos ? std::string() : stat.substr(name_end + 1));
        if (words.size() > 1 && words[1] == std::to_string(parent)) {
            children.push_back(std::stoi(stat));
        }
    }
    return children;
}

bool feed_fifo(const std::string& path, const std::string& text) {
    const int pipe = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (pipe < 0) {
        return false;
    }
    const bool written = write(pipe, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(pipe);
    return written;
}

void SystemTest::SetUp() {
    enter_private_world();
    tidy_the_world();
}

void SystemTest::check_end(DaemonProcess& daemon) {
    if (daemon.process().running()) {
        EXPECT_EQ(daemon.process().terminate(), (ExitStatus{.exited = true, .code = 1}))
            << daemon.output();
    }
    EXPECT_EQ(sanitizer_report(daemon.output()), "");
    if (HasFailure()) {
        std::cerr << "---- the daemon's output\n" << without_colours(daemon.output()) << "----\n";
    }
}

void SystemTest::TearDown() {
    peer_.reset();
    for (const std::unique_ptr<DaemonProcess>& daemon : daemons_) {
        check_end(*daemon);
    }
    daemons_.clear();
    chip_.reset();
}

ScriptedChip& SystemTest::start_chip() {
    chip_ = std::make_unique<ScriptedChip>();
    return *chip_;
}

void SystemTest::restart_chip() {
    chip_.reset();  // its socket's path, too
    start_chip();
}

DaemonProcess& SystemTest::start_daemon(const DaemonProcess::Environment& environment) {
    daemons_.push_back(std::make_unique<DaemonProcess>(environment));
    return *daemons_.back();
}

DaemonProcess& SystemTest::start_daemon_after(const std::string& before,
                                              const std::string& redirections) {
    const std::string script = before + "exec \"$@\" " + redirections;
    daemons_.push_back(std::make_unique<DaemonProcess>(
        DaemonProcess::Environment{}, std::vector<std::string>{"/bin/sh", "-c", script, "sh"}));
    return *daemons_.back();
}

void SystemTest::wait_until_started() {
    // The version is the last thing that the snapshot asks for, and the run flag comes before it.
    ASSERT_TRUE(chip().wait_for(kLastSnapshotQuery)) << daemon().output();
    ASSERT_TRUE(file_exists(kRunFlag));
}

void SystemTest::start() {
    start_chip();
    start_daemon();
    wait_until_started();
    ASSERT_TRUE(daemon().process().wait_for_text("ws init ip: 0-0\n"));
    // A line can be read before its thread is back from writing it, and an end at that moment
    // writes it once more.
    const auto before = sleeps_of(daemon().pid(), kHandOffThread);
    ASSERT_TRUE(!before ||
                wait_until([&] { return sleeps_of(daemon().pid(), kHandOffThread) != before; }));
}

BusPeer& SystemTest::peer() {
    if (!peer_) {
        peer_ = std::make_unique<BusPeer>();
    }
    return *peer_;
}

void SystemTest::set_level(std::uint8_t level) {
    const std::size_t mark = daemon().mark();
    peer().notify("signal.quon.mcu.set.log.profile", Bytes{1, level});
    ASSERT_TRUE(wait_for_log(handler_finds_no_slot(expected::service("set.log.profile")), mark));
}

BusRecord SystemTest::call_answered(std::string_view name, const Bytes& request, std::uint8_t type,
                                    const Bytes& answer) {
    chip().answer(type, answer);
    BusRecord result = peer().call(name, request);
    chip().answer_as_usual(type);
    return result;
}

void SystemTest::expect_still_serving() {
    BusPeer other;
    const BusRecord context = other.call("method.quon.mcu.get.allwakeup.info");
    EXPECT_EQ(context.result, 400);
    const BusRecord time = other.call("method.quon.mcu.get.time");
    EXPECT_EQ(time.result, 10);
}

}  // namespace quon::test
