#include "catalog/generate/members.h"
#include "catalog/generate/pages.h"

namespace quon::generate {

// The typed functions by service name, each with the macro of its shape. There are no expectations
// here: the tests' own table has those.
std::string c_test_rows() {
    std::string text =
        R"(// Generated from the table of the services: the functions that the rows of services_test.cpp call.
// clang-format off
)";
    for (const catalog::service& each : catalog::services()) {
        const bool asks = each.reply != nullptr;
        const char* shape =
            each.request == nullptr ? (asks ? "GET" : "DO") : (asks ? "ASK" : "SET");
        text += "{\"" + short_name(each) + "\", " + shape + "(" + identifier(each) + ")},\n";
    }
    return text + "// clang-format on\n";
}

}  // namespace quon::generate
