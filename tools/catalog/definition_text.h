// JSON with comments whose parts know the line that they stand in.
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
    std::string name;  // of a group's member
    std::string text;
    int64_t number = 0;  // a whole one
    std::vector<node> parts{};
};

// Throws failure (usage) with "FILE:LINE: what": also for a name that a group has twice, and for
// what is nested deeper than a definition can be.
node read_nodes(std::string_view text, const std::string& file);

[[noreturn]] void fail_at(const std::string& file, size_t line, const std::string& what);

}  // namespace quon::catalog
