// What the hardening flags of the release build have to leave in the daemon's file.
#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "elf_file.h"

namespace {

using quon::linkage::read_elf;

TEST(TheHardenedDaemon, IsPositionIndependent) {
    const auto file = read_elf(QUON_DAEMON);
    EXPECT_EQ(file.type, ET_DYN);
    EXPECT_TRUE(file.is_pie);
}

TEST(TheHardenedDaemon, HasFullyReadOnlyRelocations) {
    const auto file = read_elf(QUON_DAEMON);
    EXPECT_TRUE(file.segments.contains(PT_GNU_RELRO));
    EXPECT_TRUE(file.binds_now);
}

TEST(TheHardenedDaemon, HasNoExecutableStack) {
    const auto file = read_elf(QUON_DAEMON);
    EXPECT_TRUE(file.segments.contains(PT_GNU_STACK));
    EXPECT_FALSE(file.executable_stack);
}

TEST(TheHardenedDaemon, ChecksItsStackAndItsCopies) {
    const auto file = read_elf(QUON_DAEMON);
    EXPECT_TRUE(file.imports.contains("__stack_chk_fail"));
    EXPECT_TRUE(
        std::ranges::any_of(file.imports, [](const auto& name) { return name.ends_with("_chk"); }));
}

}  // namespace
