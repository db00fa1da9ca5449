#include "shared/json_text.h"

namespace quon {

std::string dump(const nlohmann::ordered_json& value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace quon
