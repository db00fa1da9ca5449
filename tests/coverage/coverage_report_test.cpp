// How scripts/coverage combines gcovr's counts with the list of lines that no test reaches.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "child_process.h"

namespace quon::test {
namespace {

namespace fs = std::filesystem;

// Line 2 is reached three times, in one of its two directions; line 3 never; line 1 has no code.
constexpr const char* kCounts = R"({"files": [{"file": "src/some.cpp", "lines": [
    {"line_number": 1, "count": 0, "gcovr/noncode": true, "branches": []},
    {"line_number": 2, "count": 3, "gcovr/noncode": false,
     "branches": [{"count": 3}, {"count": 0}]},
    {"line_number": 3, "count": 0, "gcovr/noncode": false, "branches": []}]}]})";

class ACoverageReport : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = "/tmp/coverage-report.XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        fs::create_directories(folder_ / "scripts/lib");
        fs::create_directories(folder_ / "src");
        fs::copy(fs::path(QUON_SOURCE_FOLDER) / "scripts/lib/coverage-report",
                 folder_ / "scripts/lib");
        write("src/some.cpp", "// a comment\n  if (a) b();\n  c();\n");
        write("counts.json", kCounts);
    }
    void TearDown() override { fs::remove_all(folder_); }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(folder_ / name) << text;
    }

    [[nodiscard]] std::string path(const std::string& name) const { return folder_ / name; }

    [[nodiscard]] Result report_with(const std::string& rows) const {
        write("list", "# a comment\n\n" + rows);
        return run({path("scripts/lib/coverage-report"), path("counts.json"), path("list")});
    }

    fs::path folder_;
};

constexpr ExitStatus kPassed{true, 0};
constexpr ExitStatus kFailed{true, 1};

constexpr const char* kTable =
    "                                                      lines           branches\n"
    "src                                             1/2  50.00%        1/2  50.00%\n"
    "all                                             1/2  50.00%        1/2  50.00%\n";

TEST_F(ACoverageReport, CountsLinesAndBranchesByFolder) {
    const Result result = run({path("scripts/lib/coverage-report"), path("counts.json")});
    EXPECT_EQ(result.status, kPassed);
    EXPECT_EQ(result.out, kTable);
}

TEST_F(ACoverageReport, IsContentWithALineThatIsInTheList) {
    const Result result = report_with("src/some.cpp | c(); | nothing calls it here\n");
    EXPECT_EQ(result.status, kPassed);
    EXPECT_EQ(result.out, kTable);
}

TEST_F(ACoverageReport, TakesALineWithABarForWhatItIs) {
    write("src/some.cpp", "// a comment\n  if (a) b();\n  c(d | e);\n");
    EXPECT_EQ(report_with("src/some.cpp | c(d | e); | why\n").status, kPassed);
    EXPECT_EQ(report_with("src/some.cpp | c(d | f); | why\n").status, kFailed);
}

TEST_F(ACoverageReport, NamesALineThatIsNotInTheList) {
    const Result result = report_with("");
    EXPECT_EQ(result.status, kFailed);
    EXPECT_EQ(result.out,
              std::string(kTable) + "src/some.cpp:3: not reached, and not in the list: c();\n");
}

TEST_F(ACoverageReport, NamesARowWhoseLineIsReached) {
    const Result result =
        report_with("src/some.cpp | c(); | why\nsrc/some.cpp | if (a) b(); | why\n");
    EXPECT_EQ(result.status, kFailed);
    EXPECT_EQ(result.out, std::string(kTable) +
                              "src/some.cpp: in the list, but reached or gone: if (a) b();\n");
}

TEST_F(ACoverageReport, NamesARowWhoseLineIsGone) {
    const Result result = report_with("src/some.cpp | c(); | why\nsrc/old.cpp | c(); | why\n");
    EXPECT_EQ(result.status, kFailed);
    EXPECT_EQ(result.out,
              std::string(kTable) + "src/old.cpp: in the list, but reached or gone: c();\n");
}

TEST_F(ACoverageReport, WantsARowForEachOfTwoLinesThatReadTheSame) {
    write("src/some.cpp", "c();\nc();\nc();\n");
    write("counts.json", R"({"files": [{"file": "src/some.cpp", "lines": [
        {"line_number": 1, "count": 0, "gcovr/noncode": false, "branches": []},
        {"line_number": 2, "count": 1, "gcovr/noncode": false, "branches": []},
        {"line_number": 3, "count": 0, "gcovr/noncode": false, "branches": []}]}]})");
    const std::string row = "src/some.cpp | c(); | why\n";
    EXPECT_EQ(report_with(row + row).status, kPassed);
    EXPECT_TRUE(report_with(row).out.ends_with(
        "\nsrc/some.cpp:3: not reached, and not in the list: c();\n"));
    EXPECT_TRUE(report_with(row + row + row)
                    .out.ends_with("\nsrc/some.cpp: in the list, but reached or gone: c();\n"));
}

TEST_F(ACoverageReport, LetsALineBeReachedSometimes) {
    const std::string never = "src/some.cpp | c(); | sometimes: the clock decides\n";
    EXPECT_EQ(report_with(never).status, kPassed);
    EXPECT_EQ(report_with(never + "src/some.cpp | if (a) b(); | sometimes: it too\n").status,
              kPassed);
    EXPECT_TRUE(report_with(never + "src/some.cpp | gone(); | sometimes: it too\n")
                    .out.ends_with("\nsrc/some.cpp: in the list, but reached or gone: gone();\n"));
}

TEST_F(ACoverageReport, RefusesARowWithoutAReason) {
    const Result result = report_with("src/some.cpp | c();\n");
    EXPECT_EQ(result.status, kFailed);
    EXPECT_EQ(result.err, path("list") + ":3: a row is \"FILE | LINE'S TEXT | REASON\"\n");
}

TEST_F(ACoverageReport, RefusesCountsOfNothing) {
    write("counts.json", R"({"files": []})");
    const Result result = report_with("");
    EXPECT_EQ(result.status, kFailed);
    EXPECT_EQ(result.err, "coverage-report: nothing was counted\n");
}

}  // namespace
}  // namespace quon::test
