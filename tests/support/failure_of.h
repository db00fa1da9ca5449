// The failure that a function of the tools throws.
#pragma once

#include <string>

#include "shared/failure.h"

namespace quon::test {

struct thrown {
    int status;  // exit status; -1 without a failure
    std::string text;
};

template <typename Function>
thrown failure_of(Function function) {
    try {
        function();
    } catch (const failure& error) {
        return {to_int(error.status()), error.what()};
    }
    return {-1, ""};
}

}  // namespace quon::test
