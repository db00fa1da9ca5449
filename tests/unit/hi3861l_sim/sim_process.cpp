#include "sim_process.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "listening_socket.h"

namespace quon::sim {

scratch_folder::scratch_folder() {
    std::string path = (std::filesystem::temp_directory_path() / "hi3861l-sim-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no folder for the test");
    }
    path_ = path;
}

scratch_folder::~scratch_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> program_command(const std::string& program, const std::string& preload,
                                         const std::vector<std::string>& wrapper) {
    std::vector<std::string> command = test::words_of(HI3861L_SIM_EMULATOR);
    const bool emulated = !command.empty();
    if (!preload.empty()) {
        // An emulator hands the variable on to its program; otherwise env does.
        const std::string variable = "LD_PRELOAD=" + preload;
        if (emulated) {
            command.insert(command.end(), {"-E", variable});
        } else {
            command = {"env", variable};
        }
    }
    command.insert(emulated ? command.begin() : command.end(), wrapper.begin(), wrapper.end());
    command.push_back(program);
    return command;
}

std::vector<std::string> sim_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = program_command(HI3861L_SIM_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

test::Result run_sim(const std::vector<std::string>& arguments) {
    return test::run(sim_command(arguments));
}

control_connection::control_connection(const std::string& path)
    : fd_(connect_unix(path, SOCK_STREAM)) {
    if (fd_.get() < 0) {
        throw std::runtime_error("nobody listens on " + path);
    }
}

void control_connection::send(const std::string& text) {
    for (size_t sent = 0; sent < text.size();) {
        const ssize_t size =
            ::send(fd_.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (size < 0) {
            throw std::runtime_error("the simulator closed the connection");
        }
        sent += static_cast<size_t>(size);
    }
}

std::optional<std::string> control_connection::line() {
    size_t end = 0;
    while ((end = pending_.find('\n')) == std::string::npos) {
        pollfd one{fd_.get(), POLLIN, 0};
        std::array<char, 4096> buffer{};
        if (poll(&one, 1, static_cast<int>(test::kLongEnough.count())) != 1) {
            return std::nullopt;
        }
        const ssize_t size = recv(fd_.get(), buffer.data(), buffer.size(), 0);
        if (size <= 0) {
            return std::nullopt;
        }
        pending_.append(buffer.data(), static_cast<size_t>(size));
    }
    const std::string line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return line;
}

std::string control_connection::ask(const std::string& command) {
    send(command + "\n");
    std::string answer;
    while (const auto next = line()) {
        answer += (answer.empty() ? "" : "\n") + *next;
        if (*next == "ok" || next->starts_with("error: ")) {
            return answer;
        }
    }
    return answer + "(end)";
}

void control_connection::shut_writing() {
    shutdown(fd_.get(), SHUT_WR);
}

sim_process::sim_process(const scratch_folder& folder, std::vector<std::string> arguments)
    : control_path_(folder.file("control")) {
    arguments.insert(arguments.begin(),
                     {"--socket", folder.file("chip"), "--control", control_path_});
    process_ = std::make_unique<test::ChildProcess>(test::ChildProcess::Options{
        .command = sim_command(arguments), .environment = {}, .input = {}});
    if (!process_->wait_for_text("hi3861l-sim: ready")) {
        throw std::runtime_error("the simulator does not start: " + process_->output());
    }
}

std::string sim_process::ask(const std::string& command) {
    if (!control_) {
        control_.emplace(control_path_);
    }
    return control_->ask(command);
}

}  // namespace quon::sim
