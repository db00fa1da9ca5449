// docs/DESIGN.md names files and functions: they must exist under these names.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string content_of(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The sources of the daemon and of its libraries by their names.
std::map<std::string, std::string> sources() {
    std::map<std::string, std::string> all;
    for (const char* folder : {"common", "dbus", "src", "quon_mcu_daemon"}) {
        for (const auto& entry :
             fs::recursive_directory_iterator(fs::path(QUON_SOURCE_FOLDER) / folder)) {
            const std::string kind = entry.path().extension().string();
            if (kind == ".cpp" || kind == ".h") {
                all[entry.path().filename().string()] = content_of(entry.path());
            }
        }
    }
    return all;
}

std::vector<std::string> lines_of_page() {
    std::istringstream page(content_of(fs::path(QUON_SOURCE_FOLDER) / "docs/DESIGN.md"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(page, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The words between backquotes.
std::vector<std::string> quoted_words(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream parts(line);
    std::string part;
    for (int i = 0; std::getline(parts, part, '`'); i++) {
        if (i % 2 == 1) {
            words.push_back(part);
        }
    }
    return words;
}

bool is_source_name(const std::string& word) {
    return (word.ends_with(".cpp") || word.ends_with(".h")) && word.find('/') == std::string::npos;
}

// Defined, called, or a row of a table of functions.
bool has_function(const std::string& source, const std::string& name) {
    return source.find(name + "(") != std::string::npos ||
           source.find("(" + name + ",") != std::string::npos;
}

TEST(TheDesignPage, NamesSourcesThatAreThere) {
    const std::map<std::string, std::string> all = sources();
    int named = 0;
    for (const std::string& line : lines_of_page()) {
        for (const std::string& word : quoted_words(line)) {
            if (is_source_name(word)) {
                EXPECT_TRUE(all.contains(word)) << line;
                named++;
            }
        }
    }
    EXPECT_GT(named, 50);
}

TEST(TheDesignPage, NamesFunctionsThatAreInTheirSources) {
    const std::map<std::string, std::string> all = sources();
    int steps = 0;
    for (const std::string& line : lines_of_page()) {
        const std::vector<std::string> words = quoted_words(line);
        if (line.starts_with("| `") && words.size() >= 2 && is_source_name(words[0])) {
            const auto source = all.find(words[0]);
            ASSERT_NE(source, all.end()) << line;
            EXPECT_TRUE(has_function(source->second, words[1])) << line;
            steps++;
        }
    }
    EXPECT_GT(steps, 30);
}

// The page from a heading to the next one.
std::vector<std::string> section(const std::string& heading) {
    std::vector<std::string> kept;
    bool inside = false;
    for (const std::string& line : lines_of_page()) {
        inside = line.starts_with("## ") ? line == heading : inside;
        if (inside) {
            kept.push_back(line);
        }
    }
    return kept;
}

TEST(TheDesignPage, HasOneRowForEachLock) {
    const std::regex declared(R"(\n *pthread_mutex_t \w+( =|;))");
    std::map<std::string, int> locks;
    for (const auto& [name, text] : sources()) {
        const auto found = std::distance(std::sregex_iterator(text.begin(), text.end(), declared),
                                         std::sregex_iterator());
        if (found != 0) {
            locks[name] = static_cast<int>(found);
        }
    }
    std::map<std::string, int> rows;
    for (const std::string& line : section("## Locks")) {
        const std::vector<std::string> words = quoted_words(line);
        if (line.starts_with("| ") && !words.empty()) {
            rows[words[0]]++;
        }
    }
    EXPECT_EQ(rows, locks);
    EXPECT_GE(locks.size(), 5U);
}

TEST(TheDesignPage, NamesEachSourceThatDoesWithoutALock) {
    std::string locks;
    for (const std::string& line : section("## Locks")) {
        locks += line + "\n";
    }
    int checked = 0;
    for (const auto& [name, text] : sources()) {
        if (text.find("std::atomic<") != std::string::npos ||
            text.find("__atomic_") != std::string::npos) {
            EXPECT_NE(locks.find("`" + name + "`"), std::string::npos) << name;
            checked++;
        }
    }
    EXPECT_GE(checked, 5);
}

}  // namespace
