// The probe program under the chip link, told by a test what to call.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "preload_path.h"
#include "sim_process.h"
#include "waiting.h"

namespace quon::sim {

// As an entry of LD_PRELOAD, which takes no path with a blank.
inline const std::string& chip_link_library() {
    static const std::string entry = preload_entry(CHIP_LINK_LIBRARY);
    return entry;
}

class probe {
  public:
    probe(const scratch_folder& folder, const std::string& name, const std::string& program,
          const std::string& preload, const std::string& simulator = "chip",
          const std::vector<std::string>& wrapper = {})
        : fifo_(folder.file(name)) {
        if (mkfifo(fifo_.c_str(), 0600) != 0) {
            throw std::runtime_error("no fifo");
        }
        writer_ = owned_descriptor(open(fifo_.c_str(), O_RDWR | O_CLOEXEC));
        std::vector<std::string> command = program_command(program, preload, wrapper);
        command.push_back(fifo_);
        process_ = std::make_unique<test::ChildProcess>(test::ChildProcess::Options{
            .command = command,
            .environment = {{"HI3861L_SIM_SOCKET", folder.file(simulator)}},
            .input = {}});
    }

    // Begins a command.
    void tell(const std::string& line) {
        const std::string text = line + "\n";
        if (write(writer_.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error("the probe does not read");
        }
        count_++;
    }
    // What the last command printed.
    std::string answer() {
        const std::string tag = "#" + std::to_string(count_) + " ";
        std::optional<std::string> line;
        test::wait_until([&] {
            const bool running = process_->running();
            line = process_->wait_for_line(tag, 0, std::chrono::milliseconds(0));
            return line || !running;
        });
        return line ? line->substr(line->find(tag) + tag.size()) : "(nothing)";
    }
    std::string ask(const std::string& line) {
        tell(line);
        return answer();
    }
    // A socket of the link, bound to the port; its number.
    std::string channel(const std::string& port = "1100") {
        const std::string fd = ask("socket 16 3 28");
        EXPECT_EQ(ask("bind " + fd + " " + port), "0");
        return fd;
    }
    test::ChildProcess& process() { return *process_; }

    // How often the program's threads have gone to sleep.
    [[nodiscard]] long pauses() const {
        long sum = 0;
        const std::string tasks = "/proc/" + std::to_string(process_->pid()) + "/task";
        for (const auto& task : std::filesystem::directory_iterator(tasks)) {
            std::ifstream status(task.path() / "status");
            for (std::string line; std::getline(status, line);) {
                if (line.starts_with("voluntary_ctxt_switches:")) {
                    sum += std::stol(line.substr(line.find(':') + 1));
                }
            }
        }
        return sum;
    }

  private:
    std::string fifo_;
    owned_descriptor writer_;
    std::unique_ptr<test::ChildProcess> process_;
    int count_ = 0;
};

// A command that makes a socket. The numbers of types differ between machines.
inline std::string new_socket(int domain, int type, int protocol) {
    return "socket " + std::to_string(domain) + " " + std::to_string(type) + " " +
           std::to_string(protocol);
}

}  // namespace quon::sim
