// JSON as the tools print it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace quon {

// One line without a newline; bytes that are no UTF-8 become U+FFFD.
std::string dump(const nlohmann::ordered_json& value);

}  // namespace quon
