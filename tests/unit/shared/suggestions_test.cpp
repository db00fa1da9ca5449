#include "shared/suggestions.h"

#include <gtest/gtest.h>

namespace quon {
namespace {

using word_list = std::vector<std::string>;

const word_list kKnown = {"get.time", "set.time", "get.wifi.status", "get.battery.status",
                          "get.wifi.info"};

struct suggestion_row {
    const char* word;
    word_list expected;
};

TEST(AnUnknownWord, GetsTheNearestSuggestions) {
    const suggestion_row rows[] = {
        {"get.tim", {"get.time", "set.time"}},     // a letter too few
        {"get.tiem", {"get.time", "set.time"}},    // two letters swapped: one step, then two
        {"get.wifi.statsu", {"get.wifi.status"}},  // likewise, in a long name
        {"battery", {"get.battery.status"}},       // a part of the name
        {"completely.different.thing", {}},       {"", {}},
    };
    for (const suggestion_row& row : rows) {
        EXPECT_EQ(nearest(row.word, kKnown), row.expected) << row.word;
    }
}

TEST(AnUnknownWord, GetsThreeSuggestionsAtMost) {
    EXPECT_EQ(nearest("abcd", {"abc1", "abc2", "abc3", "abc4"}),
              (word_list{"abc1", "abc2", "abc3"}));
}

TEST(AnUnknownWord, IsNamedBeforeItsSuggestions) {
    EXPECT_EQ(unknown("thing", "zzzzzz", {"abc"}), "unknown thing 'zzzzzz'");
    EXPECT_EQ(unknown("thing", "abd", {"abc"}), "unknown thing 'abd'; did you mean 'abc'?");
    EXPECT_EQ(unknown("thing", "ab", {"abc", "abd"}),
              "unknown thing 'ab'; did you mean 'abc', 'abd'?");
}

}  // namespace
}  // namespace quon
