#include "quon_mcu/names.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "client_run.h"

namespace quon::client {
namespace {

using test::failure_of;

TEST(AService, IsFoundByItsFullAndItsShortName) {
    EXPECT_EQ(service_named("method.quon.mcu.get.time").name, "method.quon.mcu.get.time");
    EXPECT_EQ(service_named("get.time").name, "method.quon.mcu.get.time");
    EXPECT_EQ(service_named("set.time").name, "signal.quon.mcu.set.time");
    EXPECT_EQ(service_named("upg.start").name, "method.quon.mcu.upg.start");
}

TEST(AService, HasAShortNameOfItsOwn) {
    std::vector<std::string> names = short_names();
    ASSERT_EQ(names.size(), catalog::services().size());
    for (const std::string& each : names) {
        EXPECT_EQ(short_name(service_named(each)), each);
    }
    std::ranges::sort(names);
    EXPECT_EQ(std::ranges::adjacent_find(names), names.end());
}

TEST(AnObject, IsFoundUnderItsVerb) {
    EXPECT_EQ(service_of("get", "time").name, "method.quon.mcu.get.time");
    EXPECT_EQ(service_of("set", "time").name, "signal.quon.mcu.set.time");
    EXPECT_EQ(service_of("get", "get.time").name, "method.quon.mcu.get.time");
    EXPECT_EQ(service_of("get", "method.quon.mcu.get.time").name, "method.quon.mcu.get.time");
}

TEST(AnObject, IsNotFoundUnderAnotherVerb) {
    EXPECT_EQ(failure_of([] { service_of("get", "set.time"); }).status, 2);
    EXPECT_EQ(failure_of([] { service_of("get", "led"); }).status, 2);
    EXPECT_EQ(failure_of([] { service_of("set", "ver"); }).status, 2);
}

struct suggestion_row {
    const char* word;
    std::vector<std::string> expected;
};

TEST(AnUnknownName, GetsTheNearestSuggestions) {
    const suggestion_row rows[] = {
        {"get.tim", {"get.time", "set.time"}},     // a letter too few
        {"get.tiem", {"get.time"}},                // two letters swapped
        {"get.wifi.statsu", {"get.wifi.status"}},  // likewise, in a long name
        {"battery", {"get.battery.status"}},       // a part of the name
        {"completely.different.thing", {}},
        {"", {}},
    };
    for (const suggestion_row& row : rows) {
        const auto found = nearest(row.word, short_names());
        for (const std::string& each : row.expected) {
            EXPECT_NE(std::ranges::find(found, each), found.end()) << row.word << " " << each;
        }
        EXPECT_EQ(found.empty(), row.expected.empty()) << row.word;
        EXPECT_LE(found.size(), 3u);
        if (!row.expected.empty() && !found.empty()) {
            EXPECT_EQ(found[0], row.expected[0]) << row.word;
        }
    }
}

TEST(AnUnknownName, IsNamedInTheFailure) {
    const auto refused = failure_of([] { service_named("get.tiem"); });
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err.find("unknown service 'get.tiem'; did you mean 'get.time'"), 0u)
        << refused.err;
    EXPECT_EQ(unknown("thing", "zzzzzz", {"abc"}), "unknown thing 'zzzzzz'");
    EXPECT_EQ(unknown("thing", "abd", {"abc"}), "unknown thing 'abd'; did you mean 'abc'?");
}

}  // namespace
}  // namespace quon::client
