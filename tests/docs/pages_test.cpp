// Every page of the tree: its links work, and the commands that it shows print what it says. A
// block that begins with ```console is run: lines with "$ " are shell commands in the top folder,
// those below are their output. Three dots match any text; on a line of their own, any lines.
// Colours, and the line that names the kind of world, are ignored.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "child_process.h"
#include "scratch_folder.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

const fs::path kTop = QUON_SOURCE_FOLDER;

std::vector<std::string> lines_of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<fs::path> pages() {
    const std::set<fs::path> not_ours = {".git", ".cache", "build"};
    std::vector<fs::path> found;
    for (auto entry = fs::recursive_directory_iterator(kTop); entry != end(entry); ++entry) {
        if (entry.depth() == 0 && not_ours.contains(entry->path().filename())) {
            entry.disable_recursion_pending();
        } else if (entry->path().extension() == ".md") {
            found.push_back(entry->path().lexically_normal());
        }
    }
    std::ranges::sort(found);
    return found;
}

// --- links

// The part of an address that refers to a heading.
std::string anchor_of(const std::string& heading) {
    std::string anchor;
    for (const char c : heading.substr(heading.find_first_not_of("# "))) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0 || c == '-' || c == '_') {
            anchor += static_cast<char>(std::tolower(byte));
        } else if (c == ' ') {
            anchor += '-';
        }
    }
    return anchor;
}

std::set<std::string> anchors_of(const fs::path& page) {
    std::set<std::string> anchors;
    for (const std::string& line : lines_of(content_of(page))) {
        if (line.starts_with('#')) {
            anchors.insert(anchor_of(line));
        }
    }
    return anchors;
}

// What is wrong with a link of a page; empty if nothing.
std::string fault_of(const fs::path& page, const std::string& link) {
    const std::size_t hash = link.find('#');
    const fs::path target =
        hash == 0 ? page : (page.parent_path() / link.substr(0, hash)).lexically_normal();
    if (!fs::exists(target)) {
        return "leads nowhere";
    }
    if (hash != std::string::npos && !anchors_of(target).contains(link.substr(hash + 1))) {
        return "names no heading";
    }
    return "";
}

std::vector<std::string> relative_links(const std::string& text) {
    static const std::regex kLink(R"(\]\(([^)\s]+)\))");
    std::vector<std::string> links;
    for (auto at = std::sregex_iterator(text.begin(), text.end(), kLink);
         at != std::sregex_iterator(); ++at) {
        const std::string link = (*at)[1];
        if (link.find("://") == std::string::npos && !link.starts_with("mailto:")) {
            links.push_back(link);
        }
    }
    return links;
}

TEST(ThePages, AreThoseOfEveryFolder) {
    const std::vector<fs::path> all = pages();
    for (const char* page : {"README.md", "docs/DESIGN.md", "tests/fuzz/README.md"}) {
        EXPECT_EQ(std::ranges::count(all, (kTop / page).lexically_normal()), 1) << page;
    }
}

TEST(TheLinks, OfEveryPageLeadSomewhere) {
    int followed = 0;
    for (const fs::path& page : pages()) {
        for (const std::string& link : relative_links(content_of(page))) {
            EXPECT_EQ(fault_of(page, link), "") << page << ": " << link;
            followed++;
        }
    }
    EXPECT_GE(followed, 40);
}

TEST(TheLinks, ThatLeadNowhereAreNoticed) {
    const ScratchFolder folder;
    const fs::path page = folder.path() / "page.md";
    write_file(page,
               "# One, two\n[a](page.md#one-two) [b](none.md) [c](#three) [d](page.md#One)\n");
    std::vector<std::string> faults;
    for (const std::string& link : relative_links(content_of(page))) {
        faults.push_back(fault_of(page, link));
    }
    EXPECT_EQ(faults, (std::vector<std::string>{"", "leads nowhere", "names no heading",
                                                "names no heading"}));
}

// --- commands

struct Session {
    std::string place;  // page and line
    std::string command;
    std::vector<std::string> expected;
};

void PrintTo(const Session& session, std::ostream* out) {
    *out << session.place;
}

// The sessions of a page's blocks.
std::vector<Session> sessions_of(const std::string& name, const std::string& text) {
    std::vector<Session> sessions;
    bool inside = false;
    int number = 0;
    for (const std::string& line : lines_of(text)) {
        number++;
        if (line.starts_with("```")) {
            inside = line == "```console";
        } else if (inside && line.starts_with("$ ")) {
            sessions.push_back({name + ":" + std::to_string(number), line.substr(2), {}});
        } else if (inside) {
            if (sessions.empty()) {
                sessions.push_back({name + ":" + std::to_string(number), "false", {}});
            }
            sessions.back().expected.push_back(line);
        }
    }
    return sessions;
}

std::vector<Session> all_sessions() {
    std::vector<Session> all;
    for (const fs::path& page : pages()) {
        for (Session& each : sessions_of(page.filename().string(), content_of(page))) {
            all.push_back(std::move(each));
        }
    }
    return all;
}

// Whether a line matches the expected one, whose dots match any text.
bool fits_line(const std::string& expected, const std::string& line) {
    std::size_t at = 0;
    std::size_t from = 0;
    for (bool first = true;; first = false) {
        const std::size_t dots = expected.find("...", from);
        const std::string part = expected.substr(from, dots - from);
        if (dots == std::string::npos) {
            return first ? line == part : line.size() >= at + part.size() && line.ends_with(part);
        }
        const std::size_t found = line.find(part, at);
        if (found == std::string::npos || (first && found != 0)) {
            return false;
        }
        at = found + part.size();
        from = dots + 3;
    }
}

using Lines = std::vector<std::string>;

bool fit(Lines::const_iterator expected, Lines::const_iterator expected_end,
         Lines::const_iterator line, Lines::const_iterator end) {
    for (; expected != expected_end; ++expected, ++line) {
        if (*expected == "...") {
            for (;; ++line) {
                if (fit(expected + 1, expected_end, line, end)) {
                    return true;
                }
                if (line == end) {
                    return false;
                }
            }
        }
        if (line == end || !fits_line(*expected, *line)) {
            return false;
        }
    }
    return line == end;
}

bool fits(const Lines& expected, const Lines& lines) {
    return fit(expected.begin(), expected.end(), lines.begin(), lines.end());
}

Lines printed_by(const std::string& command) {
    const Result result =
        run({"env", "PATH=" QUON_PROGRAMS ":/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin", "bash",
             "-c", "cd \"$1\" && { " + command + "\n} 2>&1", "bash", kTop.string()},
            {}, 3 * kLongEnough);
    static const std::regex kColour("\x1b\\[[0-9;]*m");
    Lines lines;
    for (const std::string& line : lines_of(std::regex_replace(result.out, kColour, ""))) {
        if (line !=
            "hi3861l-sim: in a world of its own: network with wlan0, /tmp, /etc/resolv.conf") {
            lines.push_back(line);
        }
    }
    return lines;
}

std::string joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

class AShownCommand : public testing::TestWithParam<Session> {};

TEST_P(AShownCommand, PrintsWhatThePageSays) {
    const Lines lines = printed_by(GetParam().command);
    EXPECT_TRUE(fits(GetParam().expected, lines)) << GetParam().command << "\n---- printed\n"
                                                  << joined(lines) << "---- the page says\n"
                                                  << joined(GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Of, AShownCommand, testing::ValuesIn(all_sessions()), [](const auto& row) {
    std::string name = row.param.place;
    std::erase_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
    return name;
});

TEST(ShownCommands, AreThereForEachSymptomAndForEachPage) {
    std::set<std::string> with_commands;
    for (const Session& each : all_sessions()) {
        with_commands.insert(each.place.substr(0, each.place.find(':')));
    }
    EXPECT_EQ(with_commands,
              (std::set<std::string>{"getting-started.md", "porting.md", "start-up.md",
                                     "threads.md", "troubleshooting.md"}));
    std::istringstream page(content_of(kTop / "docs/troubleshooting.md"));
    int symptoms = 0;
    bool shown = true;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) {
            EXPECT_TRUE(shown) << "before " << line;
            shown = false;
            symptoms++;
        }
        shown = shown || line == "```console";
    }
    EXPECT_TRUE(shown);
    EXPECT_EQ(symptoms, 7);
}

TEST(ShownCommands, ThatPrintSomethingElseAreNoticed) {
    const std::vector<Session> sessions =
        sessions_of("page", "```console\n$ echo a; echo b\na\nb\n```\nout\n```\n$ none\n```\n");
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].place, "page:2");
    const Lines lines = printed_by(sessions[0].command);
    EXPECT_TRUE(fits(sessions[0].expected, lines));
    EXPECT_TRUE(fits({"..."}, lines));
    EXPECT_TRUE(fits({"...", "b"}, lines));
    EXPECT_TRUE(fits({"a", "...", "b"}, lines));
    EXPECT_FALSE(fits({"a"}, lines));
    EXPECT_FALSE(fits({"a", "b", "c"}, lines));
    EXPECT_FALSE(fits({"...", "c", "..."}, lines));
    EXPECT_TRUE(fits_line("one ... three", "one two three"));
    EXPECT_FALSE(fits_line("one ... three", "one two three four"));
    EXPECT_FALSE(fits_line("... two", "one two three"));
    EXPECT_FALSE(fits_line("two...", "one two three"));
    EXPECT_FALSE(fits_line("ab...ba", "aba"));
}

// --- the picture of threads and locks

TEST(ThePictureOfThreads, HasEachLockOfTheDesignPage) {
    const std::string picture = content_of(kTop / "docs/pictures/threads.dot");
    std::istringstream page(content_of(kTop / "docs/DESIGN.md"));
    bool inside = false;
    int locks = 0;
    for (std::string line; std::getline(page, line);) {
        inside = line.starts_with("## ") ? line == "## Locks" : inside;
        if (!inside || !line.starts_with("| ") || line.starts_with("| lock ")) {
            continue;
        }
        const std::string lock = line.substr(2, line.find(" |", 2) - 2);
        if (lock != "example lock") {  // of a daemon built for another chip
            EXPECT_NE(picture.find("\"" + lock + "\""), std::string::npos) << lock;
            locks++;
        }
    }
    EXPECT_EQ(locks, 11);
}

}  // namespace
}  // namespace quon::test
