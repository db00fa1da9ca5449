// The chip's frames from logs, in the client's form.
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

// The fields in a journal's text ("year=26 month=2") under their record's names; empty if there are
// none.
std::vector<std::pair<std::string, std::string>> journal_fields(const catalog::record& what,
                                                                std::string_view words);

// "chip->host 0x84 get_time len 10 year=26 ...", or what is wrong with the frame.
std::string describe_frame(catalog::direction way, std::span<const uint8_t> frame);

}  // namespace quon::client
