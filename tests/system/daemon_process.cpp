#include "daemon_process.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "launch.h"

namespace quon::test {

namespace fs = std::filesystem;

DaemonProcess::DaemonProcess(const Environment& environment,
                             const std::vector<std::string>& through) {
    LaunchCommand launch = daemon_launch();
    launch.command.insert(launch.command.begin(), through.begin(), through.end());
    launch.environment.emplace_back("HI3861L_SIM_SOCKET", kChipSocket);
    for (const auto& [name, value] : environment) {
        std::erase_if(launch.environment, [&](const auto& old) { return old.first == name; });
        launch.environment.emplace_back(name, value);
    }
    process_ = std::make_unique<ChildProcess>(
        ChildProcess::Options{.command = launch.command,
                              .environment = launch.environment,
                              .output = ChildProcess::Output::kTerminal,
                              .separate_errors = false,
                              .input = {}});
}

std::vector<LogLine> DaemonProcess::log(std::size_t from) const {
    return log_lines_of(output().substr(from));
}

bool DaemonProcess::has_logged(const Expected& expected, std::size_t from) const {
    const std::vector<LogLine> lines = log(from);
    return std::find(lines.begin(), lines.end(), expected) != lines.end();
}

bool DaemonProcess::wait_for_log(const Expected& expected, std::size_t from,
                                 std::chrono::milliseconds bound) const {
    return wait_until([&] { return has_logged(expected, from); }, bound);
}

std::multiset<std::string> DaemonProcess::thread_names() const {
    std::multiset<std::string> names;
    std::error_code gone;
    const fs::path tasks = "/proc/" + std::to_string(pid()) + "/task";
    for (fs::directory_iterator entry(tasks, gone), end; !gone && entry != end;
         entry.increment(gone)) {
        std::string name;
        try {
            if (std::getline(std::ifstream(entry->path() / "comm"), name)) {
                names.insert(name);
            }
        } catch (const std::ios_base::failure&) {
            continue;  // the thread has ended between the two
        }
    }
    return names;
}

bool DaemonProcess::wait_for_thread(const std::string& name,
                                    std::chrono::milliseconds bound) const {
    return wait_until([&] { return thread_names().contains(name); }, bound);
}

std::chrono::milliseconds DaemonProcess::processor_time() const {
    std::ifstream file("/proc/" + std::to_string(pid()) + "/stat");
    std::string line;
    std::getline(file, line);
    // After the name's closing parenthesis: state is the first word, utime the 12th, stime the
    // 13th.
    const std::vector<std::string> words = words_of(line.substr(line.rfind(')') + 1));
    const long ticks = std::stol(words.at(11)) + std::stol(words.at(12));
    return std::chrono::milliseconds(ticks * 1000 / sysconf(_SC_CLK_TCK));
}

std::multiset<std::string> DaemonProcess::descriptors() const {
    std::multiset<std::string> targets;
    std::error_code gone;
    const fs::path folder = "/proc/" + std::to_string(pid()) + "/fd";
    for (fs::directory_iterator entry(folder, gone), end; !gone && entry != end;
         entry.increment(gone)) {
        std::error_code closed;
        const fs::path target = fs::read_symlink(entry->path(), closed);
        if (!closed) {
            targets.insert(target.string());
        }
    }
    return targets;
}

std::string sanitizer_report(const std::string& output) {
    for (const char* sign : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                             "WARNING: ThreadSanitizer", "AddressSanitizer:DEADLYSIGNAL"}) {
        if (output.find(sign) != std::string::npos) {
            return output;
        }
    }
    return {};
}

}  // namespace quon::test
