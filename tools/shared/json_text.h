// JSON in the tools' format.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace quon {

// One line without a newline; invalid UTF-8 becomes U+FFFD.
std::string dump(const nlohmann::ordered_json& value);

}  // namespace quon
