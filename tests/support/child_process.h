// Programs started by a test. They never outlive the test.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "waiting.h"

namespace quon::test {

struct ExitStatus {
    bool exited = false;  // false: ended by a signal
    int code = 0;         // exit status, or the signal's number
    bool operator==(const ExitStatus&) const = default;
};

// A started program. A thread continuously reads its standard output and error, so a full pipe
// never blocks it. Killed and reaped when the object is destroyed, and killed by the kernel when
// the thread that created it ends. The methods are for one thread.
class ChildProcess {
  public:
    enum class Output { kPipe, kTerminal };  // a terminal: stdio prints each line at once
    struct Options {
        std::vector<std::string> command;  // the first word is looked up in PATH
        std::vector<std::pair<std::string, std::string>>
            environment;  // in addition to this process's
        Output output = Output::kPipe;
        bool separate_errors = false;  // otherwise standard error joins standard output
        std::string input;             // the child's standard input, followed by its end
    };

    // Throws std::runtime_error if the program cannot be started (execvp included).
    explicit ChildProcess(const Options& options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    // Everything printed before the call.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;  // empty unless separate_errors

    // Waits until the output contains `text` (from byte `from` of the output on).
    bool wait_for_text(const std::string& text, std::size_t from = 0,
                       std::chrono::milliseconds bound = kLongEnough) const;
    // The first complete line (without its end) that contains `part`.
    std::optional<std::string> wait_for_line(const std::string& part, std::size_t from = 0,
                                             std::chrono::milliseconds bound = kLongEnough) const;

    void send_signal(int signal_number) const;  // does nothing once it has ended
    // The exit status once the program has ended by itself and its output has been read completely.
    // Nothing if the time limit passes first.
    std::optional<ExitStatus> wait_exit(std::chrono::milliseconds bound = kLongEnough);
    // SIGTERM, then SIGKILL after the time limit.
    ExitStatus terminate(std::chrono::milliseconds bound = kLongEnough);
    [[nodiscard]] bool running();

  private:
    struct Stream {
        int descriptor = -1;
        int terminal = -1;  // the child's end, if it is a terminal
        std::size_t marks_written = 0;
        std::size_t marks_read = 0;
        std::string text;
        std::thread reader;
    };
    void start_reader(Stream& stream, int descriptor, int terminal);
    void read_all(Stream& stream);
    void read_once(Stream& stream, bool& open);
    void catch_up(Stream& stream, std::unique_lock<std::mutex>& guard) const;
    bool reap();
    void finish_readers();

    pid_t pid_ = -1;
    std::optional<ExitStatus> status_;
    std::atomic<bool> ended_{false};
    mutable std::mutex lock_;
    mutable std::condition_variable grown_;
    mutable Stream out_;
    mutable Stream err_;
};

struct Result {
    ExitStatus status;
    std::string out;
    std::string err;
};

// Runs a program until it ends. Throws if it has not ended in time.
Result run(const std::vector<std::string>& command, const std::string& input = {},
           std::chrono::milliseconds bound = kLongEnough);

// The words of a text, split at blanks.
std::vector<std::string> words_of(const std::string& text);

}  // namespace quon::test
