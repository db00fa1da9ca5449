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

}  // namespace quon::client::test
