#include "transcript.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace quon::test {

namespace {

using Kind = TranscriptStep::Kind;

const std::pair<const char*, Kind> kKeywords[] = {
    {"chip", Kind::kChip},   {"daemon", Kind::kDaemon}, {"control", Kind::kControl},
    {"frame", Kind::kFrame}, {"log", Kind::kLog},       {"$", Kind::kCommand},
};

bool add_step(std::vector<TranscriptStep>& steps, const std::string& text, int line) {
    const std::string first = text.substr(0, text.find(' '));
    for (const auto& [keyword, kind] : kKeywords) {
        if (first == keyword) {
            const std::string words = text == first ? "" : text.substr(first.size() + 1);
            steps.push_back({.kind = kind, .words = words, .line = line, .out = {}, .err = {}});
            return true;
        }
    }
    return false;
}

bool add_expectation(std::vector<TranscriptStep>& steps, const std::string& text) {
    if (steps.empty() || steps.back().kind != Kind::kCommand || text.size() < 2) {
        return false;
    }
    TranscriptStep& step = steps.back();
    const std::string rest = text.substr(2);
    if (text.starts_with("  ")) {
        step.out.push_back(rest == "~" ? "" : rest);
    } else if (text.starts_with("! ")) {
        step.err.push_back(rest);
    } else if (text.starts_with("? ")) {
        step.status = std::stoi(rest);
    } else {
        return false;
    }
    return true;
}

struct Placeholder {
    const char* name;
    const char* characters;  // null: any
};
constexpr Placeholder kPlaceholders[] = {
    {"<n>", "0123456789"}, {"<hex>", "0123456789abcdef"}, {"<any>", nullptr}};

// Whether `text` from `at` on is what `expected` from `from` on asks for.
bool matches(const std::string& expected, std::size_t from, const std::string& text,
             std::size_t at) {
    for (const Placeholder& each : kPlaceholders) {
        const std::string name = each.name;
        if (expected.compare(from, name.size(), name) != 0) {
            continue;
        }
        std::size_t end = text.size();
        if (each.characters != nullptr) {
            end = text.find_first_not_of(each.characters, at);
            end = end == std::string::npos ? text.size() : end;
        }
        for (std::size_t next = each.characters == nullptr ? at : at + 1; next <= end; ++next) {
            if (matches(expected, from + name.size(), text, next)) {
                return true;
            }
        }
        return false;
    }
    if (from == expected.size() || at == text.size()) {
        return from == expected.size() && at == text.size();
    }
    return expected[from] == text[at] && matches(expected, from + 1, text, at + 1);
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

std::vector<TranscriptStep> read_transcript(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error(path + ": cannot be read");
    }
    std::vector<TranscriptStep> steps;
    int line = 0;
    for (std::string text; std::getline(file, text);) {
        ++line;
        if (text.empty() || text.starts_with("#")) {
            continue;
        }
        if (!add_expectation(steps, text) && !add_step(steps, text, line)) {
            throw std::runtime_error(path + ":" + std::to_string(line) + ": " + text);
        }
    }
    return steps;
}

std::vector<std::string> quoted_words_of(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream stream(text);
    while (stream >> std::ws && !stream.eof()) {
        std::string word;
        if (stream.peek() == '"') {
            stream.get();
            std::getline(stream, word, '"');
        } else {
            stream >> word;
        }
        words.push_back(word);
    }
    return words;
}

std::string difference(const std::vector<std::string>& expected, const std::string& text) {
    const std::vector<std::string> actual = lines_of(text);
    bool same = expected.size() == actual.size();
    for (std::size_t i = 0; same && i < expected.size(); ++i) {
        same = matches(expected[i], 0, actual[i], 0);
    }
    if (same) {
        return "";
    }
    std::string report = "expected:\n";
    for (const std::string& each : expected) {
        report += "  " + each + "\n";
    }
    return report + "printed:\n" + text;
}

}  // namespace quon::test
