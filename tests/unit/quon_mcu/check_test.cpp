// Files of expected values that cannot be used.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "client_run.h"
#include "quon_mcu/text_pattern.h"

namespace quon::client {
namespace {

class ACheckFile : public testing::Test {
  protected:
    ~ACheckFile() override { std::filesystem::remove(path_); }

    [[nodiscard]] test::outcome checked(const std::string& text) const {
        std::ofstream(path_) << text;
        return test::run_client({"check", path_});
    }

    std::string path_ = testing::TempDir() + "check." + std::to_string(getpid());
};

TEST_F(ACheckFile, ThatIsWrongIsRefusedWithItsPlace) {
    const std::pair<const char*, const char*> rows[] = {
        {"", ": not a JSON object with an array \"checks\""},
        {"{]", ": not a JSON object with an array \"checks\""},
        {"[]", ": not a JSON object with an array \"checks\""},
        {R"({"checks": 1})", ": not a JSON object with an array \"checks\""},
        {R"({"checks": []})", ": has no check"},
        {R"({"checks": [1]})", ": check 1: needs \"get\", the object to ask for"},
        {R"({"checks": [{"get": "time", "field": "year", "equals": 1}, {"get": 1}]})",
         ": check 2: needs \"get\", the object to ask for"},
        {R"({"checks": [{"get": "tim", "field": "year", "equals": 1}]})",
         ": check 1: unknown object of get 'tim'; did you mean 'time', "},
        {R"({"checks": [{"get": "time", "field": "yea", "equals": 1}]})",
         ": check 1: unknown field 'yea'; did you mean 'year'?"},
        {R"({"checks": [{"get": "time", "equals": 1}]})",
         ": check 1: needs \"field\", the field to compare"},
        {R"({"checks": [{"get": "time", "field": "year"}]})",
         ": check 1: needs one of \"equals\", \"not\", \"at_least\", \"at_most\", \"matches\", "
         "\"fails\""},
        {R"({"checks": [{"get": "time", "field": "year", "equals": 1, "not": 2}]})",
         ": check 1: one of \"equals\" and \"not\""},
        {R"({"checks": [{"get": "time", "field": "year", "at_least": "x"}]})",
         ": check 1: \"at_least\" needs a number"},
        {R"({"checks": [{"get": "time", "field": "year", "matches": "("}]})",
         ": check 1: no regular expression: (: "},
        {R"({"checks": [{"get": "time", "field": "year", "matches": "(a)\\1"}]})",
         ": check 1: no regular expression: (a)\\1: back-references are not supported"},
        {R"({"checks": [{"get": "time", "field": "year", "matches": "((a{1,99}){99,}){9}"}]})",
         ": check 1: no regular expression: ((a{1,99}){99,}){9}: more than 1000 repetitions"},
        {R"({"checks": [{"get": "time", "values": [1], "field": "year", "equals": 1}]})",
         ": check 1: the question takes no values"},
    };
    for (const auto& [text, expected] : rows) {
        const test::outcome got = checked(text);
        EXPECT_EQ(got.status, 2) << text;
        EXPECT_TRUE(got.err.starts_with("quon-mcu: " + path_ + expected)) << got.err << expected;
        EXPECT_EQ(std::ranges::count(got.err, '\n'), 1) << got.err;
        EXPECT_EQ(got.out, "") << text;
    }
}

TEST_F(ACheckFile, ThatIsMissingIsRefused) {
    const test::outcome got = test::run_client({"check", "/nonexistent"});
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.err, "quon-mcu: cannot read '/nonexistent': No such file or directory\n");
}

TEST_F(ACheckFile, MayHaveComments) {
    EXPECT_EQ(checked("{ // why\n \"checks\": [] }").err,
              "quon-mcu: " + path_ + ": has no check\n");
}

TEST(APattern, FitsTheWholeTextOrNot) {
    const std::tuple<const char*, const char*, bool> rows[] = {
        {"192\\.168\\..*", "192.168.1.20", true},
        {"192", "192.168", false},
        {"168", "192.168", false},
        {"a|ab", "ab", true},
        {"V[0-9]+", "V2", true},
        {"a{2,3}", "aa", true},
        {"a{2,3}", "a", false},
        {"", "", true},
        {"\\{1", "{1", true},
    };
    for (const auto& [pattern, text, expected] : rows) {
        EXPECT_EQ(text_pattern(pattern).fits(text), expected) << pattern << " " << text;
    }
}

// A comparison that tries every way of dividing the text would not end.
TEST(APattern, OfNestedRepetitionsComesToAnEnd) {
    EXPECT_FALSE(text_pattern("(0+)+x").fits(std::string(200, '0')));
    EXPECT_TRUE(text_pattern("(0+)+x").fits(std::string(200, '0') + "x"));
}

TEST(TheReportAndTheCheck, HaveOneFormEach) {
    EXPECT_EQ(test::run_client({"--json", "report"}).err,
              "quon-mcu: report is one text: it has no other form\n");
    EXPECT_EQ(test::run_client({"--json", "check", "/dev/null"}).err,
              "quon-mcu: check prints TAP: it has no other form\n");
}

TEST(WhatNoServiceReads, CannotBeVerified) {
    const test::outcome got = test::run_client({"set", "led", "1", "--verify"});
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.err, "quon-mcu: set.led cannot be verified: no service reads it\n");
}

}  // namespace
}  // namespace quon::client
