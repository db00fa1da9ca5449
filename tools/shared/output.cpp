#include "shared/output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "shared/failure.h"

namespace quon {
namespace {

// Returns false with errno set.
bool write_all(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t done = ::write(fd, data, size);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done < 0) {
            return false;
        }
        data += done;
        size -= static_cast<size_t>(done);
    }
    return true;
}

// The bus library may have SIGPIPE ignored; the exit status must be the usual one all the same.
[[noreturn]] void end_by_sigpipe() {
    std::signal(SIGPIPE, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, SIGPIPE);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    std::raise(SIGPIPE);
    _exit(128 + SIGPIPE);
}

}  // namespace

void output::write(std::string_view text) {
    if (write_all(results_fd_, text.data(), text.size())) {
        return;
    }
    if (errno == EPIPE) {
        end_by_sigpipe();
    }
    throw failure(exit_status::failure,
                  std::string("cannot write the results: ") + std::strerror(errno));
}

void output::write(byte_view bytes) {
    write(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

void output::line(std::string_view text) {
    write(std::string(text) + "\n");
}

void output::note(std::string_view text) {
    write_notes(std::string(program_) + ": " + std::string(text) + "\n");
}

void output::write_notes(std::string_view text) {
    static_cast<void>(write_all(notes_fd_, text.data(), text.size()));
}

// A pipe whose reader is gone can be recognised without writing to it.
void output::rest(std::chrono::milliseconds time) {
    const auto until = std::chrono::steady_clock::now() + time;
    for (auto left = time; left.count() > 0; left = std::chrono::ceil<std::chrono::milliseconds>(
                                                 until - std::chrono::steady_clock::now())) {
        pollfd entry{results_fd_, 0, 0};
        if (poll(&entry, 1, static_cast<int>(left.count())) > 0 &&
            (entry.revents & (POLLERR | POLLHUP)) != 0) {
            end_by_sigpipe();
        }
        if (entry.revents != 0) {
            std::this_thread::sleep_until(until);
        }
    }
}

bool output::results_on_terminal() const {
    return isatty(results_fd_) == 1;
}

bool output::notes_on_terminal() const {
    return isatty(notes_fd_) == 1;
}

std::string output::coloured(std::string_view sgr, std::string_view text) const {
    const char* no_color = std::getenv("NO_COLOR");
    if ((no_color != nullptr && *no_color != '\0') || !results_on_terminal()) {
        return std::string(text);
    }
    return "\x1b[" + std::string(sgr) + "m" + std::string(text) + "\x1b[0m";
}

std::string aligned(const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i + 1 < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) {
                line.append(widths[i] - row[i].size() + 2, ' ');
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

}  // namespace quon
