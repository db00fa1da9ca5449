// Values as users type them, on the command line and in control commands.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "hi3861l_protocol.h"
#include "shared/bytes.h"

namespace quon::sim {

// An error in a text, in words for its author.
struct bad_value : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::vector<std::string> split_words(std::string_view text);
std::string join_words(const std::vector<std::string>& words, size_t from);

// Decimal, or hexadecimal with 0x. `what` names the value in the error.
uint32_t parse_number(std::string_view text, uint32_t limit, std::string_view what);

// "1500", "1500ms" or "1.5s", in milliseconds.
uint32_t parse_time_span(std::string_view text, uint32_t limit_ms, std::string_view what);

// "84", "0x84" or a message's name.
uint8_t parse_type(std::string_view text);
std::string show_type(uint8_t type);  // "0x84 get_time"

// Pairs of hex digits; blanks between them are ignored.
byte_list parse_hex(std::string_view text);
std::string show_hex(byte_view data);

byte_list parse_ipv4(std::string_view text);
std::string show_ipv4(byte_view octets);
byte_list parse_mac(std::string_view text);
std::string show_mac(byte_view octets);

struct server_address {
    byte_list ip;
    uint16_t port;
};
// "ADDRESS:PORT", or "none" for 0.0.0.0:0.
server_address parse_server(std::string_view text);

struct net_report {
    hi3861l_net_info record;
    uint8_t state;
};
// "ADDRESS/PREFIX [gw A] [dns A[,A]] [mac M] [state N]". Anything not named is as in `before`; the
// default state is 1.
net_report parse_net(std::string_view text, const hi3861l_net_info& before);
std::string show_net(const hi3861l_net_info& record);

}  // namespace quon::sim
