// The handler functions named in the service table: a method's or a signal's, depending on the kind
// in the service's name.
#ifndef SERVICE_HANDLERS_H
#define SERVICE_HANDLERS_H

#include <algorithm>
#include <string_view>

#include "bus_handler.h"
#include "quon_mcu_services.h"

inline constexpr std::string_view kMethodKind = "method";
inline constexpr std::string_view kSignalKind = "signal";

// Only a name's first six characters give its kind. (Without optimisation, `starts_with` needs the
// C++ library.)
constexpr bool is_of_kind(std::string_view name, std::string_view kind) {
    return name.size() >= kind.size() && std::equal(kind.begin(), kind.end(), name.begin());
}

template <bool is_method, bool is_signal>
struct handler_of_kind;  // a name has one kind
template <>
struct handler_of_kind<true, false> {
    using type = method_handler;
};
template <>
struct handler_of_kind<false, true> {
    using type = signal_handler;
};

#define DECLARE_HANDLER(index, name, handler) \
    handler_of_kind<is_of_kind(name, kMethodKind), is_of_kind(name, kSignalKind)>::type handler;
QUON_MCU_SERVICES(DECLARE_HANDLER)
#undef DECLARE_HANDLER

#endif
