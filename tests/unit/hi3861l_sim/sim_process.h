// The simulated chip as a program, and its control socket as its clients see it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "child_process.h"
#include "shared/owned_descriptor.h"

namespace quon::sim {

// A folder of the test's own, removed with everything in it.
class scratch_folder {
  public:
    scratch_folder();
    ~scratch_folder();
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;
    [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// A program of this build, behind the emulator where one is needed. `preload` goes into the
// environment of `wrapper`, the words in front of the program, or, emulated, of the program alone.
std::vector<std::string> program_command(const std::string& program,
                                         const std::string& preload = {},
                                         const std::vector<std::string>& wrapper = {});

std::vector<std::string> sim_command(const std::vector<std::string>& arguments);

// The simulator's program, to its end.
test::Result run_sim(const std::vector<std::string>& arguments);

constexpr test::ExitStatus exited(int code) {
    return {.exited = true, .code = code};
}

// One connection to a control socket.
class control_connection {
  public:
    explicit control_connection(const std::string& path);
    void send(const std::string& text);
    // The next line without its end; nothing when the connection ends or 20 seconds pass.
    std::optional<std::string> line();
    // Sends a command and gives its whole answer, lines joined by '\n'.
    std::string ask(const std::string& command);
    void shut_writing();
    [[nodiscard]] int fd() const { return fd_.get(); }

  private:
    owned_descriptor fd_;
    std::string pending_;
};

class sim_process {
  public:
    // Returns when the simulator is ready.
    explicit sim_process(const scratch_folder& folder, std::vector<std::string> arguments = {});

    [[nodiscard]] control_connection control() const { return control_connection(control_path_); }
    // On a connection that stays open.
    std::string ask(const std::string& command);
    [[nodiscard]] test::ChildProcess& process() { return *process_; }
    [[nodiscard]] const std::string& control_path() const { return control_path_; }

  private:
    std::string control_path_;
    std::unique_ptr<test::ChildProcess> process_;
    std::optional<control_connection> control_;
};

}  // namespace quon::sim
