// The sources as text, with the queries that the rules need.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quon::layers {

// Path relative to the top folder -> text. Ordered, so that findings are.
using SourceTree = std::map<std::string, std::string>;

// Every C and C++ file in the named folders. Throws if a folder does not exist or is empty.
SourceTree read_tree(const std::filesystem::path& top, const std::vector<std::string>& folders);

struct Line {
    int number;
    std::string text;  // without comments
};

// The lines that are not empty without their comments.
std::vector<Line> code_lines(std::string_view text);

struct Include {
    int line;
    std::string name;
    bool quoted;  // "name", otherwise <name>
};

std::vector<Include> includes_of(std::string_view text);

// The files that a quoted include of `from` may refer to: the one in its folder, otherwise the one
// under tools/ with that path, otherwise all with that ending. None for a generated file.
std::vector<std::string> resolve(const SourceTree& tree, const std::string& from,
                                 const std::string& name);

// Whole identifiers that begin with `prefix`, in order of appearance.
std::vector<std::string> identifiers_with_prefix(std::string_view code, std::string_view prefix);

}  // namespace quon::layers
