// README.md: its map has every folder, and its transcript the demo's steps. CHANGELOG.md: this
// version.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path kTop = QUON_SOURCE_FOLDER;

std::string content_of(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(TheReadme, HasEveryFolderInItsMap) {
    const std::string page = content_of(kTop / "README.md");
    const std::string map = page.substr(page.find("## The map of the house"));
    int checked = 0;
    for (const fs::path& parent : {kTop, kTop / "tests", kTop / "tools"}) {
        for (const auto& entry : fs::directory_iterator(parent)) {
            const std::string name = entry.path().filename().string();
            if (entry.is_directory() && !name.starts_with('.') && name != "build") {
                const std::string shown =
                    parent.filename() == "tools" ? "`tools/" + name + "/" : "`" + name + "/";
                EXPECT_NE(map.find(shown), std::string::npos) << shown;
                checked++;
            }
        }
    }
    EXPECT_GT(checked, 15);
}

// Steps of the tour: check NAME EXPECTED, check_eventually NAME SHOWN, passed NAME VALUE.
std::map<std::string, std::string> steps_of_the_tour() {
    const std::string script = content_of(kTop / "scripts/lib/demo-tour");
    const std::regex step(
        R"re(\n *(?:check|check_eventually|passed) "([A-Za-z][^"]*)" (?:\\\n *)?(?:"([^"]*)"|'([^']*)'|(\S+)))re");
    std::map<std::string, std::string> steps;
    for (auto found = std::sregex_iterator(script.begin(), script.end(), step);
         found != std::sregex_iterator(); ++found) {
        steps[(*found)[1]] = (*found)[2].str() + (*found)[3].str() + (*found)[4].str();
    }
    return steps;
}

TEST(TheReadme, ShowsTheStepsOfTheDemoAndWhatTheyShow) {
    const std::string page = content_of(kTop / "README.md");
    const std::regex line(R"(\n    ok    (.{36}) (.*))");
    std::map<std::string, std::string> shown;
    for (auto found = std::sregex_iterator(page.begin(), page.end(), line);
         found != std::sregex_iterator(); ++found) {
        const std::string name = (*found)[1];
        shown[name.substr(0, name.find_last_not_of(' ') + 1)] = (*found)[2];
    }
    std::map<std::string, std::string> steps = steps_of_the_tour();
    for (auto& [name, value] : steps) {
        value = std::regex_replace(value, std::regex(R"(\$port)"), "9000");
    }
    EXPECT_EQ(shown, steps);
    EXPECT_NE(page.find("demo: all " + std::to_string(steps.size()) + " steps passed"),
              std::string::npos);
}

TEST(TheChanges, AreToldOfThisVersionUnderWhatIsNotYetOne) {
    const std::string page = content_of(kTop / "CHANGELOG.md");
    const std::size_t unreleased = page.find("\n## ");
    EXPECT_EQ(page.substr(unreleased, 15), "\n## Unreleased\n");
    EXPECT_EQ(page.find("\n## ", unreleased + 1),
              page.find(std::string("\n## ") + QUON_VERSION + "\n"));
}

}  // namespace
