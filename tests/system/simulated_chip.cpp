#include "simulated_chip.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "daemon_process.h"
#include "launch.h"

namespace quon::test {

namespace {

constexpr char kControlPath[] = "/tmp/hi3861l-sim.ctl";

std::string hex_type(std::uint8_t type) {
    return "0x" + to_hex(Bytes{type});
}

ChildProcess::Options simulator(const std::vector<std::string>& arguments) {
    LaunchCommand launch = simulator_launch();
    launch.command.insert(launch.command.end(),
                          {"--socket", kChipSocket, "--control", kControlPath});
    launch.command.insert(launch.command.end(), arguments.begin(), arguments.end());
    return {.command = launch.command,
            .environment = launch.environment,
            .output = ChildProcess::Output::kPipe,
            .separate_errors = true,
            .input = {}};
}

}  // namespace

SimulatedChip::SimulatedChip(const std::vector<std::string>& arguments)
    : process_(simulator(arguments)), control_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kControlPath, sizeof(kControlPath));
    const bool reached = wait_until([&] {
        return !process_.running() ||
               connect(control_.get(), reinterpret_cast<const sockaddr*>(&address),
                       sizeof(address)) == 0;
    });
    if (!reached || !process_.running()) {
        throw std::runtime_error("the simulated chip does not start: " + process_.errors());
    }
}

std::string SimulatedChip::read_line() {
    while (true) {
        const std::size_t end = unread_.find('\n');
        if (end != std::string::npos) {
            const std::string line = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            return line;
        }
        pollfd entry{.fd = control_.get(), .events = POLLIN, .revents = 0};
        char block[4096];
        const bool ready = poll(&entry, 1, static_cast<int>(2 * kLongEnough.count())) > 0;
        const ssize_t got = ready ? recv(control_.get(), block, sizeof(block), 0) : -1;
        if (got <= 0) {
            throw std::runtime_error("the simulated chip does not answer on its control socket");
        }
        unread_.append(block, static_cast<std::size_t>(got));
    }
}

std::vector<std::string> SimulatedChip::command(const std::string& line) {
    const std::string request = line + "\n";
    if (send(control_.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size())) {
        throw std::system_error(errno, std::generic_category(), "control socket");
    }
    std::vector<std::string> lines;
    while (true) {
        const std::string answer = read_line();
        if (answer == "ok") {
            return lines;
        }
        if (answer.starts_with("error: ")) {
            throw std::runtime_error(line + ": " + answer);
        }
        lines.push_back(answer);
    }
}

std::string SimulatedChip::get(const std::string& name) {
    const std::string line = command("get " + name).at(0);
    return line.substr(line.find('=') + 1);
}

bool SimulatedChip::wait_for(std::uint8_t type, int count) {
    try {
        command("wait-frame " + hex_type(type) + " count " + std::to_string(count) + " timeout " +
                std::to_string(kLongEnough.count()));
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

Bytes SimulatedChip::last_frame(std::uint8_t type) {
    const std::vector<std::string> lines = command("wait-frame " + hex_type(type) + " timeout 0");
    for (const std::string& line : lines) {
        if (line.starts_with("last=")) {
            return from_hex(line.substr(5));
        }
    }
    throw std::runtime_error("no such frame");
}

}  // namespace quon::test
