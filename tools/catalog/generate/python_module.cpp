#include <cctype>

#include "catalog/generate/members.h"
#include "catalog/generate/pages.h"

namespace quon::generate {
namespace {

using catalog::field_kind;
using catalog::record;
using catalog::service;

constexpr std::string_view kKinds[] = {"U8",           "S8",         "U16",  "U32", "TEXT",
                                       "ADDRESS_TEXT", "DIGIT_TEXT", "IPV4", "MAC", "BYTES"};

std::string class_name(const record& what) {
    std::string name;
    bool starts = true;
    for (const char c : what.name) {
        if (c == '_') {
            starts = true;
            continue;
        }
        name += starts ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        starts = false;
    }
    return name;
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

// Its type and its default.
std::pair<std::string, std::string> type_of(const member& what) {
    if (catalog::is_number(what.kind)) {
        return {"int", "0"};
    }
    switch (what.kind) {
        case field_kind::bytes:
            return {"bytes", what.size == 0 ? "b\"\"" : "bytes(" + std::to_string(what.size) + ")"};
        case field_kind::ipv4:
            return {"str", "\"0.0.0.0\""};
        case field_kind::mac:
            return {"str", "\"00:00:00:00:00:00\""};
        default:
            return {"str", "\"\""};
    }
}

std::string values_text(const member& what) {
    std::string text;
    if (what.known != nullptr) {
        for (const catalog::known_value& each : what.known->values) {
            text += (text.empty() ? "" : ", ") + std::to_string(each.value) + ": " +
                    quoted(each.meaning);
        }
    }
    return "{" + text + "}";
}

std::string field_row(const record& what, const member& each) {
    const bool is_known = each.known != nullptr;
    return "            Field(" + quoted(each.name) + ", " + std::to_string(each.offset) + ", " +
           std::to_string(each.size) + ", Kind." +
           std::string(kKinds[static_cast<size_t>(each.kind)]) + ", " +
           (is_known || what.fields.empty() ? "True" : "False") + ", " +
           (is_known && each.known->is_daemons ? "True" : "False") + ", " +
           quoted(is_known ? each.known->unit : "") + ", " + values_text(each) + "),\n";
}

std::string layout(const record& what) {
    std::string text = "    LAYOUT: ClassVar[Layout] = Layout(\n        " + quoted(what.name) +
                       ", " + std::to_string(what.size) + ", " + std::to_string(longest(what)) +
                       ", " + std::to_string(what.entry_size) + ",\n        (\n";
    for (const member& each : members_of(what)) {
        text += field_row(what, each);
    }
    text += "        ),\n        (";
    for (const uint32_t each : what.parts) {
        text += std::to_string(each) + ", ";
    }
    return text + "),\n    )\n";
}

std::string record_class(const record& what) {
    const bool may_lack = may_lack_fields(what);
    const std::string size = what.size != 0
                                 ? std::to_string(what.size) + " bytes on the bus"
                                 : "up to " + std::to_string(longest(what)) + " bytes on the bus";
    std::string text = "\n\n@dataclass\nclass " + class_name(what) + ":\n    \"\"\"" +
                       users_of(what) + "; " + size + ".\"\"\"\n\n";
    if (what.entry_size != 0) {
        text +=
            "    #: in the chip's order\n    entries: list[bytes] = field(default_factory=list)\n";
        return text + layout(what);
    }
    for (const member& each : members_of(what)) {
        const auto [type, nothing] = type_of(each);
        const bool optional = may_lack && (each.known != nullptr || what.fields.empty());
        text += "    #: " + each.remark + "\n    " + each.name + ": " + type +
                (optional ? " | None" : "") + " = " + nothing + "\n";
    }
    return text + layout(what);
}

std::string method(const service& what, bool is_async) {
    const std::string reply = what.reply != nullptr ? class_name(*what.reply) : "None";
    std::string text = is_async ? "    async def " : "    def ";
    text += identifier(what) + "(\n        self, ";
    if (what.request != nullptr) {
        text += "request: " + class_name(*what.request) + ", ";
    }
    text += "timeout: float = DEFAULT_TIMEOUT\n    ) -> " + reply + ":\n        \"\"\"" +
            std::string(what.meaning) + "\"\"\"\n        ";
    const std::string call = std::string(is_async ? "await " : "") + "self._" +
                             (what.reply != nullptr ? "ask" : "tell") + "(SERVICES[" +
                             std::to_string(what.index) + "], " +
                             (what.request != nullptr ? "request" : "None") + ", timeout)";
    return text + (what.reply != nullptr ? "return cast(" + reply + ", " + call + ")" : call) +
           "\n\n";
}

std::string service_row(const service& what) {
    const auto name = [](const record* one) {
        return one == nullptr ? std::string("None") : class_name(*one);
    };
    return "    Service(" + quoted(what.name) + ", " + name(what.request) + ", " +
           name(what.reply) + ", " + quoted(zero_reason(what)) + "),\n";
}

std::string methods(std::string_view class_name, bool is_async) {
    const std::string function = is_async ? "    async def " : "    def ";
    std::string text = "\n\nclass " + std::string(class_name) +
                       ":\n    \"\"\"One method a service. Times are in seconds.\"\"\"\n\n";
    text += function +
            "_ask(self, service: Service, request: Any, timeout: float) -> Any:\n"
            "        raise NotImplementedError\n\n" +
            function +
            "_tell(self, service: Service, request: Any, timeout: float) -> None:\n"
            "        raise NotImplementedError\n\n";
    for (const service& each : catalog::services()) {
        text += method(each, is_async);
    }
    text.pop_back();
    return text;
}

}  // namespace

std::string python_module() {
    std::string text =
        R"("""The records and services of quon_mcu_daemon, generated from the table of the services.

A field of an answer is None where the chip may not have sent it: the daemon fills a short answer up
with zeros, so a zero field followed only by zeros in its answer cannot be told from a missing one.
"""

# ruff: noqa: E501
# pylint: disable=line-too-long,too-many-lines

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, ClassVar, cast

from ._layout import Field, Kind, Layout, Service

DEFAULT_TIMEOUT = 5.0
VERSION = ")" QUON_VERSION "\"\n";
    text += "\n__all__ = [\n";
    for (const record* each : records_of_services()) {
        text += "    " + quoted(class_name(*each)) + ",\n";
    }
    text += "]\n";
    for (const record* each : records_of_services()) {
        text += record_class(*each);
    }
    text += "\n\nSERVICES: tuple[Service, ...] = (\n";
    for (const service& each : catalog::services()) {
        text += service_row(each);
    }
    text += ")\n";
    return text + methods("Services", false) + methods("AsyncServices", true);
}

}  // namespace quon::generate
