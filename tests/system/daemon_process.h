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

    // `through`: a wrapper command that finally becomes the daemon.
    explicit DaemonProcess(const Environment& environment = {},
                           const std::vector<std::string>& through = {});

    [[nodiscard]] ChildProcess& process() { return *process_; }
    [[nodiscard]] pid_t pid() const { return process_->pid(); }
    // Its whole output so far, unprocessed.
    [[nodiscard]] std::string output() const { return process_->output(); }
    [[nodiscard]] std::size_t mark() const { return process_->output().size(); }

    // Its log lines since the mark.
    [[nodiscard]] std::vector<LogLine> log(std::size_t from = 0) const;
    bool wait_for_log(const Expected& expected, std::size_t from = 0,
                      std::chrono::milliseconds bound = kLongEnough) const;
    [[nodiscard]] bool has_logged(const Expected& expected, std::size_t from = 0) const;

    // Its threads' names as the system shows them, including the main thread's.
    [[nodiscard]] std::multiset<std::string> thread_names() const;
    bool wait_for_thread(const std::string& name,
                         std::chrono::milliseconds bound = kLongEnough) const;
    // Processor time used so far.
    [[nodiscard]] std::chrono::milliseconds processor_time() const;
    // The targets of its descriptors.
    [[nodiscard]] std::multiset<std::string> descriptors() const;

  private:
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace quon::test
