// Reads back what was set.
#pragma once

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"

namespace quon::client {

// Asks `reader` until its answer matches what `service` was given, or the time-out has passed: then
// throws failure with the first field that differs. A clock may be some seconds ahead.
void verify_set(context& ctx, bus_session& bus, const catalog::service& service,
                const catalog::service& reader, const byte_list& given);

}  // namespace quon::client
