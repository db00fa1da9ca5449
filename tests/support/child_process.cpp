#include "child_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace quon::test {

namespace {

constexpr int kPollMs = 10;
constexpr char kMark = 0x16;  // never printed by a program

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct Ends {
    int parent = -1;
    int child = -1;
};

Ends make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    return {.parent = ends[0], .child = ends[1]};
}

// Raw mode, so that the bytes arrive as printed.
Ends make_terminal() {
    termios mode{};
    cfmakeraw(&mode);
    Ends ends;
    if (openpty(&ends.parent, &ends.child, nullptr, &mode, nullptr) != 0) {
        fail("openpty");
    }
    fcntl(ends.parent, F_SETFD, FD_CLOEXEC);
    fcntl(ends.child, F_SETFD, FD_CLOEXEC);
    return ends;
}

int make_input(const std::string& text) {
    const int file = memfd_create("input", MFD_CLOEXEC);
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        fail("memfd_create");
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environment_with(
    const std::vector<std::pair<std::string, std::string>>& added) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        bool replaced = false;
        for (const auto& [name, value] : added) {
            replaced = replaced || text.starts_with(name + "=");
        }
        if (!replaced) {
            all.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        all.push_back(std::string(name).append("=").append(value));
    }
    return all;
}

struct Launch {
    char** arguments;
    char** environment;
    int input;
    int output;
    int errors;
    int failure;  // written to if the program cannot be executed
    pid_t parent;
};

// Between fork and exec: only system calls.
[[noreturn]] void become_program(const Launch& launch) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launch.parent) {
        _exit(127);
    }
    dup2(launch.input, 0);
    dup2(launch.output, 1);
    dup2(launch.errors, 2);
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);  // no descriptor of this process is inherited
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvpe(launch.arguments[0], launch.arguments, launch.environment);
    const int error = errno;
    (void)!write(launch.failure, &error, sizeof(error));
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const Options& options) {
    std::vector<std::string> words = options.command;
    std::vector<std::string> variables = environment_with(options.environment);
    std::vector<char*> arguments = pointers_to(words);
    std::vector<char*> environment = pointers_to(variables);
    const Ends out = options.output == Output::kTerminal ? make_terminal() : make_pipe();
    const Ends err = options.separate_errors ? make_pipe() : Ends{};
    const Ends failure = make_pipe();
    const int input = make_input(options.input);
    const Launch launch{.arguments = arguments.data(),
                        .environment = environment.data(),
                        .input = input,
                        .output = out.child,
                        .errors = options.separate_errors ? err.child : out.child,
                        .failure = failure.child,
                        .parent = getpid()};
    pid_ = fork();
    if (pid_ == 0) {
        become_program(launch);
    }
    const bool terminal = options.output == Output::kTerminal;
    for (const int used : {input, terminal ? -1 : out.child, err.child, failure.child}) {
        if (used >= 0) {
            close(used);
        }
    }
    int error = pid_ < 0 ? errno : 0;
    const bool failed = pid_ < 0 || read(failure.parent, &error, sizeof(error)) > 0;
    close(failure.parent);
    if (failed) {
        if (pid_ > 0) {
            waitpid(pid_, nullptr, 0);
        }
        close(out.parent);
        if (terminal) {
            close(out.child);
        }
        if (err.parent >= 0) {
            close(err.parent);
        }
        throw std::system_error(error, std::generic_category(), "cannot start " + words.front());
    }
    start_reader(out_, out.parent, terminal ? out.child : -1);
    if (options.separate_errors) {
        start_reader(err_, err.parent, -1);
    }
}

ChildProcess::~ChildProcess() {
    if (!reap()) {
        kill(pid_, SIGKILL);
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
    finish_readers();
}

void ChildProcess::start_reader(Stream& stream, int descriptor, int terminal) {
    stream.descriptor = descriptor;
    stream.terminal = terminal;
    stream.reader = std::thread([this, &stream] { read_all(stream); });
}

// Ends at the end of the stream, or when the program has ended and nothing more arrives: a
// grandchild may keep the other end open for longer.
void ChildProcess::read_all(Stream& stream) {
    bool open = true;
    while (open) {
        const bool was_ended = ended_;
        pollfd entry{.fd = stream.descriptor, .events = POLLIN, .revents = 0};
        const int ready = poll(&entry, 1, kPollMs);
        if (ready == 0 && was_ended) {
            return;
        }
        if (ready > 0) {
            read_once(stream, open);
        }
    }
}

// Reads and stores under the lock: if the pipe is then empty, everything has been stored.
void ChildProcess::read_once(Stream& stream, bool& open) {
    std::array<char, 4096> block{};
    const std::lock_guard guard(lock_);
    const ssize_t got = read(stream.descriptor, block.data(), block.size());
    open = got > 0;
    for (ssize_t index = 0; index < got; ++index) {
        const char letter = block[static_cast<std::size_t>(index)];
        if (letter == kMark && stream.terminal >= 0) {
            ++stream.marks_read;
        } else {
            stream.text += letter;
        }
    }
    grown_.notify_all();
}

// Text written to a terminal arrives at the other end a little later. A mark written now arrives
// after everything before it.
void ChildProcess::catch_up(Stream& stream, std::unique_lock<std::mutex>& guard) const {
    if (!stream.reader.joinable()) {
        return;
    }
    if (stream.terminal < 0) {
        grown_.wait_for(guard, kLongEnough, [&] {
            int waiting = 0;
            return ioctl(stream.descriptor, FIONREAD, &waiting) != 0 || waiting == 0;
        });
        return;
    }
    const std::size_t mark = ++stream.marks_written;
    guard.unlock();
    (void)!write(stream.terminal, &kMark, 1);
    guard.lock();
    grown_.wait_for(guard, kLongEnough, [&] { return stream.marks_read >= mark; });
}

void ChildProcess::finish_readers() {
    for (Stream* stream : {&out_, &err_}) {
        if (stream->reader.joinable()) {
            {
                std::unique_lock guard(lock_);
                catch_up(*stream, guard);
            }
            ended_ = true;
            stream->reader.join();
            close(stream->descriptor);
            if (stream->terminal >= 0) {
                close(stream->terminal);
            }
        }
    }
}

std::string ChildProcess::output() const {
    std::unique_lock guard(lock_);
    catch_up(out_, guard);
    return out_.text;
}

std::string ChildProcess::errors() const {
    std::unique_lock guard(lock_);
    catch_up(err_, guard);
    return err_.text;
}

bool ChildProcess::wait_for_text(const std::string& text, std::size_t from,
                                 std::chrono::milliseconds bound) const {
    std::unique_lock guard(lock_);
    return grown_.wait_for(guard, bound,
                           [&] { return out_.text.find(text, from) != std::string::npos; });
}

std::optional<std::string> ChildProcess::wait_for_line(const std::string& part, std::size_t from,
                                                       std::chrono::milliseconds bound) const {
    std::optional<std::string> found;
    std::unique_lock guard(lock_);
    grown_.wait_for(guard, bound, [&] {
        const std::size_t place = out_.text.find(part, from);
        const std::size_t end = place == std::string::npos ? place : out_.text.find('\n', place);
        if (end == std::string::npos) {
            return false;
        }
        const std::size_t before = place == 0 ? place : out_.text.rfind('\n', place - 1) + 1;
        found = out_.text.substr(before, end - before);
        return true;
    });
    return found;
}

void ChildProcess::send_signal(int signal_number) const {
    if (!status_) {
        kill(pid_, signal_number);
    }
}

bool ChildProcess::reap() {
    int status = 0;
    if (status_) {
        return true;
    }
    if (waitpid(pid_, &status, WNOHANG) != pid_) {
        return false;
    }
    status_ = WIFEXITED(status) ? ExitStatus{.exited = true, .code = WEXITSTATUS(status)}
                                : ExitStatus{.exited = false, .code = WTERMSIG(status)};
    return true;
}

bool ChildProcess::running() {
    return !reap();
}

std::optional<ExitStatus> ChildProcess::wait_exit(std::chrono::milliseconds bound) {
    if (!wait_until([this] { return reap(); }, bound)) {
        return std::nullopt;
    }
    finish_readers();
    return status_;
}

ExitStatus ChildProcess::terminate(std::chrono::milliseconds bound) {
    send_signal(SIGTERM);
    if (const std::optional<ExitStatus> status = wait_exit(bound)) {
        return *status;
    }
    send_signal(SIGKILL);
    return wait_exit().value();
}

Result run(const std::vector<std::string>& command, const std::string& input,
           std::chrono::milliseconds bound) {
    ChildProcess child({.command = command,
                        .environment = {},
                        .output = ChildProcess::Output::kPipe,
                        .separate_errors = true,
                        .input = input});
    const std::optional<ExitStatus> status = child.wait_exit(bound);
    if (!status) {
        throw std::runtime_error(command.front() + " did not end in time; it printed: " +
                                 child.output() + child.errors());
    }
    return {.status = *status, .out = child.output(), .err = child.errors()};
}

std::vector<std::string> words_of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

}  // namespace quon::test
