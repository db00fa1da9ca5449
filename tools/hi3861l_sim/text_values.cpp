#include "text_values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstring>

#include "catalog/catalog.h"
#include "shared/failure.h"
#include "shared/values.h"

namespace quon::sim {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

[[noreturn]] void refuse(std::string_view what, std::string_view text, std::string_view wanted) {
    throw bad_value(std::string(what) + " \"" + std::string(text) + "\" is not " +
                    std::string(wanted));
}

// Values that the client accepts too, with this program's error messages.
auto read(auto parse, std::string_view what, std::string_view text, std::string_view wanted) {
    try {
        return parse(text);
    } catch (const failure&) {
        refuse(what, text, wanted);
    }
}

std::optional<uint32_t> to_number(std::string_view text, int base) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

bool has_hex_prefix(std::string_view text) {
    return text.starts_with("0x") || text.starts_with("0X");
}

std::string joined_octets(byte_view octets, const char* format, char separator) {
    std::string text;
    for (const uint8_t octet : octets) {
        std::array<char, 8> digits{};
        std::snprintf(digits.data(), digits.size(), format, octet);
        text += (text.empty() ? "" : std::string(1, separator)) + digits.data();
    }
    return text;
}

void copy_octets(const byte_list& from, uint8_t* to) {
    std::ranges::copy(from, to);
}

void parse_dns(std::string_view text, hi3861l_net_info& record) {
    const size_t comma = text.find(',');
    copy_octets(parse_ipv4(text.substr(0, comma)), record.dns1);
    const bool second = comma != std::string_view::npos;
    copy_octets(second ? parse_ipv4(text.substr(comma + 1)) : byte_list(4), record.dns2);
}

void parse_address(std::string_view text, hi3861l_net_info& record) {
    const size_t slash = text.find('/');
    if (slash == std::string_view::npos) {
        refuse("address", text, "an address with a prefix length, as in 192.168.1.20/24");
    }
    copy_octets(parse_ipv4(text.substr(0, slash)), record.ip);
    const uint32_t prefix = parse_number(text.substr(slash + 1), 32, "prefix length");
    const uint32_t mask = prefix == 0 ? 0 : htonl(~uint32_t{0} << (32 - prefix));
    std::memcpy(record.netmask, &mask, sizeof mask);
}

}  // namespace

std::vector<std::string> split_words(std::string_view text) {
    std::vector<std::string> words;
    size_t at = text.find_first_not_of(kBlanks);
    while (at != std::string_view::npos) {
        const size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
        words.emplace_back(text.substr(at, end - at));
        at = text.find_first_not_of(kBlanks, end);
    }
    return words;
}

std::string join_words(const std::vector<std::string>& words, size_t from) {
    std::string text;
    for (size_t i = from; i < words.size(); i++) {
        text += (i == from ? "" : " ") + words[i];
    }
    return text;
}

uint32_t parse_number(std::string_view text, uint32_t limit, std::string_view what) {
    const bool hex = has_hex_prefix(text);
    const auto value = to_number(hex ? text.substr(2) : text, hex ? 16 : 10);
    if (!value || *value > limit) {
        refuse(what, text, "a number from 0 to " + std::to_string(limit));
    }
    return *value;
}

uint32_t parse_time_span(std::string_view text, uint32_t limit_ms, std::string_view what) {
    const std::string wanted =
        "a time from 0 to " + std::to_string(limit_ms) + "ms, as in 300, 300ms or 1.5s";
    const int32_t ms = read(quon::parse_duration, what, text, wanted);
    if (static_cast<uint32_t>(ms) > limit_ms) {
        refuse(what, text, wanted);
    }
    return static_cast<uint32_t>(ms);
}

uint8_t parse_type(std::string_view text) {
    const std::string_view digits = has_hex_prefix(text) ? text.substr(2) : text;
    const auto value = to_number(digits, 16);
    if (value && digits.size() <= 2) {
        return static_cast<uint8_t>(*value);
    }
    for (const catalog::message& message : catalog::messages()) {
        if (message.name == text) {
            return message.type;
        }
    }
    refuse("message type", text, "00 to ff in hexadecimal, or a message's name");
}

std::string show_type(uint8_t type) {
    const byte_view one(&type, 1);
    return "0x" + show_hex(one) + " " + std::string(catalog::message_name(type));
}

byte_list parse_hex(std::string_view text) {
    std::string digits;
    std::ranges::copy_if(text, std::back_inserter(digits),
                         [](char c) { return kBlanks.find(c) == std::string_view::npos; });
    const bool others = digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos;
    if (others || digits.size() % 2 != 0) {
        refuse("payload", text, "pairs of hex digits");
    }
    return quon::parse_hex(digits);
}

std::string show_hex(byte_view data) {
    return catalog::to_hex(data);
}

byte_list parse_ipv4(std::string_view text) {
    return read(quon::parse_ipv4, "address", text, "an IPv4 address");
}

std::string show_ipv4(byte_view octets) {
    return joined_octets(octets, "%u", '.');
}

byte_list parse_mac(std::string_view text) {
    return read(quon::parse_mac, "MAC", text, "a hardware address, as in 02:00:00:00:00:01");
}

std::string show_mac(byte_view octets) {
    return joined_octets(octets, "%02x", ':');
}

server_address parse_server(std::string_view text) {
    if (text == "none") {
        return {byte_list(4), 0};
    }
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        refuse("server", text, "an address and a port, as in 10.0.0.1:9000, or none");
    }
    const uint32_t port = parse_number(text.substr(colon + 1), 65535, "port");
    return {parse_ipv4(text.substr(0, colon)), static_cast<uint16_t>(port)};
}

net_report parse_net(std::string_view text, const hi3861l_net_info& before) {
    const std::vector<std::string> words = split_words(text);
    if (words.empty() || words.size() % 2 == 0) {
        throw bad_value("expected ADDRESS/PREFIX [gw A] [dns A[,A]] [mac M] [state N]");
    }
    net_report report{before, 1};
    parse_address(words[0], report.record);
    for (size_t i = 1; i < words.size(); i += 2) {
        const std::string& value = words[i + 1];
        if (words[i] == "gw") {
            copy_octets(parse_ipv4(value), report.record.gateway);
        } else if (words[i] == "dns") {
            parse_dns(value, report.record);
        } else if (words[i] == "mac") {
            copy_octets(parse_mac(value), report.record.mac);
        } else if (words[i] == "state") {
            report.state = static_cast<uint8_t>(parse_number(value, 255, "state"));
        } else {
            refuse("word", words[i], "gw, dns, mac or state");
        }
    }
    return report;
}

std::string show_net(const hi3861l_net_info& record) {
    uint32_t mask = 0;
    std::memcpy(&mask, record.netmask, sizeof mask);
    return show_ipv4(record.ip) + "/" + std::to_string(std::popcount(mask)) + " gw " +
           show_ipv4(record.gateway) + " dns " + show_ipv4(record.dns1) + "," +
           show_ipv4(record.dns2) + " mac " + show_mac(record.mac);
}

}  // namespace quon::sim
