// The end of each measuring program: one line of JSON on standard output, or a message on standard
// error and status 1.
#pragma once

#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

namespace quon::bench {

template <typename Measure>
int report(const std::string& program, const Measure& measure) {
    try {
        const nlohmann::json result = measure();
        std::cout << result.dump() << std::endl;
        return 0;
    } catch (const std::exception& problem) {
        std::cerr << program << ": " << problem.what() << "\n";
        return 1;
    }
}

}  // namespace quon::bench
