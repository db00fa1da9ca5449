#include "source_tree.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace quon::layers {

namespace {

namespace fs = std::filesystem;

bool is_source(const fs::path& path) {
    constexpr std::array<std::string_view, 5> kEndings = {".c", ".cpp", ".h", ".hpp", ".inc"};
    return std::ranges::find(kEndings, path.extension().string()) != kEndings.end();
}

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

bool is_identifier_char(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// The end of a raw string that begins at `at`; `at` itself if none does.
size_t end_of_raw_text(std::string_view text, size_t at) {
    if (text.substr(at, 2) != "R\"" || (at > 0 && is_identifier_char(text[at - 1]))) {
        return at;
    }
    const size_t open = text.find('(', at);
    const std::string close = ")" + std::string(text.substr(at + 2, open - at - 2)) + "\"";
    const size_t end = text.find(close, open);
    return end == std::string_view::npos ? text.size() : end + close.size();
}

// Removes comments and raw strings, keeping line breaks and other string literals.
std::string without_comments(std::string_view text) {
    std::string code;
    enum { kCode, kLineComment, kBlockComment, kText, kCharacter } state = kCode;
    for (size_t at = 0; at < text.size(); at++) {
        if (const size_t end = end_of_raw_text(text, at); state == kCode && end != at) {
            code.append(static_cast<size_t>(std::count(&text[at], &text[at] + (end - at), '\n')),
                        '\n');
            at = end - 1;
            continue;
        }
        const char c = text[at];
        const char next = at + 1 < text.size() ? text[at + 1] : '\0';
        if (state == kCode && c == '/' && next == '/') {
            state = kLineComment;
        } else if (state == kCode && c == '/' && next == '*') {
            state = kBlockComment;
            at++;
        } else if (state == kBlockComment && c == '*' && next == '/') {
            state = kCode;
            at++;
        } else if (c == '\n') {
            state = state == kBlockComment ? kBlockComment : kCode;
            code += c;
        } else if (state == kText || state == kCharacter) {
            code += c;
            if (c == '\\' && next != '\n') {
                code += next;
                at++;
            } else if (c == (state == kText ? '"' : '\'')) {
                state = kCode;
            }
        } else if (state == kCode) {
            code += c;
            // An apostrophe within a number separates its digits.
            const bool in_number = at > 0 && is_identifier_char(text[at - 1]);
            state = c == '"' ? kText : c == '\'' && !in_number ? kCharacter : kCode;
        }
    }
    return code;
}

std::string trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(" \t\r") - first + 1));
}

}  // namespace

SourceTree read_tree(const fs::path& top, const std::vector<std::string>& folders) {
    SourceTree tree;
    for (const std::string& folder : folders) {
        const size_t before = tree.size();
        for (const auto& entry : fs::recursive_directory_iterator(top / folder)) {
            if (entry.is_regular_file() && is_source(entry.path())) {
                tree[fs::relative(entry.path(), top).generic_string()] = read_file(entry.path());
            }
        }
        if (tree.size() == before) {
            throw std::runtime_error("no sources in " + folder);
        }
    }
    return tree;
}

std::vector<Line> code_lines(std::string_view text) {
    std::vector<Line> lines;
    std::istringstream in(without_comments(text));
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        number++;
        const std::string code = trimmed(line);
        if (!code.empty()) {
            lines.push_back({number, code});
        }
    }
    return lines;
}

std::vector<Include> includes_of(std::string_view text) {
    std::vector<Include> includes;
    for (const Line& line : code_lines(text)) {
        if (line.text[0] != '#' || trimmed(line.text.substr(1)).rfind("include", 0) != 0) {
            continue;
        }
        const size_t open = line.text.find_first_of("\"<");
        const size_t close = line.text.find_last_of("\">");
        if (open != std::string::npos && close > open) {
            includes.push_back({line.number, line.text.substr(open + 1, close - open - 1),
                                line.text[open] == '"'});
        }
    }
    return includes;
}

std::vector<std::string> resolve(const SourceTree& tree, const std::string& from,
                                 const std::string& name) {
    const fs::path beside = (fs::path(from).parent_path() / name).lexically_normal();
    for (const std::string& path : {beside.generic_string(), "tools/" + name}) {
        if (tree.contains(path)) {
            return {path};
        }
    }
    std::vector<std::string> found;
    for (const auto& [path, text] : tree) {
        if (path.ends_with("/" + name)) {
            found.push_back(path);
        }
    }
    return found;
}

std::vector<std::string> identifiers_with_prefix(std::string_view code, std::string_view prefix) {
    std::vector<std::string> identifiers;
    for (size_t at = code.find(prefix); at != std::string_view::npos; at = code.find(prefix, at)) {
        const bool starts = at == 0 || !is_identifier_char(code[at - 1]);
        size_t end = at;
        while (end < code.size() && is_identifier_char(code[end])) {
            end++;
        }
        if (starts) {
            identifiers.emplace_back(code.substr(at, end - at));
        }
        at = end;
    }
    return identifiers;
}

}  // namespace quon::layers
