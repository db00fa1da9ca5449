#include "quon_mcu/command_line.h"

#include <algorithm>
#include <array>

#include "catalog/definitions.h"
#include "quon_mcu/names.h"
#include "shared/failure.h"
#include "shared/suggestions.h"
#include "shared/values.h"

namespace quon::client {
namespace {

constexpr const char* kPurpose =
    "Talks to the camera's companion chip through quon_mcu_daemon's services on the bus.";
constexpr const char* kEpilogue =
    "Exit status: 0 done, 1 the service answered with a failure, 2 usage, 3 no daemon,\n"
    "4 time-out, 5 malformed answer.";

CLI::Option* add_time(CLI::App* command, const char* name, std::string& text, const char* meaning) {
    return command->add_option(name, text, meaning)->type_name("TIME");
}

// CLI11 does not know the words that a prefix command leaves unparsed.
class usage_formatter : public CLI::Formatter {
  public:
    explicit usage_formatter(const std::vector<std::string>& prefix_commands)
        : prefix_commands_(prefix_commands) {}

    std::string make_usage(const CLI::App* app, std::string name) const override {
        std::string usage = Formatter::make_usage(app, std::move(name));
        if (std::ranges::count(prefix_commands_, app->get_name()) != 0) {
            usage.insert(usage.find_last_not_of('\n') + 1, " COMMAND...");
        }
        return usage;
    }

  private:
    const std::vector<std::string>& prefix_commands_;
};

}  // namespace

// Creating options takes a good part of the program's start, so only the needed ones are created.
struct command_line::command_group {
    std::array<std::string_view, 3> names;
    void (command_line::*add)();

    bool is_named_in(std::span<const std::string> words) const {
        return std::ranges::any_of(words, [this](const std::string& word) {
            return !word.empty() && std::ranges::find(names, word) != names.end();
        });
    }
};

const command_line::command_group command_line::groups[] = {
    {{"list", "describe", "docs"}, &command_line::add_catalog_commands},
    {{"get", "set", "log-level"}, &command_line::add_object_commands},
    {{"call", "send"}, &command_line::add_request_commands},
    {{"events", "wait"}, &command_line::add_event_commands},
    {{"upgrade"}, &command_line::add_upgrade_command},
    {{"exec", "popen"}, &command_line::add_shell_commands},
    {{"wakeup", "status"}, &command_line::add_snapshot_commands},
    {{"handoff"}, &command_line::add_handoff_command},
    {{"watch"}, &command_line::add_watch_command},
    {{"decode"}, &command_line::add_decode_command},
    {{"report", "check", "top"}, &command_line::add_field_commands},
    {{"completion", "complete", "help"}, &command_line::add_completion_commands},
};

// Whether the line has a command and does not ask for a list of all of them.
bool command_line::names_only_commands(std::span<const std::string> words) {
    constexpr std::string_view kShowsAll[] = {"help", "complete", "-h", "--help"};
    return std::ranges::any_of(
               groups, [&words](const command_group& each) { return each.is_named_in(words); }) &&
           std::ranges::none_of(words, [&kShowsAll](const std::string& word) {
               return std::ranges::find(kShowsAll, word) != std::end(kShowsAll);
           });
}

command_line::command_line(context& ctx, std::span<const std::string> words)
    : ctx_(ctx), app_(kPurpose, "quon-mcu") {
    app_.footer(kEpilogue);
    app_.formatter(std::make_shared<usage_formatter>(prefix_commands_));
    app_.get_formatter()->label("TEXT", "");
    app_.get_formatter()->label("REQUIRED", "");
    app_.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app_.fallthrough();
    app_.require_subcommand(0, 1);  // later words are never commands
    app_.allow_extras();
    add_program_options();
    const bool needs_all = !names_only_commands(words);
    for (const command_group& each : groups) {
        if (needs_all || each.is_named_in(words)) {
            (this->*each.add)();
        }
    }
}

void command_line::add_program_options() {
    struct row {
        const char* flag;
        output_mode mode;
        const char* meaning;
    };
    constexpr row kRows[] = {
        {"--json", output_mode::json, "Results as JSON, one document a line"},
        {"--hex", output_mode::hex, "Payloads in hexadecimal"},
        {"--raw", output_mode::raw, "Payloads as they are"},
    };
    const auto given = std::make_shared<std::string>();
    for (const row& each : kRows) {
        const auto choose = [this, given, each] {
            if (!given->empty()) {
                throw failure(exit_status::usage, *given + " excludes " + each.flag);
            }
            *given = each.flag;
            ctx_.out.mode = each.mode;
        };
        app_.add_flag_callback(each.flag, choose, each.meaning);
    }
    const auto set_timeout = [this](const std::string& text) {
        ctx_.timeout_ms = parse_duration(text);
    };
    app_.add_option_function<std::string>(
            "--timeout", set_timeout,
            "How long to wait for an answer: milliseconds or, say, 1.5s (default 5s)")
        ->type_name("TIME");
    app_.add_option("--records", ctx_.records,
                    "File that defines records (default: records.json in the usual places)")
        ->type_name("FILE");
    app_.set_version_flag("--version", "quon-mcu " QUON_VERSION);
}

void command_line::add_catalog_commands() {
    const auto word = std::make_shared<std::string>();
    add("list", "List the services", [this, word] {
        list_services(ctx_, *word);
    })->add_option("WORD", *word, "Only services whose name or meaning contains it");
    const auto name = std::make_shared<std::string>();
    add("describe", "Describe a service and its records",
        [this, name] { describe_service(ctx_, *name); })
        ->add_option("NAME", *name, "Service, full or short (get.time), or object (time)")
        ->required();
    const auto page = std::make_shared<std::string>();
    CLI::App* docs = add("docs", "Print a generated page of the documentation",
                         [this, page] { print_page(ctx_, *page); });
    docs->add_option("PAGE", *page, "services, messages, or a table of protocol.md")->required();
    docs->group("");  // for maintainers
}

void command_line::add_object_commands() {
    const auto got = std::make_shared<object_words>();
    CLI::App* get = add("get", "Ask for an object and show its fields",
                        [this, got] { get_object(ctx_, *got); });
    const auto given = std::make_shared<object_words>();
    CLI::App* set = add("set", "Set an object from values (set time now, set led 1)",
                        [this, given] { set_object(ctx_, *given); });
    for (const auto& [command, words] : {std::pair(get, got), std::pair(set, given)}) {
        command->add_option("OBJECT", words->object, "What, as in 'quon-mcu list': time, pir.info")
            ->required();
    }
    get->add_option("FIELD", got->values,
                    "Show these fields alone; a question's own values come first");
    set->add_option("VALUE", given->values, "Values in the fields' order, or NAME=VALUE");
    set->add_option("--field", given->fields, "One field; may be given again for others")
        ->type_name("NAME=VALUE")
        ->expected(1)
        ->take_all();
    set->add_option("--hex", given->hex, "The whole record in hexadecimal")->type_name("HEX");
    set->add_option("--base", given->base,
                    "What fields that are not given keep: current (default) or zero")
        ->type_name("BASE")
        ->check(CLI::IsMember({"current", "zero"}));
    set->add_flag("--verify", given->verify, "Read it back, fail when it was not taken over");
    const auto level = std::make_shared<std::string>();
    add("log-level", "Set the highest level that the daemon logs",
        [this, level] { set_log_level(ctx_, *level); })
        ->add_option("LEVEL", *level,
                     "0 to 4, or fatal, error, warning, information (or info), debug")
        ->required();
}

void command_line::add_request_commands() {
    const auto called = std::make_shared<request_words>();
    CLI::App* call = add("call", "Call a method with a raw payload; show result, length and hex",
                         [this, called] { call_method(ctx_, *called); });
    const auto sent = std::make_shared<request_words>();
    CLI::App* send =
        add("send", "Send a signal with a raw payload", [this, sent] { send_signal(ctx_, *sent); });
    for (const auto& [command, words] : {std::pair(call, called), std::pair(send, sent)}) {
        command->add_option("NAME", words->name, "Service, full or short (get.time)")->required();
        command->add_option("HEX", words->hex, "Payload in hexadecimal");
    }
}

void command_line::add_event_commands() {
    const auto taken = std::make_shared<events_words>();
    CLI::App* events = add("events", "Take the pending events off the daemon's queue",
                           [this, taken] { take_events(ctx_, *taken); });
    events->add_flag("--follow", taken->follow, "Go on until ended");
    events->add_option("--count", taken->count, "End after so many, wait for them")->type_name("N");
    add_time(events, "--timeout", taken->timeout, "End after this time");
    add_time(events, "--interval", taken->interval, "Time between two polls (default 100ms)");
    events->add_option("--as", taken->as, "Show each as this record (net_event)")
        ->type_name("RECORD");
    const auto awaited = std::make_shared<wait_words>();
    CLI::App* wait = add("wait", "Ask for an object until a field has a value",
                         [this, awaited] { wait_for(ctx_, *awaited); });
    wait->add_option("OBJECT", awaited->object, "What, as for get")->required();
    wait->add_option("CONDITION", awaited->condition, "What it shall come to: FIELD=VALUE")
        ->required();
    add_time(wait, "--timeout", awaited->timeout, "End after this time (default 5s)");
    add_time(wait, "--interval", awaited->interval, "Time between two questions (default 200ms)");
}

void command_line::add_upgrade_command() {
    const auto words = std::make_shared<upgrade_words>();
    CLI::App* upgrade = add("upgrade", "Send the chip a firmware image in blocks of 256 bytes",
                            [this, words] { upgrade_chip(ctx_, *words); });
    upgrade->add_option("FILE", words->file, "The image")->required();
    upgrade
        ->add_option("--resume-from", words->resume_from,
                     "Go on at this offset without a new start")
        ->type_name("OFFSET");
    upgrade->add_option("--first", words->first, "First value of the start (default 0)")
        ->type_name("N");
    upgrade
        ->add_option("--second", words->second,
                     "Second value of the start (default: the image's size)")
        ->type_name("N");
    upgrade->add_option("--tail", words->tail, "Trailing byte of each block (default 0)")
        ->type_name("N");
}

void command_line::add_shell_commands() {
    constexpr const char* kRule = "COMMAND is the rest of the line; options come before it.";
    add_prefix("exec", "Run a shell COMMAND on the camera, show its exit status", [this] {
        exec_on_camera(ctx_);
    })->footer(kRule);
    add_prefix("popen", "Run a shell COMMAND on the camera, show its output", [this] {
        popen_on_camera(ctx_);
    })->footer(kRule);
}

void command_line::add_snapshot_commands() {
    add("wakeup", "Show the start-up snapshot", [this] { show_wakeup(ctx_); });
    const auto events = std::make_shared<bool>(false);
    add("status", "Show version, time, battery, Wi-Fi, network, events, up time", [this, events] {
        show_status(ctx_, *events);
    })->add_flag("--take-events", *events, "Take and show the pending events as well");
}

void command_line::add_handoff_command() {
    const auto words = std::make_shared<handoff_words>();
    CLI::App* handoff =
        add("handoff", "Take over a connected socket, relay standard input and output over it",
            [this, words] { hand_off(ctx_, *words); });
    handoff->add_option("SERVER", words->peer, "ADDRESS:PORT of the server, as 192.168.1.2:80");
    handoff->add_flag("--no-relay", words->no_relay, "Only show the peer, then close");
    handoff->add_flag("--drop", words->drop, "Have the daemon drop its connection instead");
    handoff->add_option("--socket", words->socket, "The daemon's hand-off socket")
        ->type_name("PATH");
}

void command_line::add_watch_command() {
    const auto words = std::make_shared<watch_words>();
    CLI::App* command =
        add_prefix("watch", "Repeat a COMMAND until ended", [this, words] { watch(ctx_, *words); });
    add_time(command, "--interval", words->interval, "Time between two rounds (default 2s)");
    command->add_option("--rounds", words->rounds, "End after so many")->type_name("N");
    command->footer(
        "COMMAND is a command of quon-mcu with its words. --interval and --rounds may\n"
        "also stand at its end.");
}

void command_line::add_decode_command() {
    const auto words = std::make_shared<decode_words>();
    CLI::App* decode = add("decode", "Decode the chip's frames in a log or a journal",
                           [this, words] { decode_logs(ctx_, *words); });
    decode->add_option(
        "FILE", words->files,
        "The daemon's log or the simulated chip's journal (default: standard input)");
    decode->add_flag("--follow", words->follow, "Go on with what is appended to FILE");
    decode->add_flag("--exchanges", words->exchanges, "One line for a question and its answer");
    decode->add_flag("--timeline", words->timeline,
                     "Draw the start of the camera; of several FILEs side by side");
    decode->add_option("--svg", words->svg, "With --timeline: write it as a picture as well")
        ->type_name("PICTURE");
}

void command_line::add_field_commands() {
    const auto wanted = std::make_shared<report_words>();
    CLI::App* report = add("report", "Put all that can be seen of the camera into one text",
                           [this, wanted] { make_report(ctx_, *wanted); });
    report->add_option("FILE", wanted->file, "Where to (default: standard output)");
    report->add_flag("--take-events", wanted->take_events, "Take the pending events as well");
    const auto words = std::make_shared<check_words>();
    CLI::App* check = add("check", "Compare the camera with the expected values of a file",
                          [this, words] { check_camera(ctx_, *words); });
    check->add_option("FILE", words->file, "What to ask and what to compare, as JSON")->required();
    check->add_option("--junit", words->junit, "Write the results as JUnit XML as well")
        ->type_name("RESULTS");
    const auto pace = std::make_shared<watch_words>();
    CLI::App* top = add("top", "Show services with their latency, the network and the daemon",
                        [this, pace] { show_top(ctx_, *pace); });
    add_time(top, "--interval", pace->interval, "Time between two rounds (default 2s)");
    top->add_option("--rounds", pace->rounds, "End after so many")->type_name("N");
}

void command_line::add_completion_commands() {
    const auto shell = std::make_shared<std::string>();
    add("completion", "Print the completion script of a shell",
        [this, shell] { print_completion(ctx_, *shell); })
        ->add_option("SHELL", *shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh"}));
    const auto topic = std::make_shared<std::string>();
    add("help", "Show the help of a command, or this one", [this, topic] {
        const CLI::App* command = topic->empty() ? nullptr : command_named(*topic);
        if (command == nullptr && !topic->empty()) {
            throw failure(exit_status::usage, unknown("command", *topic, command_names()));
        }
        ctx_.out.write(command == nullptr ? app_.get_formatter()->make_help(
                                                &app_, app_.get_name(), CLI::AppFormatMode::Normal)
                                          : command->help("quon-mcu"));
    })->add_option("COMMAND", *topic, "The command");
    const auto complete = [this] {
        for (const std::string& each : completions(ctx_.rest)) {
            ctx_.out.line(each);
        }
    };
    add_prefix("complete", "Print what may stand at the last word", complete)
        ->group("");  // used by the completion scripts
}

CLI::App* command_line::add(const std::string& name, const std::string& meaning,
                            std::function<void()> action) {
    CLI::App* command = app_.add_subcommand(name, meaning)->group("Commands");
    command->callback([this, action = std::move(action)] { action_ = action; });
    return command;
}

CLI::App* command_line::add_prefix(const std::string& name, const std::string& meaning,
                                   std::function<void()> action) {
    prefix_commands_.push_back(name);
    return add(name, meaning, std::move(action));
}

std::function<void()> command_line::parse(std::vector<std::string> words) {
    ctx_.rest = split_rest(words);
    ctx_.own_options = options_of(nullptr);
    std::ranges::reverse(words);  // the order that CLI11 expects
    app_.parse(words);
    refuse_leftovers();
    if (!action_) {
        throw failure(exit_status::usage, "a command is missing; see 'quon-mcu --help'");
    }
    return action_;
}

void command_line::load_records() {
    const auto commands = app_.get_subcommands();
    if (commands.empty() || commands[0]->get_name() != "complete") {
        catalog::load_definitions(ctx_.records);
        return;
    }
    const auto named = std::ranges::find(ctx_.rest, "--records");
    const bool has_file = named != ctx_.rest.end() && std::next(named) != ctx_.rest.end();
    try {
        catalog::load_definitions(has_file ? *std::next(named) : "");
    } catch (const failure&) {
        return;  // a shell expects words, not error messages
    }
}

// Removes what follows a prefix command and its options from `words`.
std::vector<std::string> command_line::split_rest(std::vector<std::string>& words) {
    const CLI::App* command = nullptr;
    for (size_t i = 0; i < words.size(); ++i) {
        const bool end_of_options = command != nullptr && words[i] == "--";
        if (words[i].starts_with("-") && !end_of_options) {
            i += takes_next_word(command, words[i]) ? 1 : 0;
            continue;
        }
        if (command == nullptr) {
            command = command_named(words[i]);
            if (std::ranges::count(prefix_commands_, words[i]) == 0) {
                return {};
            }
            continue;
        }
        const auto from = words.begin() + static_cast<std::ptrdiff_t>(i);
        ctx_.rest_is_verbatim = end_of_options;
        std::vector<std::string> rest(from + (end_of_options ? 1 : 0), words.end());
        words.resize(i);
        return rest;
    }
    return {};
}

std::vector<std::string> command_line::options_of(const CLI::App* command) const {
    std::vector<std::string> names;
    for (const CLI::App* each : {command, &app_}) {
        for (const CLI::Option* option :
             each == nullptr ? std::vector<const CLI::Option*>() : each->get_options()) {
            if (option->nonpositional()) {
                names.push_back("--" + option->get_lnames().front());
            }
        }
    }
    return names;
}

// Words that no command accepted: an unknown command, a misspelt option, one word too many.
void command_line::refuse_leftovers() const {
    const std::vector<std::string> words = app_.remaining();
    if (words.empty()) {
        return;
    }
    const auto commands = app_.get_subcommands();
    if (words[0].starts_with("-")) {
        const CLI::App* command = commands.empty() ? nullptr : commands[0];
        throw failure(exit_status::usage, unknown("option", words[0], options_of(command)));
    }
    if (commands.empty()) {
        throw failure(exit_status::usage, unknown("command", words[0], command_names()));
    }
    throw failure(exit_status::usage, "one word too many: '" + words[0] + "'");
}

std::vector<std::string> command_line::command_names() {
    constexpr std::string_view kHidden[] = {"docs", "complete"};
    std::vector<std::string> names;
    for (const command_group& group : groups) {
        for (const std::string_view each : group.names) {
            if (!each.empty() && std::ranges::find(kHidden, each) == std::end(kHidden)) {
                names.emplace_back(each);
            }
        }
    }
    return names;
}

const CLI::App* command_line::command_named(const std::string& name) const {
    const auto all = app_.get_subcommands([](const CLI::App*) { return true; });
    const auto found =
        std::ranges::find(all, name, [](const CLI::App* each) { return each->get_name(); });
    return found == all.end() ? nullptr : *found;
}

bool command_line::takes_next_word(const CLI::App* command, const std::string& option) const {
    for (const CLI::App* each : {command, &app_}) {
        const CLI::Option* found = each == nullptr ? nullptr : each->get_option_no_throw(option);
        if (found != nullptr) {
            return found->get_items_expected_max() > 0;
        }
    }
    return false;
}

}  // namespace quon::client
