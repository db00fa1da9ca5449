#include "world_inside.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <stdexcept>

#include "chip_link/chip_link_protocol.h"
#include "chip_program.h"
#include "control_tool.h"
#include "exec_program.h"
#include "installed.h"
#include "listening_socket.h"
#include "preload_path.h"
#include "text_values.h"
#include "world_run.h"

namespace quon::sim {
namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLongestStart{15000};  // longer than all time-outs of a silent chip
constexpr milliseconds kLongestEnd{3000};
// The last query of the daemon's start-up snapshot.
constexpr char kDaemonStarted[] = "wait-frame get_version timeout 14000\n";

sigset_t watched_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGCHLD, SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
        sigaddset(&set, number);
    }
    return set;
}

// Resets a forked process to the state of a newly started program.
void begin_child() {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

// Not in the terminal's foreground group: Ctrl-C is for the command.
void begin_background_child(int log) {
    begin_child();
    setsid();
    const owned_descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    dup2(nothing.get(), STDIN_FILENO);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
}

pid_t start(const std::function<int()>& child) {
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
    if (pid == 0) {
        int status = kRunFailed;
        try {
            status = child();
        } catch (const std::exception& problem) {
            std::cerr << "hi3861l-sim: " << problem.what() << '\n';
        }
        std::cout.flush();
        _exit(status);
    }
    return pid;
}

std::string in_words(int wait_status) {
    return WIFSIGNALED(wait_status)
               ? "ended by signal " + std::to_string(WTERMSIG(wait_status))
               : "ended with status " + std::to_string(WEXITSTATUS(wait_status));
}

// The child processes of this one.
std::vector<pid_t> children() {
    std::vector<pid_t> found;
    DIR* folder = opendir("/proc");
    for (const dirent* entry = nullptr;
         folder != nullptr && (entry = readdir(folder)) != nullptr;) {
        const pid_t pid = static_cast<pid_t>(std::atol(entry->d_name));
        std::ifstream stat("/proc/" + std::string(entry->d_name) + "/stat");
        std::string text;
        if (pid <= 0 || !std::getline(stat, text)) {
            continue;
        }
        // "PID (NAME) STATE PARENT": the name may contain anything.
        const size_t name_end = text.rfind(") ");
        if (name_end != std::string::npos && std::atol(text.c_str() + name_end + 4) == getpid()) {
            found.push_back(pid);
        }
    }
    if (folder != nullptr) {
        closedir(folder);
    }
    return found;
}

// The chip process's report: ready, or which setting is invalid.
constexpr char kCanBeReached = 'r';
constexpr char kRefusedValue = 'v';

void tell_word(int fd, char what, const std::string& text) {
    const std::string word = what + text;
    (void)!write(fd, word.data(), word.size());
}

std::string read_word(int fd) {
    std::array<char, 4096> word{};
    ssize_t size = -1;
    do {
        size = read(fd, word.data(), word.size());
    } while (size < 0 && errno == EINTR);
    return {word.data(), static_cast<size_t>(std::max<ssize_t>(size, 0))};
}

int play_chip(const chip_settings& settings, int tell) {
    try {
        run_chip(settings, [tell](const std::string&) { tell_word(tell, kCanBeReached, ""); });
        return exit_done;
    } catch (const bad_value& problem) {
        tell_word(tell, kRefusedValue, problem.what());
        return exit_usage;
    }
}

class world {
  public:
    explicit world(const world_programs& programs) : programs_(programs) {
        const sigset_t set = watched_signals();
        sigprocmask(SIG_BLOCK, &set, nullptr);
        signals_ = owned_descriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
        prctl(PR_SET_CHILD_SUBREAPER, 1);  // adopts what the command leaves behind
    }
    ~world() { end_all(); }
    world(const world&) = delete;
    world& operator=(const world&) = delete;

    int run() {
        start_chip();
        start_daemon();
        command_ = start([this] {
            begin_child();
            return become(programs_.command);
        });
        while (command_ > 0) {
            wait_for_signal(-1, milliseconds(-1));
        }
        tell_of_a_lost(daemon_, "daemon");
        tell_of_a_lost(chip_, "simulated chip");
        return WIFSIGNALED(command_status_) ? 128 + WTERMSIG(command_status_)
                                            : WEXITSTATUS(command_status_);
    }

  private:
    struct background {
        pid_t pid = -1;  // -1: has ended
        int status = 0;
    };

    void start_chip() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
        }
        const owned_descriptor heard(ends[0]);
        owned_descriptor tell(ends[1]);
        chip_.pid = start([this, &tell] {
            begin_background_child(programs_.chip_log);
            return play_chip(programs_.chip, tell.get());
        });
        tell = owned_descriptor();
        const std::string word = read_word(heard.get());
        if (word.starts_with(kRefusedValue)) {
            throw bad_value(word.substr(1));
        }
        if (word.empty()) {
            throw std::runtime_error("the simulated chip does not start");
        }
    }

    void start_daemon() {
        daemon_.pid = start([this] {
            begin_background_child(programs_.daemon_log);
            setenv("LD_PRELOAD", preload_list(programs_.link).c_str(), 1);
            return become({programs_.daemon});
        });
        const owned_descriptor chip = connect_unix(programs_.chip.control, SOCK_STREAM);
        if (send(chip.get(), kDaemonStarted, sizeof kDaemonStarted - 1, MSG_NOSIGNAL) < 0) {
            throw std::runtime_error("the simulated chip has ended");
        }
        const auto limit = clock::now() + kLongestStart;
        while (!wait_for_signal(chip.get(),
                                std::chrono::duration_cast<milliseconds>(limit - clock::now()))) {
            if (daemon_.pid < 0) {
                throw std::runtime_error("the daemon " + in_words(daemon_.status) +
                                         " at its start");
            }
            if (clock::now() >= limit) {
                throw std::runtime_error("the daemon does not finish its start");
            }
        }
    }

    // Waits for a signal, and for `fd` to be readable, and returns it.
    bool wait_for_signal(int fd, milliseconds limit) {
        std::array<pollfd, 2> both{{{signals_.get(), POLLIN, 0}, {fd, POLLIN, 0}}};
        (void)poll(both.data(), both.size(),
                   static_cast<int>(std::max<std::chrono::milliseconds::rep>(limit.count(), -1)));
        take_signals();
        return both[1].revents != 0;
    }

    void take_signals() {
        signalfd_siginfo signal{};
        while (read(signals_.get(), &signal, sizeof signal) == sizeof signal) {
            const int number = static_cast<int>(signal.ssi_signo);
            const bool from_terminal = signal.ssi_code > 0;  // the command has received it too
            if (number == SIGCHLD) {
                continue;
            }
            if (command_ < 0) {
                throw std::runtime_error("interrupted");
            }
            if (command_ > 0 && !from_terminal) {
                kill(command_, number);
            }
        }
        reap();
    }

    void reap() {
        int status = 0;
        for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
            for (background* each : {&daemon_, &chip_}) {
                if (pid == each->pid) {
                    *each = {-1, status};
                }
            }
            if (pid == command_) {
                command_ = 0;
                command_status_ = status;
            }
        }
    }

    static void tell_of_a_lost(const background& each, const char* name) {
        if (each.pid < 0) {
            std::cerr << "hi3861l-sim: the " << name << " " << in_words(each.status)
                      << " before the command did\n";
        }
    }

    // The daemon first, so that the journal has its last messages to the chip.
    void end_all() {
        end(daemon_);
        end(chip_);
        for (std::vector<pid_t> left = children(); !left.empty(); left = children()) {
            for (const pid_t pid : left) {
                kill(pid, SIGKILL);
                (void)waitpid(pid, nullptr, 0);
            }
        }
    }

    void end(background& each) {
        const auto limit = clock::now() + kLongestEnd;
        if (each.pid > 0) {
            kill(each.pid, SIGTERM);
            kill(each.pid, SIGCONT);
        }
        while (each.pid > 0 && clock::now() < limit) {
            pollfd one{signals_.get(), POLLIN, 0};
            (void)poll(&one, 1, 10);
            signalfd_siginfo ignored{};
            while (read(signals_.get(), &ignored, sizeof ignored) == sizeof ignored) {
            }
            reap();
        }
    }

    const world_programs& programs_;
    owned_descriptor signals_;
    background chip_;
    background daemon_;
    pid_t command_ = -1;  // -1: not started, 0: has ended
    int command_status_ = 0;
};

// The daemon's commands are in folders that not every user has in PATH.
void set_environment(const world_programs& programs) {
    const char* old = std::getenv("PATH");
    const std::string path =
        program_folder() + ":" + (old != nullptr ? old : "/usr/bin:/bin") + ":/usr/sbin:/sbin";
    setenv("PATH", path.c_str(), 1);
    setenv(kChipLinkSocketVariable, programs.chip.socket.c_str(), 1);
}

}  // namespace

int run_programs(const world_programs& programs) {
    try {
        set_environment(programs);
        return world(programs).run();
    } catch (const bad_value& problem) {
        std::cerr << "hi3861l-sim: " << problem.what() << '\n';
        return exit_usage;
    } catch (const std::exception& problem) {
        std::cerr << "hi3861l-sim: " << problem.what() << '\n';
        return kRunFailed;
    }
}

}  // namespace quon::sim
