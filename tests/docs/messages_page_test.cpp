// docs/messages.md has every message of the sources, with its level, and no others.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "scratch_folder.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

using message = std::tuple<std::string, std::string, std::string>;  // source, level, text
using message_set = std::set<message>;
using word_list = std::vector<std::string>;

// ---- Sources

std::string without_comments(const std::string& text) {
    static const std::regex kComment(R"(("(?:[^"\\\n]|\\.)*")|//[^\n]*)");
    return std::regex_replace(text, kComment, "$1");
}

// Macros are examined where they are used.
std::string without_definitions(const std::string& text) {
    static const std::regex kDefinition(R"(\n *#define (?:[^\\\n]|\\\n|\\.)*)");
    return std::regex_replace(text, kDefinition, "");
}

// The arguments of the call whose parenthesis opens at `at`.
word_list arguments_at(const std::string& text, size_t at) {
    word_list found(1);
    int depth = 0;
    bool quoted = false;
    for (size_t i = at; i < text.size(); ++i) {
        const char each = text[i];
        if (quoted && each == '\\') {
            found.back() += text.substr(i++, 2);
            continue;
        }
        quoted = quoted != (each == '"');
        depth += quoted ? 0 : each == '(' || each == '{' ? 1 : each == ')' || each == '}' ? -1 : 0;
        if (depth == 0) {
            break;
        }
        if (!quoted && depth == 1 && each == ',') {
            found.emplace_back();
        } else if (i != at) {
            found.back() += each;
        }
    }
    return found;
}

// The text of adjacent literals, or of a constant of that name.
std::string text_of(const std::string& source, const std::string& argument) {
    static const std::regex kLiteral(R"re("((?:[^"\\\n]|\\.)*)")re");
    std::string text;
    for (auto each = std::sregex_iterator(argument.begin(), argument.end(), kLiteral);
         each != std::sregex_iterator(); ++each) {
        text += (*each)[1];
    }
    if (text.empty()) {
        std::smatch constant;
        const std::string name = std::regex_replace(argument, std::regex(R"(\s)"), "");
        if (std::regex_search(source, constant,
                              std::regex("constexpr char " + name + R"re(\[\] = ("[^\n]*");)re"))) {
            return text_of("", constant[1]);
        }
    }
    return text;
}

// A way to log or print: which argument is the text, which the level, and the surrounding syntax.
struct outlet {
    const char* name;
    size_t text;
    int level;  // its argument; negative: the level is fixed
    const char* fixed;
    const char* before;
    const char* after;
};
constexpr outlet kOutlets[] = {
    {"QnLogPrint", 5, 0, "", "", ""},
    {"DAEMON_LOG", 1, 0, "", "", ""},
    {"DAEMON_LOG_AS", 3, 2, "", "", ""},
    {"HI3861L_LOG", 1, 0, "", "", ""},
    {"MCU_LOG", 2, 1, "", "", ""},
    {"QUEUE_ERROR", 0, -1, "1", "", ""},
    {"hi3861l_failed", 2, -1, "1", "[", R"(] failed\n)"},
    {"QnLogHexDump", 0, -1, "4", "D/HEX ", ": %04X-%04X: "},
    {"PRINT", 0, -1, "-", "[%s][%s][l:%d],", R"(\n\r\n)"},
    {"printf", 0, -1, "-", "", ""},
    {"puts", 0, -1, "-", "", ""},
    {"perror", 0, -1, "-", "", ""},
};

std::string level_of(const outlet& way, const word_list& arguments) {
    static const std::map<std::string, std::string> kLevels = {{"QN_LOG_FATAL", "0"},
                                                               {"QN_LOG_ERROR", "1"},
                                                               {"QN_LOG_WARN", "2"},
                                                               {"QN_LOG_INFO", "3"},
                                                               {"QN_LOG_DEBUG", "4"}};
    if (way.level < 0) {
        return way.fixed;
    }
    const std::string word =
        std::regex_replace(arguments.at(static_cast<size_t>(way.level)), std::regex(R"(\s)"), "");
    const auto found = kLevels.find(word);
    return found == kLevels.end() ? "unknown level " + word : found->second;
}

// Texts that represent those of a table: "%s" for the signals, "[%s] failed" for the reasons.
bool is_filled_from_table(const std::string& text) {
    return text == "%s" || text == R"([%s] failed\n)";
}

void add_calls(const std::string& name, const std::string& source, const std::string& constants,
               message_set& found) {
    for (const outlet& way : kOutlets) {
        const std::regex call(std::string(R"((?:^|[^\w]))") + way.name + R"(\()");
        for (auto each = std::sregex_iterator(source.begin(), source.end(), call);
             each != std::sregex_iterator(); ++each) {
            const auto at = static_cast<size_t>(each->position() + each->length()) - 1;
            const word_list arguments = arguments_at(source, at);
            const bool is_declaration =
                arguments.size() <= way.text || arguments[0].find("const char*") == 0;
            if (is_declaration) {
                continue;
            }
            const std::string text = text_of(constants, arguments[way.text]);
            if (!is_filled_from_table(text)) {
                found.emplace(name, level_of(way, arguments), way.before + text + way.after);
            }
        }
    }
}

// The texts in tables: of the signals, and of the handlers' rows.
void add_tables(const std::string& name, const std::string& source, message_set& found) {
    const std::regex signal_row(R"re(\{SIG[A-Z]+, "([A-Z]+\\n)"\})re");
    for (auto each = std::sregex_iterator(source.begin(), source.end(), signal_row);
         each != std::sregex_iterator(); ++each) {
        const std::string text = (*each)[1];
        if (text != R"(SIGABRT\n)") {  // printed by itself
            found.emplace(name, "4", text);
        }
    }
    const std::regex reason(
        R"re((?:_QUERY\(quon|COMMAND\(quon|METHOD\(quon|handler_row kRow =)[^;"]*?"(\w+ failed)")re");
    for (auto each = std::sregex_iterator(source.begin(), source.end(), reason);
         each != std::sregex_iterator(); ++each) {
        found.emplace(name, "1", "[" + (*each)[1].str() + R"(] failed\n)");
    }
}

std::string constants_of_the_bus() {
    return content_of(fs::path(QUON_SOURCE_FOLDER) / "dbus/dbus_module.h");
}

message_set messages_of_sources() {
    message_set found;
    for (const char* folder : {"common/queue", "dbus", "src", "quon_mcu_daemon"}) {
        for (const auto& entry :
             fs::recursive_directory_iterator(fs::path(QUON_SOURCE_FOLDER) / folder)) {
            const std::string kind = entry.path().extension().string();
            if (kind == ".cpp" || kind == ".h") {
                const std::string source =
                    without_definitions(without_comments(content_of(entry.path())));
                const std::string name = entry.path().filename().string();
                add_calls(name, source, source + constants_of_the_bus(), found);
                add_tables(name, source, found);
            }
        }
    }
    return found;
}

// ---- The page

word_list cells_of(const std::string& line) {
    word_list cells;
    std::istringstream parts(line.substr(1));
    for (std::string cell; std::getline(parts, cell, '|');) {
        const size_t first = cell.find_first_not_of(' ');
        cells.push_back(first == std::string::npos
                            ? ""
                            : cell.substr(first, cell.find_last_not_of(' ') - first + 1));
    }
    return cells;
}

std::vector<word_list> rows_of_page() {
    std::vector<word_list> rows;
    std::istringstream page(content_of(fs::path(QUON_SOURCE_FOLDER) / "docs/messages.md"));
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("| `")) {
            // A blank at the beginning or end belongs to the text.
            const size_t end = line.find('`', 3);
            word_list cells = cells_of(line.substr(end + 1).substr(1));
            cells.insert(cells.begin(), line.substr(3, end - 3));
            rows.push_back(cells);
        }
    }
    return rows;
}

message_set messages_of_page() {
    message_set found;
    for (const word_list& row : rows_of_page()) {
        std::istringstream sources(row.at(2));
        for (std::string source; std::getline(sources, source, ',');) {
            source.erase(0, source.find_first_not_of(' '));
            found.emplace(source, row.at(1), row.at(0));
        }
    }
    return found;
}

std::string shown(const message_set& messages) {
    std::string text;
    for (const auto& [source, level, words] : messages) {
        text.append(source).append(" ").append(level).append(" ").append(words).append("\n");
    }
    return text;
}

message_set difference(const message_set& all, const message_set& known) {
    message_set rest;
    std::ranges::set_difference(all, known, std::inserter(rest, rest.end()));
    return rest;
}

TEST(ThePageOfMessages, HasEveryMessageOfTheSources) {
    const message_set all = messages_of_sources();
    EXPECT_EQ(shown(difference(all, messages_of_page())), "");
    EXPECT_GT(all.size(), 100U);
}

TEST(ThePageOfMessages, HasNoMessageThatNoSourceHas) {
    EXPECT_EQ(shown(difference(messages_of_page(), messages_of_sources())), "");
}

TEST(ThePageOfMessages, SaysOfEachWhatItMeansAndWhatToDo) {
    for (const word_list& row : rows_of_page()) {
        for (size_t i = 3; i < row.size(); ++i) {
            EXPECT_FALSE(row[i].empty()) << row[0];
        }
        EXPECT_GE(row.size(), 4U) << row[0];
    }
}

TEST(TheScanOfTheSources, FindsTextsInEachFormThatTheyHave) {
    const std::string source =
        "constexpr char kGone[] = \"gone\\n\";\n"
        "// printf(\"a comment\");\n"
        "#define LOUD(x) \\\n    printf(\"a macro\", x)\n"
        "void f() {\n"
        "    DAEMON_LOG(QN_LOG_WARN, \"one (%d, %d)\\n\", a, b);\n"
        "    printf(\"two \"\n           \"pieces: %s\\n\", g(\",\"));\n"
        "    QUEUE_ERROR(kGone);\n"
        "    snprintf(text, 3, \"no message\");\n"
        "    return hi3861l_failed(__func__, __LINE__, \"three failed\");\n"
        "}\n";
    message_set found;
    const std::string scanned = without_definitions(without_comments(source));
    add_calls("f.cpp", scanned, scanned, found);
    EXPECT_EQ(shown(found),
              "f.cpp - two pieces: %s\\n\n"
              "f.cpp 1 [three failed] failed\\n\n"
              "f.cpp 1 gone\\n\n"
              "f.cpp 2 one (%d, %d)\\n\n");
}

}  // namespace
}  // namespace quon::test
