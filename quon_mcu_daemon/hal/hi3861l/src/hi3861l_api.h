// Every operation under its own name, with its slot's signature. hi3861l_operations.cpp defines
// those that follow their family; the others are in the files of their subject.
#ifndef HI3861L_API_H
#define HI3861L_API_H

#include <type_traits>

#include "hi3861l_operations.h"
#include "mcu_ops_table.h"

// NOLINTBEGIN(bugprone-macro-parentheses)
#define HI3861L_DECLARE_LOCAL(slot, function) \
    std::remove_pointer_t<decltype(mcu_ops::slot)> function;
// NOLINTEND(bugprone-macro-parentheses)
#define HI3861L_DECLARE(family, slot, function, ...) HI3861L_DECLARE_LOCAL(slot, function)
HI3861L_OPERATIONS(HI3861L_DECLARE)
HI3861L_LOCAL_OPERATIONS(HI3861L_DECLARE_LOCAL)
#undef HI3861L_DECLARE_LOCAL
#undef HI3861L_DECLARE

#endif
