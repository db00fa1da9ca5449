// One command line of the client, run in this process.
#pragma once

#include <string>
#include <vector>

namespace quon::client::test {

struct outcome {
    int status;
    std::string out;  // results
    std::string err;  // everything else
};

outcome run_client(const std::vector<std::string>& words);

// The exit status and the text of the failure that `function` throws; -1 without one.
template <typename Function>
outcome failure_of(Function function);

}  // namespace quon::client::test

#include "quon_mcu/failure.h"

namespace quon::client::test {

template <typename Function>
outcome failure_of(Function function) {
    try {
        function();
    } catch (const failure& error) {
        return {static_cast<int>(error.status()), "", error.what()};
    }
    return {-1, "", ""};
}

}  // namespace quon::client::test
