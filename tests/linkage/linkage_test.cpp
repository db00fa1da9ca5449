// The daemon links only the C library and its threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "elf_file.h"

namespace {

using quon::linkage::ElfFile;
using quon::linkage::read_elf;

struct Grant {
    std::string_view prefix;
    std::string_view why;
};

constexpr Grant kSystem[] = {
    {"libc.so.", "the C library"},
    {"libpthread.so.", "its threads, where they are a library of their own"},
    {"ld-", "the loader"},
    {"ld.so.", "the loader of 32-bit MIPS"},
};

struct SanitizerGrant {
    std::string_view sanitizer;
    std::string_view prefix;
};

constexpr SanitizerGrant kSanitizers[] = {
    {"address", "libasan.so."},
    {"undefined", "libubsan.so."},
    {"thread", "libtsan.so."},
};

bool is_granted(const std::string& name, std::string_view sanitizers) {
    for (const Grant& grant : kSystem) {
        if (name.starts_with(grant.prefix)) {
            return true;
        }
    }
    for (const SanitizerGrant& grant : kSanitizers) {
        if (sanitizers.find(grant.sanitizer) != std::string_view::npos &&
            name.starts_with(grant.prefix)) {
            return true;
        }
    }
    return name.starts_with("libboundscheck.so") &&
           std::string_view(QUON_SECUREC_LIBS) == "-lboundscheck";
}

// The libraries that the file needs and must not. Libraries of this build are looked into.
std::vector<std::string> strangers(const std::string& path, std::string_view sanitizers) {
    std::vector<std::string> found;
    for (const std::string& name : read_elf(path).needed) {
        const std::string own = std::string(QUON_LIBRARY_FOLDER) + "/" + name;
        if (std::filesystem::exists(own)) {
            const auto behind = strangers(own, sanitizers);
            found.insert(found.end(), behind.begin(), behind.end());
        } else if (!is_granted(name, sanitizers)) {
            found.push_back(name);
        }
    }
    return found;
}

bool contains_prefix(const std::vector<std::string>& names, std::string_view prefix) {
    return std::ranges::any_of(names, [&](const auto& name) { return name.starts_with(prefix); });
}

TEST(TheDaemon, NeedsOnlyTheCLibraryItsThreadsAndTheLoader) {
    EXPECT_EQ(strangers(QUON_DAEMON, QUON_SANITIZERS), std::vector<std::string>());
}

TEST(TheDaemon, NeedsTheCLibraryAtRunTime) {
    EXPECT_TRUE(contains_prefix(read_elf(QUON_DAEMON).needed, "libc.so."));
}

TEST(TheCheck, FindsTheCxxLibraryThatThisTestNeeds) {
    EXPECT_TRUE(contains_prefix(strangers(QUON_THIS_PROGRAM, QUON_SANITIZERS), "libstdc++.so."));
}

TEST(TheCheck, GrantsARunTimeLibraryOnlyToItsSanitizer) {
    EXPECT_TRUE(is_granted("libasan.so.8", "address,undefined"));
    EXPECT_TRUE(is_granted("libubsan.so.1", "address,undefined"));
    EXPECT_TRUE(is_granted("libtsan.so.2", "thread"));
    EXPECT_FALSE(is_granted("libtsan.so.2", "address,undefined"));
    EXPECT_FALSE(is_granted("libasan.so.8", ""));
}

TEST(TheCheck, RefusesOtherLibraries) {
    for (const char* name : {"libstdc++.so.6", "libgcc_s.so.1", "libm.so.6", "libcrypt.so.1",
                             "libdl.so.2", "librt.so.1", "libc++.so.1"}) {
        EXPECT_FALSE(is_granted(name, QUON_SANITIZERS)) << name;
    }
}

}  // namespace
