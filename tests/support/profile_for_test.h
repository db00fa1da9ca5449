// The profile under which a test logs; the defaults come back afterwards.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "quon_log.h"

namespace quon::test {

inline constexpr std::uint32_t kAllLevels = QN_LOG_DEBUG;

struct ProfileChoice {
    std::uint32_t fmt_mask = 0;  // message only
    bool color = false;
    std::uint32_t level_limit = kAllLevels;
    QnLogHook hook = nullptr;
};

inline void set_profile(const ProfileChoice& choice) {
    QnLogProfile profile = {};
    QnLogGetProfile(&profile);
    profile.fmt_mask = choice.fmt_mask;
    profile.color = choice.color ? 1 : 0;
    profile.level_limit = choice.level_limit;
    profile.hook = choice.hook;
    QnLogSetProfile(profile);
}

inline void set_default_profile() {
    set_profile({.fmt_mask = 0xC7, .color = true, .level_limit = 1, .hook = nullptr});
}

class WithDefaultProfile : public testing::Test {
  protected:
    WithDefaultProfile() { set_default_profile(); }
    ~WithDefaultProfile() override { set_default_profile(); }
};

}  // namespace quon::test
