// Frames of the chip out of logs, as the client shows them.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "catalog/log_decoder.h"

namespace quon::client {

using catalog::log_decoder;
using catalog::logged_frame;
using catalog::time_in;

// The fields in the words of a journal ("year=26 month=2"), as its record names them; empty when
// the words have none.
std::vector<std::pair<std::string, std::string>> journal_fields(const catalog::record& what,
                                                                std::string_view words);

// "chip->host 0x84 get_time len 10 year=26 ...", or what is wrong with the frame.
std::string describe_frame(catalog::direction way, std::span<const uint8_t> frame);

}  // namespace quon::client
