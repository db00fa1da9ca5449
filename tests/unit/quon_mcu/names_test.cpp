#include "quon_mcu/names.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "failure_of.h"

namespace quon::client {
namespace {

using quon::test::failure_of;

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

TEST(AnUnknownService, IsNamedInTheFailure) {
    const auto refused = failure_of([] { service_named("get.tiem"); });
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.text.find("unknown service 'get.tiem'; did you mean 'get.time'"), 0u)
        << refused.text;
}

}  // namespace
}  // namespace quon::client
