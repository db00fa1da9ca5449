// Rules of the tree: who may include whom, who may name the driver, and where conditional code and
// parts of the C++ library may be used.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "source_tree.h"

namespace {

using namespace quon::layers;

struct Folder {
    std::string_view path;
    int height;
};

// A folder may include its own headers and those of lower folders, but not those of other folders
// on the same level.
constexpr Folder kHouse[] = {
    {"tools/quon_mcu/", 10},
    {"tools/hi3861l_sim/", 10},
    {"tools/testing/", 10},
    {"tools/catalog/", 9},
    {"tools/shared/", 8},
    {"tools/world/", 8},
    {"quon_mcu_daemon/src/", 8},
    {"quon_mcu_daemon/hal/", 7},
    {"quon_mcu_daemon/hal/hi3861l/src/", 6},
    {"quon_mcu_daemon/hal/example/", 6},
    {"client/", 5},
    {"quon_mcu_daemon/hal/network/", 5},  // what drivers share
    {"quon_mcu_daemon/hal/hi3861l/src/channel/", 5},
    {"quon_mcu_daemon/hal/hi3861l/include/", 4},  // facts that several floors need
    {"quon_mcu_daemon/include/", 4},              // the same
    {"quon_mcu_daemon/hal/include/", 3},          // the same, whatever the chip
    {"dbus/", 3},
    {"src/", 3},
    {"common/queue/", 2},
    {"common/log/", 1},
    {"common/securec/", 1},
    {"common/platform/", 0},
    {"common/descriptor/", 0},
    {"common/bytes/", 0},
    {"common/clock/", 0},
};

constexpr std::string_view kDriver = "quon_mcu_daemon/hal/hi3861l/";
constexpr std::string_view kDoorToTheDriver = "quon_mcu_daemon/hal/mcu_ops";
constexpr std::string_view kPlatform = "common/platform/include/quon_platform.h";

// The parts of the C++ library that need nothing from it at run time.
constexpr std::string_view kHeaderOnly[] = {
    "algorithm", "array",   "atomic",      "bit",    "charconv",    "chrono",  "concepts",
    "cstddef",   "cstdint", "iterator",    "limits", "new",         "numeric", "optional",
    "ranges",    "span",    "string_view", "tuple",  "type_traits", "utility",
};

const std::vector<std::string> kAllFolders = {"common",          "dbus",   "src",
                                              "quon_mcu_daemon", "client", "tools"};

using Findings = std::vector<std::string>;

std::string at(const std::string& path, int line, const std::string& what) {
    return path + ":" + std::to_string(line) + ": " + what;
}

// The innermost listed folder that contains the file; null if there is none.
const Folder* folder_of(std::string_view path) {
    const Folder* best = nullptr;
    for (const Folder& folder : kHouse) {
        if (path.starts_with(folder.path) &&
            (best == nullptr || folder.path.size() > best->path.size())) {
            best = &folder;
        }
    }
    return best;
}

bool is_device_code(std::string_view path) {
    return !path.starts_with("tools/");
}

struct Edge {
    int line;
    std::string name;                  // as included
    std::vector<std::string> targets;  // files that it may refer to
};

std::vector<Edge> edges_of(const SourceTree& tree, const std::string& path) {
    std::vector<Edge> edges;
    for (const Include& include : includes_of(tree.at(path))) {
        if (include.quoted) {
            edges.push_back({include.line, include.name, resolve(tree, path, include.name)});
        }
    }
    return edges;
}

Findings wrong_includes(const SourceTree& tree) {
    Findings findings;
    for (const auto& [path, text] : tree) {
        const Folder* own = folder_of(path);
        if (own == nullptr) {
            findings.push_back(path + ": stands in no folder of the house");
            continue;
        }
        for (const Edge& edge : edges_of(tree, path)) {
            // The build generates headers for tools, but none for device code.
            if (edge.targets.size() > 1 || (edge.targets.empty() && is_device_code(path))) {
                findings.push_back(
                    at(path, edge.line, "cannot tell what it includes: " + edge.name));
            }
            for (const std::string& target : edge.targets) {
                const Folder* other = folder_of(target);
                if (other != own && (other == nullptr || other->height >= own->height)) {
                    findings.push_back(at(path, edge.line, "includes " + target));
                }
            }
        }
    }
    return findings;
}

// A target's include folders determine what its files can include; a name with a path in it would
// bypass them.
Findings includes_by_path(const SourceTree& tree) {
    Findings findings;
    for (const auto& [path, text] : tree) {
        for (const Include& include : includes_of(text)) {
            if (is_device_code(path) && include.quoted &&
                include.name.find('/') != std::string::npos) {
                findings.push_back(at(path, include.line, "includes by path " + include.name));
            }
        }
    }
    return findings;
}

Findings driver_names_outside(const SourceTree& tree) {
    Findings findings;
    for (const auto& [path, text] : tree) {
        if (!is_device_code(path) || path.starts_with(kDriver)) {
            continue;
        }
        for (const Line& line : code_lines(text)) {
            const bool door = path.starts_with(kDoorToTheDriver);
            for (const std::string& name : identifiers_with_prefix(line.text, "hi3861l_")) {
                const bool is_include = line.text[0] == '#' && name == "hi3861l_dev";
                if (!door || (name != "hi3861l_get_ops_handle" && !is_include)) {
                    findings.push_back(at(path, line.number, "names " + name));
                }
            }
        }
    }
    return findings;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> all;
    for (std::string word; in >> word;) {
        all.push_back(word);
    }
    return all;
}

struct Directive {
    int line;
    std::string name;
    std::string argument;
};

std::vector<Directive> directives_of(std::string_view text) {
    std::vector<Directive> directives;
    for (const Line& line : code_lines(text)) {
        if (line.text[0] == '#') {
            auto parts = words(line.text.substr(1));
            parts.resize(std::max<size_t>(parts.size(), 2));
            directives.push_back({line.number, parts[0], parts[1]});
        }
    }
    return directives;
}

bool opens_include_guard(const std::vector<Directive>& directives, size_t i) {
    return i == 0 && directives.size() > 1 && directives[0].name == "ifndef" &&
           directives[1].name == "define" && directives[0].argument == directives[1].argument;
}

Findings conditional_code(const SourceTree& tree) {
    constexpr std::array<std::string_view, 7> kKinds = {"if",      "ifdef",    "ifndef", "elif",
                                                        "elifdef", "elifndef", "else"};
    Findings findings;
    for (const auto& [path, text] : tree) {
        if (!is_device_code(path) || path == kPlatform) {
            continue;
        }
        const auto directives = directives_of(text);
        for (size_t i = 0; i < directives.size(); i++) {
            const Directive& directive = directives[i];
            const bool language = directive.name == "ifdef" && directive.argument == "__cplusplus";
            if (std::ranges::find(kKinds, directive.name) != kKinds.end() && !language &&
                !opens_include_guard(directives, i)) {
                findings.push_back(
                    at(path, directive.line, "#" + directive.name + " " + directive.argument));
            }
        }
    }
    return findings;
}

Findings heavy_library_parts(const SourceTree& tree) {
    Findings findings;
    for (const auto& [path, text] : tree) {
        for (const Include& include : includes_of(text)) {
            const bool cxx = !include.quoted && include.name.find('.') == std::string::npos;
            if (is_device_code(path) && cxx &&
                std::ranges::find(kHeaderOnly, include.name) == std::end(kHeaderOnly)) {
                findings.push_back(at(path, include.line, "includes <" + include.name + ">"));
            }
        }
    }
    return findings;
}

// One finding per line, for readability.
std::string list(const Findings& findings) {
    std::string text;
    for (const std::string& finding : findings) {
        text += finding + "\n";
    }
    return text;
}

SourceTree the_tree() {
    return read_tree(QUON_SOURCE_FOLDER, kAllFolders);
}

TEST(TheTree, IncludesOnlyWhatIsBelow) {
    EXPECT_EQ(list(wrong_includes(the_tree())), "");
}

TEST(TheTree, IncludesByNameAloneForTheDevice) {
    EXPECT_EQ(list(includes_by_path(the_tree())), "");
}

TEST(TheTree, NamesTheDriverOnlyInItsDoorAndOnlyByOneFunction) {
    EXPECT_EQ(list(driver_names_outside(the_tree())), "");
}

TEST(TheTree, GoesThroughTheDoorToTheDriver) {
    const SourceTree tree = the_tree();
    const auto found = tree.find("quon_mcu_daemon/hal/mcu_ops.cpp");
    ASSERT_NE(found, tree.end());
    EXPECT_FALSE(identifiers_with_prefix(found->second, "hi3861l_get_ops_handle").empty());
}

TEST(TheTree, HasConditionalCodeForTheDeviceInOneHeaderOnly) {
    EXPECT_EQ(list(conditional_code(the_tree())), "");
}

TEST(TheTree, TakesOnlyHeaderOnlyPartsOfTheCxxLibraryForTheDevice) {
    EXPECT_EQ(list(heavy_library_parts(the_tree())), "");
}

// Each rule detects a planted fault.
const SourceTree kPlanted = {
    {"common/log/include/quon_log.h", "#ifndef QUON_LOG_H\n#define QUON_LOG_H\n#endif\n"},
    {"common/log/src/up.cpp", "#include \"quon_queue.h\"\n"},
    {"common/queue/include/quon_queue.h", "#include \"quon_log.h\"\n"},
    {"common/stray.h", "\n"},
    {"dbus/neighbour.cpp", "\n// why\n#include \"websocket.h\"\n#include \"nowhere.h\"\n"},
    {"src/websocket.h", "#ifndef A\n#define B\n#endif\n"},
    {"src/websocket.cpp",
     "#include <vector>\n#include <span>\n#include <cstdint>\n#include <poll.h>\n"},
    {"quon_mcu_daemon/hal/mcu_ops.h", "#include \"mcu_records.h\"\n"},
    {"quon_mcu_daemon/hal/mcu_ops.cpp",
     "#include \"hi3861l_dev.h\"\nx = hi3861l_get_ops_handle();\ny = hi3861l_other();\n"},
    {"quon_mcu_daemon/hal/hi3861l/include/hi3861l_dev.h", "\n"},
    {"quon_mcu_daemon/hal/include/mcu_records.h", "\n"},
    {"quon_mcu_daemon/src/handler.cpp",
     "#include \"mcu_ops.h\"\n#include \"mcu_records.h\"\n#include "
     "\"../hal/hi3861l/include/hi3861l_dev.h\"\n"
     "/* hi3861l_ignored */ call(hi3861l_api_get_time); // hi3861l_ignored\n"
     "#ifdef __cplusplus\n#else\n#endif\n"},
    {"tools/quon_mcu/names.h", "\n"},
    {"tools/catalog/names.h", "#include \"quon_mcu/names.h\"\n"},
    {"tools/hi3861l_sim/main.cpp",
     "#include \"names.h\"\n#include \"made_by_the_build.h\"\n#include <vector>\n#if "
     "1\n#endif\nhi3861l_anything();\n"},
};

TEST(TheIncludeRule, FindsHeadersAboveOnTheSameLevelAndUnknown) {
    EXPECT_EQ(wrong_includes(kPlanted),
              (Findings{"common/log/src/up.cpp:1: includes common/queue/include/quon_queue.h",
                        "common/stray.h: stands in no folder of the house",
                        "dbus/neighbour.cpp:3: includes src/websocket.h",
                        "dbus/neighbour.cpp:4: cannot tell what it includes: nowhere.h",
                        "tools/catalog/names.h:1: includes tools/quon_mcu/names.h",
                        "tools/hi3861l_sim/main.cpp:1: cannot tell what it includes: names.h",
                        "tools/hi3861l_sim/main.cpp:1: includes tools/quon_mcu/names.h"}));
}

TEST(ThePathRule, FindsAPathInAnInclude) {
    EXPECT_EQ(includes_by_path(kPlanted),
              (Findings{"quon_mcu_daemon/src/handler.cpp:3: includes by path "
                        "../hal/hi3861l/include/hi3861l_dev.h"}));
}

TEST(TheDriverNameRule, FindsOtherNamesInTheDoorAndAnyNameElsewhere) {
    EXPECT_EQ(driver_names_outside(kPlanted),
              (Findings{"quon_mcu_daemon/hal/mcu_ops.cpp:3: names hi3861l_other",
                        "quon_mcu_daemon/src/handler.cpp:3: names hi3861l_dev",
                        "quon_mcu_daemon/src/handler.cpp:4: names hi3861l_api_get_time"}));
}

TEST(TheConditionRule, FindsAllButIncludeGuardsAndTheLanguage) {
    EXPECT_EQ(conditional_code(kPlanted), (Findings{"quon_mcu_daemon/src/handler.cpp:6: #else ",
                                                    "src/websocket.h:1: #ifndef A"}));
}

TEST(TheLibraryRule, FindsAHeapContainer) {
    EXPECT_EQ(heavy_library_parts(kPlanted), (Findings{"src/websocket.cpp:1: includes <vector>"}));
}

TEST(TheSourceReader, TakesCommentsAwayButNotTextsInQuotes) {
    const auto lines = code_lines("a // b\n/* c\n d */ e\n\"// f\" '\"' // g\n1'000 // h\n");
    std::vector<std::string> texts;
    texts.reserve(lines.size());
    for (const Line& line : lines) {
        texts.push_back(std::to_string(line.number) + " " + line.text);
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"1 a", "3 e", "4 \"// f\" '\"'", "5 1'000"}));
}

TEST(TheSourceReader, TakesRawTextsAway) {
    const std::string text =
        "a = R\"x(\n#include \"no.h\"\n)\" )x\" + XR\"b\";\n#include \"c.h\"\n";
    ASSERT_EQ(includes_of(text).size(), 1U);
    EXPECT_EQ(includes_of(text)[0].name, "c.h");
    EXPECT_EQ(includes_of(text)[0].line, 4);
}

// The folder as named in docs/pictures/layers.dot, which has common/ as a whole.
std::string drawn_as(const Folder& folder) {
    return std::string(folder.path.starts_with("common/") ? "common/" : folder.path);
}

using Arrows = std::set<std::pair<std::string, std::string>>;

struct Picture {
    std::set<std::string> folders;
    Arrows includes;  // the solid arrows
};

Picture the_picture() {
    const std::regex folder(R"re( *"([^"]+)" +\[label=.*)re");
    const std::regex arrow(R"re( *"([^"]+)" -> "([^"]+)";)re");
    Picture picture;
    std::ifstream file(QUON_SOURCE_FOLDER "/docs/pictures/layers.dot");
    std::smatch found;
    for (std::string line; std::getline(file, line);) {
        if (std::regex_match(line, found, folder)) {
            picture.folders.insert(found[1]);
        } else if (std::regex_match(line, found, arrow)) {
            picture.includes.emplace(found[1], found[2]);
        }
    }
    return picture;
}

Arrows includes_between_folders() {
    const SourceTree tree = the_tree();
    Arrows arrows;
    for (const auto& [path, text] : tree) {
        for (const Edge& edge : edges_of(tree, path)) {
            for (const std::string& target : edge.targets) {
                const std::string from = drawn_as(*folder_of(path));
                const std::string to = drawn_as(*folder_of(target));
                if (from != to) {
                    arrows.emplace(from, to);
                }
            }
        }
    }
    return arrows;
}

bool has_way(const Arrows& arrows, const std::string& from, const std::string& to) {
    return std::ranges::any_of(arrows, [&](const auto& arrow) {
        return arrow.first == from && (arrow.second == to || has_way(arrows, arrow.second, to));
    });
}

TEST(ThePictureOfTheLayers, HasEveryFolderOfTheHouse) {
    std::set<std::string> house;
    for (const Folder& folder : kHouse) {
        house.insert(drawn_as(folder));
    }
    EXPECT_EQ(the_picture().folders, house);
}

TEST(ThePictureOfTheLayers, HasAWayForEachIncludeAndAnIncludeForEachArrow) {
    const Picture picture = the_picture();
    const Arrows includes = includes_between_folders();
    for (const auto& [from, to] : includes) {
        EXPECT_TRUE(has_way(picture.includes, from, to)) << from << " includes " << to;
    }
    for (const auto& arrow : picture.includes) {
        EXPECT_TRUE(includes.contains(arrow))
            << arrow.first << " does not include " << arrow.second;
    }
    EXPECT_GT(includes.size(), 20U);
}

}  // namespace
