#include "world_run.h"

#include <fcntl.h>
#include <net/if.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "chip_link/chip_link_protocol.h"
#include "chip_program.h"
#include "installed.h"
#include "plain_world.h"
#include "shared/owned_descriptor.h"
#include "world/private_world.h"
#include "world_inside.h"

namespace quon::sim {
namespace {

namespace fs = std::filesystem;

constexpr size_t kShownLines = 60;

// One of the two outputs.
class log_file {
  public:
    log_file(const std::string& folder, const char* name) : name_(name) {
        if (!folder.empty()) {
            path_ = folder + "/" + name + ".log";
        }
        file_.reset(path_.empty() ? std::tmpfile() : std::fopen(path_.c_str(), "w+e"));
        if (file_ == nullptr) {
            throw std::runtime_error("the log " + (path_.empty() ? name_ : path_) + ": " +
                                     std::strerror(errno));
        }
        fcntl(fileno(file_.get()), F_SETFD, FD_CLOEXEC);
        fcntl(fileno(file_.get()), F_SETFL, O_APPEND);
    }

    [[nodiscard]] int descriptor() const { return fileno(file_.get()); }

    // The log's path, or its last lines.
    void show() const {
        if (!path_.empty()) {
            std::cerr << "hi3861l-sim: the log of the " << name_ << ": " << path_ << '\n';
            return;
        }
        const std::string text = whole();
        if (text.empty()) {
            return;
        }
        size_t start = text.size();
        for (size_t lines = 0; start > 0 && lines <= kShownLines; start--) {
            lines += text[start - 1] == '\n' ? 1 : 0;
        }
        start += start > 0 ? 1 : 0;
        std::cerr << "---- the log of the " << name_
                  << (start > 0 ? ", its last lines (--logs keeps all)" : "") << '\n'
                  << text.substr(start) << "----\n";
    }

  private:
    [[nodiscard]] std::string whole() const {
        std::string text;
        std::array<char, 65536> part{};
        off_t at = 0;
        for (ssize_t size = 0; (size = pread(descriptor(), part.data(), part.size(), at)) > 0;) {
            text.append(part.data(), static_cast<size_t>(size));
            at += size;
        }
        return text;
    }

    struct closer {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };
    std::string name_;
    std::string path_;
    std::unique_ptr<std::FILE, closer> file_;
};

// The environment names another chip's socket. The capture is opened where its path is meant.
chip_settings own_chip(chip_settings settings) {
    settings.socket = kChipLinkDefaultSocket;
    settings.packets = open_capture(settings);
    return settings;
}

void add(std::vector<std::string>& all, const char* variable) {
    const char* text = std::getenv(variable);
    if (text != nullptr) {
        const std::vector<std::string> paths = world::paths_in(text, ":");
        all.insert(all.end(), paths.begin(), paths.end());
    }
}

// Paths below /tmp that a command is likely to need.
std::vector<std::string> needed_paths(const run_words& words, const world_programs& programs) {
    std::vector<std::string> all = words.kept;
    std::error_code ignored;
    all.push_back(fs::current_path(ignored).string());
    all.push_back(program_folder());
    all.push_back(fs::path(programs.daemon).parent_path().string());
    all.push_back(fs::path(programs.link).parent_path().string());
    all.push_back(words.chip.records);
    for (const char* variable : {"HOME", "TMPDIR", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "PATH",
                                 "LD_LIBRARY_PATH", "PYTHONPATH", "QUON_MCU_RECORDS"}) {
        add(all, variable);
    }
    for (const std::string& word : words.command) {
        if (word.starts_with("/")) {
            all.push_back(word);
        }
    }
    return all;
}

// The supervisor's first message to the waiting process: whether its world was set up.
void report(int fd, char what, const std::string& why) {
    const std::string text = what + why;
    (void)!write(fd, text.data(), text.size());
}

int supervise(const world_programs& programs, const std::vector<std::string>& kept, int fd) {
    try {
        report(fd, world::enter_private_world(kept) ? 'w' : 'p', "");
    } catch (const world::refused& problem) {
        report(fd, 'n', problem.what());
        return kRunFailed;
    }
    close(fd);
    return run_programs(programs);
}

int supervise_plainly(const world_programs& programs) {
    try {
        const plain_world here;
        return run_programs(programs);
    } catch (const std::exception& problem) {
        std::cerr << "hi3861l-sim: " << problem.what() << '\n';
        return kRunFailed;
    }
}

sigset_t awaited_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGCHLD, SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
        sigaddset(&set, number);
    }
    return set;
}

// Waits for the supervisor, passes signals on to it, and returns its exit status.
int wait_for(pid_t supervisor) {
    const sigset_t set = awaited_signals();
    int status = 0;
    while (waitpid(supervisor, &status, WNOHANG) == 0) {
        siginfo_t signal{};
        const int number = sigwaitinfo(&set, &signal);
        if (number > 0 && number != SIGCHLD && signal.si_code <= 0) {
            kill(supervisor, number);  // it has already received one from the terminal
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : kRunFailed;
}

pid_t start_supervisor(const std::function<int()>& supervisor) {
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        _exit(getppid() == parent ? supervisor() : kRunFailed);
    }
    return pid;
}

// Runs in a private world. Returns nothing, with the reason, if that is not possible.
std::optional<int> run_privately(const world_programs& programs,
                                 const std::vector<std::string>& kept, std::string& refusal) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    const owned_descriptor told(ends[0]);
    owned_descriptor tell(ends[1]);
    const pid_t pid = start_supervisor([&] { return supervise(programs, kept, tell.get()); });
    tell = owned_descriptor();
    std::array<char, 1024> text{};
    const ssize_t size = read(told.get(), text.data(), text.size() - 1);
    if (size > 0 && text[0] == 'n') {
        refusal = text.data() + 1;
        (void)wait_for(pid);
        return std::nullopt;
    }
    if (size > 0) {
        std::cerr << "hi3861l-sim: in a world of its own: network with "
                  << (text[0] == 'w' ? "wlan0" : "lo alone") << ", /tmp, /etc/resolv.conf\n";
    }
    return wait_for(pid);
}

int run_here(const world_programs& programs, const std::string& why) {
    std::cerr << "hi3861l-sim: in this machine's world, with its /tmp and /etc/resolv.conf"
              << (if_nametoindex("wlan0") == 0 ? " and without a wlan0: " : ": ") << why << '\n';
    return wait_for(start_supervisor([&] { return supervise_plainly(programs); }));
}

int run_somewhere(const run_words& words, const world_programs& programs) {
    const char* variable = std::getenv("QUON_WORLD");
    if (words.world == "here") {
        return run_here(programs, "--world here");
    }
    if (words.world == "auto" && variable != nullptr && std::strcmp(variable, "here") == 0) {
        return run_here(programs, "QUON_WORLD=here");
    }
    std::string refusal;
    const std::optional<int> status =
        run_privately(programs, needed_paths(words, programs), refusal);
    if (status) {
        return *status;
    }
    if (words.world == "own") {
        std::cerr << "hi3861l-sim: no world of its own: " << refusal << '\n';
        return kRunFailed;
    }
    return run_here(programs, refusal);
}

}  // namespace

int run_in_world(const run_words& words) {
    if (words.command.empty()) {
        throw std::invalid_argument("COMMAND is missing; see 'hi3861l-sim run --help'");
    }
    const log_file chip(words.logs, "chip");
    const log_file daemon(words.logs, "daemon");
    const world_programs programs{
        .chip = own_chip(words.chip),
        .daemon = words.daemon.empty() ? installed_daemon() : fs::absolute(words.daemon).string(),
        .link = words.link.empty() ? installed_chip_link() : fs::absolute(words.link).string(),
        .chip_log = chip.descriptor(),
        .daemon_log = daemon.descriptor(),
        .command = words.command};
    const sigset_t set = awaited_signals();
    sigprocmask(SIG_BLOCK, &set, nullptr);
    const int status = run_somewhere(words, programs);
    if (status != 0) {
        chip.show();
        daemon.show();
    }
    return status;
}

}  // namespace quon::sim
