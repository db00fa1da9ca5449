#include "control_tool.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "listening_socket.h"

namespace quon::sim {
namespace {

int fail(int status, const std::string& text) {
    std::cerr << "hi3861l-sim: " << text << '\n';
    return status;
}

bool send_all(int fd, const std::string& text) {
    for (size_t sent = 0; sent < text.size();) {
        const ssize_t size = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (size < 0 && errno != EINTR) {
            return false;
        }
        sent += size > 0 ? static_cast<size_t>(size) : 0;
    }
    return true;
}

// The next line of the answer; false when the connection ends first.
bool read_line(int fd, std::string& pending, std::string& line) {
    size_t end = 0;
    while ((end = pending.find('\n')) == std::string::npos) {
        std::array<char, 4096> buffer{};
        const ssize_t size = recv(fd, buffer.data(), buffer.size(), 0);
        if (size == 0 || (size < 0 && errno != EINTR)) {
            return false;
        }
        pending.append(buffer.data(), size > 0 ? static_cast<size_t>(size) : 0);
    }
    line = pending.substr(0, end);
    pending.erase(0, end + 1);
    return true;
}

}  // namespace

bool flush_output() {
    if (std::cout.flush()) {
        return true;
    }
    fail(exit_error, "standard output cannot be written");
    return false;
}

int send_control_command(const std::string& path, const std::string& command) {
    if (command.find('\n') != std::string::npos) {
        return fail(exit_usage, "a command is one line");
    }
    owned_descriptor fd;
    try {
        fd = connect_unix(path, SOCK_STREAM);
    } catch (const std::invalid_argument& problem) {
        return fail(exit_usage, problem.what());
    }
    if (fd.get() < 0) {
        return fail(exit_no_simulator, "no simulator at " + path + ": " + std::strerror(errno));
    }
    std::string pending;
    std::string line;
    if (!send_all(fd.get(), command + "\n")) {
        return fail(exit_no_simulator, "the simulator at " + path + " went away");
    }
    while (read_line(fd.get(), pending, line)) {
        if (line.starts_with("error: ")) {
            std::cerr << line << '\n';
            return exit_error;
        }
        std::cout << line << '\n';
        if (line == "ok") {
            return flush_output() ? exit_done : exit_error;
        }
    }
    return fail(exit_no_simulator, "the simulator at " + path + " went away");
}

}  // namespace quon::sim
