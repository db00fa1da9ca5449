#include "client_process.h"

#include "launch.h"

namespace quon::test {

std::vector<std::string> client_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = client_launch();
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Result run_client(const std::vector<std::string>& arguments, const std::string& input) {
    return run(client_command(arguments), input);
}

}  // namespace quon::test
