#include "control_tool.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "control_commands.h"
#include "listening_socket.h"
#include "properties.h"
#include "shared/json_text.h"
#include "text_values.h"

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

// The next line of the answer; false if the connection ends first.
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

constexpr std::string_view kErrorHead = "error: ";

// Whether the simulator itself failed; all other errors are in the command's words.
constexpr std::pair<std::string_view, exit_status> kFailures[] = {
    {"timeout: ", exit_timed_out},
    {"not sent: ", exit_error},
};

exit_status status_of(std::string_view error) {
    for (const auto& [beginning, status] : kFailures) {
        if (error.starts_with(beginning)) {
            return status;
        }
    }
    return exit_usage;
}

using ordered_json = nlohmann::ordered_json;

bool is_number(const std::string& name) {
    const auto known = std::ranges::find(properties(), name, &property::name);
    return name == "received" || (known != properties().end() && known->number);
}

ordered_json document(answer_kind kind, const std::vector<std::string>& lines) {
    if (kind == answer_kind::texts) {
        return lines;
    }
    ordered_json object = ordered_json::object();
    for (const std::string& line : lines) {
        const std::string name = line.substr(0, line.find('='));
        const std::string value = line.substr(name.size() + 1);
        object[name] = is_number(name) ? ordered_json(std::stoull(value)) : ordered_json(value);
    }
    return object;
}

void print(const std::string& command, const std::vector<std::string>& lines, bool json) {
    const std::vector<std::string> words = split_words(command);
    const std::string name = words.empty() ? "" : words[0];
    if (json) {
        std::cout << dump(document(answer_of(name), lines)) << '\n';
        return;
    }
    for (const std::string& line : lines) {
        std::cout << (name == "get" ? line.substr(line.find('=') + 1) : line) << '\n';
    }
}

}  // namespace

bool flush_output() {
    if (std::cout.flush()) {
        return true;
    }
    fail(exit_error, "standard output cannot be written");
    return false;
}

int send_control_command(const std::string& path, const std::string& command, bool json) {
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
    std::vector<std::string> lines;
    const bool sent = send_all(fd.get(), command + "\n");
    while (sent && read_line(fd.get(), pending, line)) {
        if (line.starts_with(kErrorHead)) {
            const std::string text = line.substr(kErrorHead.size());
            return fail(status_of(text), text);
        }
        if (line == "ok") {
            print(command, lines, json);
            return flush_output() ? exit_done : exit_error;
        }
        lines.push_back(line);
    }
    return fail(exit_no_simulator, "the simulator at " + path + " went away");
}

}  // namespace quon::sim
