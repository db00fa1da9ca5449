// Processes that a measuring program starts; they never outlive it.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace quon::bench {

[[noreturn]] inline void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

inline long resident_kib(pid_t pid) {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/" + std::to_string(pid) + "/statm") >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

// Killed and reaped when destroyed.
class Child {
  public:
    Child() = default;
    explicit Child(pid_t pid) : pid_(pid) {}
    Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    Child& operator=(Child&& other) noexcept {
        std::swap(pid_, other.pid_);
        return *this;
    }
    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    [[nodiscard]] pid_t pid() const { return pid_; }
    // Its wait status, once it has ended by itself.
    int wait() {
        int status = 0;
        waitpid(std::exchange(pid_, -1), &status, 0);
        return status;
    }

  private:
    pid_t pid_ = -1;
};

// Runs a function that does not return in a child process.
template <typename Function>
Child fork_child(const Function& function) {
    const pid_t pid = fork();
    if (pid < 0) {
        fail("fork");
    }
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        function();
        _exit(0);
    }
    return Child(pid);
}

// Starts a program as cheaply as possible. `output` becomes its standard output; -1: /dev/null.
inline Child spawn(const std::vector<std::string>& command, int output = -1,
                   const std::vector<std::string>& more_environment = {}) {
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    std::vector<char*> environment;
    for (const std::string& setting : more_environment) {
        environment.push_back(const_cast<char*>(setting.c_str()));
    }
    for (char** setting = environ; *setting != nullptr; setting++) {
        environment.push_back(*setting);
    }
    environment.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output >= 0) {
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = -1;
    errno = posix_spawnp(&pid, words[0], &actions, nullptr, words.data(), environment.data());
    posix_spawn_file_actions_destroy(&actions);
    if (errno != 0) {
        fail(command[0]);
    }
    return Child(pid);
}

}  // namespace quon::bench
