// scripts/lint words: each rule finds a planted line, and ignores what only resembles one.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "child_process.h"
#include "scratch_folder.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

// A checkout with the scripts and one file.
Result lint_words(const std::string& file, const std::string& text) {
    const ScratchFolder folder;
    fs::copy(fs::path(QUON_SOURCE_FOLDER) / "scripts", folder.path() / "scripts",
             fs::copy_options::recursive);
    write_file(folder.path() / file, text);
    const std::string top = folder.path().string();
    EXPECT_EQ(run({"git", "-C", top, "init", "-q"}).err, "");
    EXPECT_EQ(run({"git", "-C", top, "add", "-A"}).err, "");
    return run({top + "/scripts/lint", "words"});
}

struct Planted {
    const char* name;
    const char* file;
    const char* line;
    const char* advice;
};

void PrintTo(const Planted& row, std::ostream* out) {
    *out << row.line;
}

class APlantedLine : public testing::TestWithParam<Planted> {};

TEST_P(APlantedLine, IsFoundWithItsPlaceAndAnAdvice) {
    const Planted& row = GetParam();
    const Result result = lint_words(row.file, "\n" + std::string(row.line) + "\n");
    EXPECT_EQ(result.status, (ExitStatus{true, 1}));
    const std::string found = std::string(row.file) + ":2: " + row.advice + ": " + row.line + "\n";
    EXPECT_NE(result.err.find(found), std::string::npos) << result.err << found;
    EXPECT_NE(result.err.find("lint: found something: words\n"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Of, APlantedLine,
    testing::Values(Planted{"AnUpperConstant", "src/a.cpp", "constexpr int MAX_WAIT = 3;",
                            "a constant is named kName"},
                    Planted{"ALowerConstant", "tools/a.h",
                            "inline constexpr size_t buffer_size{4};", "a constant is named kName"},
                    Planted{"AConstantTable", "tests/a.cpp", "constexpr row rows[] = {",
                            "a constant is named kName"},
                    Planted{"AConstantText", "tests/a.cpp", "const std::string setup = \"x\";",
                            "a constant is named kName"},
                    Planted{"AMacroConstant", "dbus/a.cpp", "#define DEPTH 10",
                            "a constant of a source is no macro without arguments"},
                    Planted{"Unfounded", "src/a.cpp", "// an unfounded wake-up",
                            "what has no cause is spurious, not \"unfounded\""},
                    Planted{"Wish", "src/a.cpp", "// both are wishes",
                            "what may fail without harm is best effort, not a wish"},
                    Planted{"Behind", "src/a.cpp", "// the bytes behind it",
                            "what lies outside is beyond, not behind"},
                    Planted{"PastTheEnd", "docs/a.md", "read past the end",
                            "what lies outside is beyond the end, not past it"},
                    Planted{"PastTheLog", "src/a.cpp", "puts(\"x\");  // printed, past the log",
                            "what goes around something is bypassing it, not past it"},
                    Planted{"Documented", "src/a.cpp", "// in the documented order",
                            "a comment says the thing itself, not that it is documented"},
                    Planted{"DocumentedInAName", "tests/a.cpp", "TEST(A, DoesAsDocumentedThere) {",
                            "a comment says the thing itself, not that it is documented"},
                    Planted{"AnUncheckedCopy", "dbus/a.cpp", "memcpy(to, from, size);",
                            "a bounded copy or format of device code is one of securec.h"},
                    Planted{"ALogCall", "quon_mcu_daemon/src/a.cpp",
                            "QnLogPrint(level, tag, file, func, 1, text);",
                            "a log call goes through the module's macro"},
                    Planted{"AReminder", "src/a.cpp", "// TODO later",
                            "no reminder stays in a source"},
                    Planted{"ABanner", "src/a.cpp", "//==========", "a comment is no banner"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WhatOnlyLooksLikeOne, IsNotFound) {
    const Result result = lint_words("src/a.cpp",
                                     "constexpr int kMaxWait = 3;\n"
                                     "constexpr bool is_set(int value) {\n"
                                     "if constexpr (sizeof(int) == 4) {\n"
                                     "constexpr bool operator==(row other) = default;\n"
                                     "const int* find(int value) {\n"
                                     "// nothing is left behind; the documents in docs/\n"
                                     "#define ROW(name) name = 1\n");
    EXPECT_EQ(result.status, (ExitStatus{true, 0})) << result.err;
}

}  // namespace
}  // namespace quon::test
