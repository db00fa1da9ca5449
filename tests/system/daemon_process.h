// The daemon as a child process, unmodified, with its chip behind the preloaded chip link.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "child_process.h"
#include "log_lines.h"

namespace quon::test {

inline constexpr char kRunFlag[] = "/tmp/quon_mcu_daemon_run";
inline constexpr char kBusPath[] = "/tmp/dbus-quon.mcu.daemon";
inline constexpr char kHandOffPath[] = "/tmp/ws_socket";
inline constexpr char kChipSocket[] = "/tmp/hi3861l-sim.sock";

// The output, if it holds a report of a sanitizer; otherwise empty.
std::string sanitizer_report(const std::string& output);

class DaemonProcess {
  public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    // `through` are words in front of its command: a program that becomes it in the end.
    explicit DaemonProcess(const Environment& environment = {},
                           const std::vector<std::string>& through = {});

    [[nodiscard]] ChildProcess& process() { return *process_; }
    [[nodiscard]] pid_t pid() const { return process_->pid(); }
    // What it printed so far, as it came.
    [[nodiscard]] std::string output() const { return process_->output(); }
    [[nodiscard]] std::size_t mark() const { return process_->output().size(); }

    // Its log lines since the mark.
    [[nodiscard]] std::vector<LogLine> log(std::size_t from = 0) const;
    bool wait_for_log(const Expected& expected, std::size_t from = 0,
                      std::chrono::milliseconds bound = kLongEnough) const;
    [[nodiscard]] bool has_logged(const Expected& expected, std::size_t from = 0) const;

    // Names of its threads as the system shows them, the first thread's among them.
    [[nodiscard]] std::multiset<std::string> thread_names() const;
    bool wait_for_thread(const std::string& name,
                         std::chrono::milliseconds bound = kLongEnough) const;
    // Processor time that it has used so far.
    [[nodiscard]] std::chrono::milliseconds processor_time() const;
    // What its descriptors refer to.
    [[nodiscard]] std::multiset<std::string> descriptors() const;

  private:
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace quon::test
