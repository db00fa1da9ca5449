// JSON with comments; each part knows its line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quon::catalog {

enum class node_kind { text, number, list, group, other };

struct node {
    node_kind kind = node_kind::other;
    size_t line = 0;
    std::string name;  // for a member of a group
    std::string text;
    int64_t number = 0;  // a whole number
    std::vector<node> parts{};
};

// Throws failure (usage) with "FILE:LINE: what", also for a name used twice in a group and for
// nesting deeper than a definition can have.
node read_nodes(std::string_view text, const std::string& file);

[[noreturn]] void fail_at(const std::string& file, size_t line, const std::string& what);

}  // namespace quon::catalog
