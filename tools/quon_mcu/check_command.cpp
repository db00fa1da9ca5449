// check: compares a production line's expectations with the answers.
#include <algorithm>
#include <chrono>
#include <cstring>

#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/describe.h"
#include "quon_mcu/encode.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "quon_mcu/text_pattern.h"
#include "shared/failure.h"
#include "shared/files.h"
#include "shared/suggestions.h"
#include "shared/xml_text.h"

namespace quon::client {
namespace {

using steady = std::chrono::steady_clock;

struct expectation {
    std::string name;
    const catalog::service* service;
    byte_list request;
    std::string field;
    std::string kind;  // "equals", "not", "at_least", "at_most", "matches", "fails"
    json value;
};

constexpr const char* kKinds[] = {"equals", "not", "at_least", "at_most", "matches", "fails"};

struct verdict {
    std::string name;
    std::string expected;
    std::string got;
    bool passed;
    double seconds;
};

std::string text_of(const json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string shown(const expectation& what) {
    return what.kind == "fails" ? "a failure"
                                : what.field + " " + what.kind + " " + text_of(what.value);
}

// ---- The file

// An error in the check with this number.
[[noreturn]] void refuse(const std::string& file, size_t number, const std::string& why) {
    throw failure(exit_status::usage, file + ": check " + std::to_string(number) + ": " + why);
}

json read_file(const std::string& file) {
    json document = json::parse(content_of(file), nullptr, false, true);
    if (document.is_discarded() || !document.is_object() || !document.contains("checks") ||
        !document["checks"].is_array()) {
        throw failure(exit_status::usage, file + ": not a JSON object with an array \"checks\"");
    }
    return document;
}

// Characters that a line of TAP and an attribute of JUnit cannot have.
bool is_control(char each) {
    return static_cast<unsigned char>(each) < ' ';
}

class check_reader {
  public:
    check_reader(std::string file, size_t number) : file_(std::move(file)), number_(number) {}

    expectation read(const json& given) {
        if (!given.is_object() || !given.contains("get") || !given["get"].is_string()) {
            refuse(file_, number_, "needs \"get\", the object to ask for");
        }
        expectation made{
            .name = "", .service = nullptr, .request = {}, .field = "", .kind = "", .value = {}};
        take_service(made, given);
        take_comparison(made, given);
        take_field(made, given);
        made.name = given.contains("name")
                        ? text_of(given["name"])
                        : std::string(short_name(*made.service)) + " " + shown(made);
        std::ranges::replace_if(made.name, is_control, ' ');
        return made;
    }

  private:
    void take_service(expectation& made, const json& given) const {
        try {
            made.service = &service_of("get", given["get"].get<std::string>());
        } catch (const failure& error) {
            refuse(file_, number_, error.what());
        }
        if (!given.contains("values")) {
            return;
        }
        if (made.service->request == nullptr) {
            refuse(file_, number_, "the question takes no values");
        }
        take_values(made, given["values"]);
    }

    void take_values(expectation& made, const json& values) const {
        std::vector<std::string> words;
        for (const json& each : values) {
            words.push_back(text_of(each));
        }
        try {
            made.request = encode(*made.service->request, {}, words);
        } catch (const failure& error) {
            refuse(file_, number_, error.what());
        }
    }

    void take_comparison(expectation& made, const json& given) const {
        for (const char* each : kKinds) {
            if (given.contains(each)) {
                if (!made.kind.empty()) {
                    refuse(file_, number_, "one of \"" + made.kind + "\" and \"" + each + "\"");
                }
                made.kind = each;
                made.value = given[each];
            }
        }
        if (made.kind.empty()) {
            refuse(file_, number_,
                   "needs one of \"equals\", \"not\", \"at_least\", \"at_most\", \"matches\", "
                   "\"fails\"");
        }
        const bool is_bound = made.kind == "at_least" || made.kind == "at_most";
        if (is_bound && !made.value.is_number()) {
            refuse(file_, number_, "\"" + made.kind + "\" needs a number");
        }
        if (made.kind == "matches") {
            try {
                const text_pattern tried(text_of(made.value));
            } catch (const failure& error) {
                refuse(file_, number_, error.what());
            }
        }
    }

    void take_field(expectation& made, const json& given) const {
        if (made.kind == "fails") {
            return;
        }
        if (!given.contains("field") || !given["field"].is_string()) {
            refuse(file_, number_, "needs \"field\", the field to compare");
        }
        made.field = given["field"].get<std::string>();
        const std::vector<std::string> known = answer_fields(*made.service->reply);
        if (!made.field.starts_with("entry[") && std::ranges::count(known, made.field) == 0) {
            refuse(file_, number_, unknown("field", made.field, known));
        }
    }

    std::string file_;
    size_t number_;
};

std::vector<expectation> expectations_in(const std::string& file, const json& document) {
    std::vector<expectation> all;
    for (const json& each : document["checks"]) {
        all.push_back(check_reader(file, all.size() + 1).read(each));
    }
    if (all.empty()) {
        throw failure(exit_status::usage, file + ": has no check");
    }
    return all;
}

// ---- The comparison

bool is_met(const expectation& what, const std::string& got) {
    if (what.kind == "matches") {
        return text_pattern(text_of(what.value)).fits(got);
    }
    if (what.kind == "equals" || what.kind == "not") {
        return (got == text_of(what.value)) == (what.kind == "equals");
    }
    try {
        const double number = std::stod(got);
        const double bound = what.value.get<double>();
        return what.kind == "at_least" ? number >= bound : number <= bound;
    } catch (const std::exception&) {
        return false;
    }
}

// Throws failure if there is no answer.
verdict judge(bus_session& bus, const expectation& what) {
    const auto start = steady::now();
    const answer got = bus.call(*what.service, what.request);
    verdict made{what.name, shown(what), "", false, 0};
    if (got.result < 0) {
        made.got = "a failure, result " + std::to_string(got.result);
        made.passed = what.kind == "fails";
    } else if (what.kind == "fails") {
        made.got = "an answer of " + std::to_string(got.payload.size()) + " bytes";
    } else {
        const auto fields = catalog::decode(*what.service->reply, got.payload);
        const auto found = std::ranges::find(fields, what.field, &catalog::decoded_field::name);
        made.got = found == fields.end() ? "no such field" : found->value;
        made.passed = found != fields.end() && is_met(what, found->value);
    }
    made.seconds = std::chrono::duration<double>(steady::now() - start).count();
    return made;
}

// ---- The results

std::string tap_of(const verdict& one, size_t number) {
    std::string text = std::string(one.passed ? "ok " : "not ok ") + std::to_string(number) +
                       " - " + one.name + "\n";
    if (!one.passed) {
        text +=
            "  ---\n  expected: " + dump(one.expected) + "\n  got: " + dump(one.got) + "\n  ...\n";
    }
    return text;
}

std::string junit_of(const std::string& suite, const std::vector<verdict>& verdicts) {
    const auto failures = std::ranges::count(verdicts, false, &verdict::passed);
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"" +
                       xml_text(suite) + "\" tests=\"" + std::to_string(verdicts.size()) +
                       "\" failures=\"" + std::to_string(failures) + "\">\n";
    for (const verdict& each : verdicts) {
        text += "  <testcase name=\"" + xml_text(each.name) + "\" time=\"" +
                std::to_string(each.seconds) + "\"";
        text += each.passed ? "/>\n"
                            : "><failure message=\"" +
                                  xml_text("expected " + each.expected + ", got " + each.got) +
                                  "\"/></testcase>\n";
    }
    return text + "</testsuite>\n";
}

}  // namespace

void check_camera(context& ctx, const check_words& words) {
    if (ctx.out.mode != output_mode::people) {
        throw failure(exit_status::usage, "check prints TAP: it has no other form");
    }
    const json document = read_file(words.file);
    const std::vector<expectation> all = expectations_in(words.file, document);
    ctx.out.write("TAP version 13\n1.." + std::to_string(all.size()) + "\n");
    std::vector<verdict> verdicts;
    try {
        bus_session bus(ctx.timeout_ms);
        for (const expectation& each : all) {
            verdicts.push_back(judge(bus, each));
            ctx.out.write(tap_of(verdicts.back(), verdicts.size()));
        }
    } catch (const failure& error) {
        ctx.out.write("Bail out! " + std::string(error.what()) + "\n");
        throw;
    }
    if (!words.junit.empty()) {
        const std::string suite =
            document.contains("name") ? text_of(document["name"]) : words.file;
        write_file(words.junit, junit_of(suite, verdicts));
    }
    const bool passed = std::ranges::all_of(verdicts, &verdict::passed);
    ctx.status = passed ? ctx.status : to_int(exit_status::failure);
}

}  // namespace quon::client
