#include "client_process.h"

namespace quon::test {

std::vector<std::string> client_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = words_of(QUON_MCU_EMULATOR);
    command.emplace_back(QUON_MCU_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Result run_client(const std::vector<std::string>& arguments, const std::string& input) {
    return run(client_command(arguments), input);
}

}  // namespace quon::test
