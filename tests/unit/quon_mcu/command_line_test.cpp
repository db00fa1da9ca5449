#include "quon_mcu/command_line.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "catalog/catalog.h"
#include "client_run.h"
#include "shared/owned_descriptor.h"

namespace quon::client {
namespace {

using test::outcome;
using test::run_client;
using words = std::vector<std::string>;

struct refusal_row {
    words line;
    const char* err;
};

// Refused before any connection is tried: there is no daemon here, which would be status 3.
const refusal_row kRefusals[] = {
    {{}, "a command is missing; see 'quon-mcu --help'"},
    {{"gte"}, "unknown command 'gte'; did you mean 'get'"},
    {{"--jsn", "list"}, "unknown option '--jsn'; did you mean '--json'?"},
    {{"list", "--jsn"}, "unknown option '--jsn'; did you mean '--json'?"},
    {{"events", "--folow"}, "unknown option '--folow'; did you mean '--follow'?"},
    {{"list", "a", "b"}, "one word too many: 'b'"},
    {{"get"}, "OBJECT is required; see 'quon-mcu get --help'"},
    {{"list", "--timeout"}, "--timeout: 1 required TIME missing; see 'quon-mcu list --help'"},
    {{"get", "tiem"}, "unknown object of get 'tiem'; did you mean 'time'"},
    {{"get", "time", "yaer"}, "unknown field 'yaer'; did you mean 'year'"},
    {{"get", "time", "year", "rest_7"}, "unknown field 'rest_7'; did you mean 'rest_6'?"},
    {{"get", "time", "year", "--hex"}, "--hex and --raw show whole answers: name no field"},
    {{"get", "wifi.scanf.info", "1", "name"}, "unknown field 'name'"},
    {{"set", "time", "month=13"}, "month: '13' is no number from 1 to 12"},
    {{"exec", "true", "--json"},
     "'--json' stands after the command's text: options come before it, and '--' before a text "
     "that has it"},
    {{"popen", "sleep", "1", "--timeout=3s"}, "'--timeout=3s' stands after the command's text"},
    {{"help", "gte"}, "unknown command 'gte'; did you mean 'get'"},
    {{"get", "wifi.scanf.info"}, "get.wifi.scanf.info needs a value or --hex"},
    {{"set", "ledd", "1"}, "unknown object of set 'ledd'; did you mean 'led'?"},
    {{"set", "led"}, "set.led needs a value or --hex"},
    {{"set", "led", "256"}, "value: '256' is no number from 0 to 255"},
    {{"set", "led", "1", "2"}, "expected 1 values: value"},
    {{"set", "led", "value=1", "value=2"}, "value is given twice"},
    {{"set", "pir.info", "1"}, "set.pir.info has no known fields: give its bytes with --hex"},
    {{"set", "pir.info"}, "set.pir.info needs --hex"},
    {{"set", "pir.info", "--hex", "01"}, "set.pir.info takes 36 bytes, not 1"},
    {{"set", "wdg.feed", "1"}, "set.wdg.feed takes no value"},
    {{"set", "store.params", "--field", "server_prt=1"},
     "unknown field 'server_prt'; did you mean 'server_port', 'server_ip'?"},
    {{"set", "store.params", "--field", "80"}, "expected 2 values: server_ip server_port"},
    {{"set", "store.params", "server_ip=1.1.1.1", "--base", "old"},
     "--base: old not in {current,zero}; see 'quon-mcu set --help'"},
    {{"log-level", "loud"}, "unknown log level 'loud'"},
    {{"log-level", "5"}, "unknown log level '5'"},
    {{"log-level", ""}, "unknown log level ''"},
    {{"call", "get.tiem"}, "unknown service 'get.tiem'; did you mean 'get.time'"},
    {{"call", "set.led", "01"}, "signal.quon.mcu.set.led is a signal: use 'quon-mcu send set.led'"},
    {{"send", "get.time"}, "method.quon.mcu.get.time is a method: use 'quon-mcu call get.time'"},
    {{"call", "get.time", "0"}, "'0' has an odd number of digits"},
    {{"call", "get.time", "--timeout", "soon"},
     "'soon' is no duration; write milliseconds or, say, 1.5s"},
    {{"--hex", "--raw", "get", "time"}, "--hex excludes --raw"},
    {{"events", "--count", "0"}, "--count: '0' is no number from 1 to 2147483647"},
    {{"events", "--as", "net_evnt"}, "unknown record 'net_evnt'; did you mean 'net_event'"},
    {{"wait", "time", "year"}, "'year' is no FIELD=VALUE"},
    {{"wait", "time", "yaer=26"}, "unknown field 'yaer'; did you mean 'year'"},
    {{"wait", "err.report", "count=256"}, "count: '256' is no number from 0 to 255"},
    {{"wait", "err.report", "entry[0]=00"}, "unknown field 'entry[0]'"},
    {{"wait", "time", "rest_7=00"}, "unknown field 'rest_7'"},
    {{"wait", "battery.status", "bytes=0"}, "'0' has an odd number of digits"},
    {{"wait", "battery.status", "name=0"}, "unknown field 'name'"},
    {{"wait", "popen", "output=x"}, "wait cannot ask for get.popen"},
    {{"upgrade", "/nonexistent"}, "cannot read '/nonexistent': No such file or directory"},
    {{"upgrade", "/"}, "cannot read '/': Is a directory"},
    {{"upgrade", "/proc/self/exe", "--tail", "256"}, "--tail: '256' is no number from 0 to 255"},
    {{"upgrade", "/proc/self/exe", "--resume-from", "x"}, "--resume-from: 'x' is no number from 0"},
    {{"upgrade", "/dev/null"}, "'/dev/null' is no regular file"},
    {{"upgrade", "/dev/zero"}, "'/dev/zero' is no regular file"},
    {{"upgrade", "/proc/self/maps"}, "'/proc/self/maps' is empty"},
    {{"exec"}, "a shell command is missing"},
    {{"popen", "--"}, "a shell command is missing"},
    {{"handoff"}, "handoff takes either ADDRESS:PORT or --drop"},
    {{"handoff", "1.2.3.4:80", "--drop"}, "handoff takes either ADDRESS:PORT or --drop"},
    {{"handoff", "camera:80"}, "'camera:80' is no ADDRESS:PORT, as 192.168.1.2:80"},
    {{"handoff", "1.2.3.4"}, "'1.2.3.4' is no ADDRESS:PORT, as 192.168.1.2:80"},
    {{"handoff", "1.2.3.4:0"}, "port: '0' is no number from 1 to 65535"},
    {{"watch"}, "watch needs a command"},
    {{"watch", "list", "--rounds", "0"}, "--rounds: '0' is no number from 1 to 2147483647"},
    {{"watch", "list", "--rounds=0"}, "--rounds: '0' is no number from 1 to 2147483647"},
    {{"watch", "list", "--rounds=1", "--interval=x"}, "'x' is no duration"},
    {{"decode", "/nonexistent"}, "cannot read '/nonexistent': No such file or directory"},
    {{"decode", "/"}, "cannot read '/': Is a directory"},
    {{"decode", "--hex", "/dev/null"}, "decode prints lines or --json"},
    {{"list", "--raw"}, "list prints text or --json"},
    {{"list", "zzzz"}, "unknown service 'zzzz'"},
    {{"describe", "get.tiem"}, "unknown service 'get.tiem'; did you mean 'get.time'"},
    {{"docs", "page"}, "unknown page 'page'"},
    {{"completion", "fish"}, "SHELL: fish not in {bash,zsh}; see 'quon-mcu completion --help'"},
};

TEST(AWrongCommandLine, IsRefusedWithStatus2AndSaysWhy) {
    for (const refusal_row& row : kRefusals) {
        const outcome got = run_client(row.line);
        EXPECT_EQ(got.status, 2) << row.err;
        EXPECT_EQ(got.out, "") << row.err;
        EXPECT_EQ(got.err.find("quon-mcu: " + std::string(row.err)), 0u) << got.err;
    }
}

#if __SIZEOF_POINTER__ == 8  // elsewhere a file's size does not reach that far
TEST(AnImage, ThatIsTooLongIsRefusedBeforeItIsRead) {
    const owned_descriptor image(memfd_create("image", MFD_CLOEXEC));
    ASSERT_EQ(ftruncate(image.get(), off_t{4294967296}), 0);
    const std::string name = "/proc/self/fd/" + std::to_string(image.get());
    const outcome got = run_client({"upgrade", name});
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.err,
              "quon-mcu: '" + name + "' has 4294967296 bytes; an image has at most 4294967295\n");
    // The longest one gets as far as the daemon that is not there.
    ASSERT_EQ(ftruncate(image.get(), off_t{4294967295}), 0);
    EXPECT_EQ(run_client({"upgrade", name}).status, 3);
}
#endif

TEST(AnImage, ThatIsAPipeIsNotOpened) {
    char name[] = "/tmp/quon-mcu-pipe-XXXXXX";
    const owned_descriptor placeholder(mkstemp(name));
    ASSERT_GE(placeholder.get(), 0);
    unlink(name);
    ASSERT_EQ(mkfifo(name, 0600), 0);
    const outcome got = run_client({"upgrade", name});  // nobody writes to it
    unlink(name);
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.err, "quon-mcu: '" + std::string(name) + "' is no regular file\n");
}

// Newer parsers end the program at the first argument whose name has such a sign, whatever the
// command; older ones take it.
TEST(ACommandLine, NamesItsArgumentsAsEveryParserTakesThem) {
    context ctx{.out = output("quon-mcu", STDOUT_FILENO, STDERR_FILENO), .timeout_ms = 0};
    command_line line(ctx);
    int named = 0;
    for (CLI::App* command : line.app().get_subcommands({})) {
        for (const CLI::Option* each : command->get_options()) {
            EXPECT_EQ(each->get_name(true, true).find_first_of(":={}"), std::string::npos)
                << command->get_name() << " " << each->get_name(true, true);
            named += each->get_positional() ? 1 : 0;
        }
    }
    EXPECT_GT(named, 10);
}

TEST(Help, GoesToStandardOutput) {
    const outcome got = run_client({"--help"});
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.err, "");
    for (const char* command : {"list", "describe", "get", "set", "call", "send", "events", "wait",
                                "upgrade", "log-level", "exec", "popen", "wakeup", "handoff",
                                "status", "watch", "decode", "completion", "help"}) {
        EXPECT_NE(got.out.find("\n  " + std::string(command) + " "), std::string::npos) << command;
        const outcome own = run_client({command, "--help"});
        EXPECT_EQ(own.status, 0) << command;
        EXPECT_NE(own.out.find("Usage: quon-mcu " + std::string(command)), std::string::npos)
            << own.out;
        EXPECT_EQ(run_client({"help", command}).out, own.out) << command;
    }
    EXPECT_EQ(run_client({"help"}).out, got.out);
    EXPECT_NE(got.out.find("Exit status: 0 done, 1 the service answered with a failure, 2 usage"),
              std::string::npos);
}

TEST(Help, NamesWhatACommandAndItsOptionsTake) {
    const std::pair<const char*, const char*> rows[] = {
        {"exec", "Usage: quon-mcu exec [OPTIONS] COMMAND...\n"},
        {"popen", "Usage: quon-mcu popen [OPTIONS] COMMAND...\n"},
        {"watch", "Usage: quon-mcu watch [OPTIONS] COMMAND...\n"},
        {"set", "\n  --field NAME=VALUE "},
        {"set", "\n  --hex HEX "},
        {"set", "\n  --base BASE:{current,zero} "},
        {"upgrade", "\n  --resume-from OFFSET "},
        {"upgrade", "\n  --tail N "},
    };
    for (const auto& [command, text] : rows) {
        const std::string help = run_client({command, "--help"}).out;
        EXPECT_NE(help.find(text), std::string::npos) << help;
    }
}

TEST(TheVersion, GoesToStandardOutput) {
    const outcome got = run_client({"--version"});
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.out.find("quon-mcu "), 0u);
    EXPECT_EQ(got.err, "");
}

TEST(TheList, HasEveryService) {
    const outcome got = run_client({"list"});
    EXPECT_EQ(got.status, 0);
    std::istringstream lines(got.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line.find("kind"), 0u);
    for (const catalog::service& each : catalog::services()) {
        ASSERT_TRUE(std::getline(lines, line)) << each.name;
        EXPECT_NE(line.find(each.meaning), std::string::npos) << line;
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
}

TEST(TheList, IsAvailableAsJson) {
    const auto document = nlohmann::json::parse(run_client({"--json", "list"}).out);
    ASSERT_EQ(document.size(), catalog::services().size());
    EXPECT_EQ(document[4]["name"], "method.quon.mcu.get.time");
    EXPECT_EQ(document[4]["short_name"], "get.time");
    EXPECT_EQ(document[4]["kind"], "method");
    EXPECT_TRUE(document[4]["request_size"].is_null());
    EXPECT_EQ(document[4]["reply_size"], 10);
    EXPECT_EQ(document[4]["meaning"], "the chip's clock");
}

TEST(TheList, CanBeNarrowed) {
    const outcome got = run_client({"list", "soc.time"});
    EXPECT_EQ(std::ranges::count(got.out, '\n'), 1 + 3);
    EXPECT_NE(got.out, run_client({"list"}).out);
    // In names and meanings, whatever the case.
    EXPECT_EQ(run_client({"list", "wi-FI SCAN"}).out, run_client({"list", "get.wifi.scanf"}).out);
}

TEST(ADescription, ExistsForEveryService) {
    for (const catalog::service& each : catalog::services()) {
        const outcome got = run_client({"describe", std::string(each.name)});
        EXPECT_EQ(got.status, 0);
        EXPECT_EQ(got.out.find(std::string(each.name) + "\n"), 0u);
        EXPECT_NE(got.out.find(each.meaning), std::string::npos);
        const auto document =
            nlohmann::json::parse(run_client({"describe", std::string(each.name), "--json"}).out);
        EXPECT_EQ(document["index"], each.index);
    }
}

TEST(ADescription, ShowsOffsetsTypesAndKnownValues) {
    const std::string text = run_client({"describe", "get.wakeup.info"}).out;
    EXPECT_NE(text.find("chip message  0x82 get_wakeup_info\n"), std::string::npos) << text;
    EXPECT_NE(text.find("time-out      2000 ms\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n54      6     mac "), std::string::npos) << text;
    EXPECT_NE(text.find("13 starts the remote wake-up hand-off"), std::string::npos) << text;
}

TEST(ADescription, OfAnObjectShowsAllItsServices) {
    const std::string get = run_client({"describe", "get.time"}).out;
    const std::string set = run_client({"describe", "set.time"}).out;
    EXPECT_EQ(run_client({"describe", "time"}).out, set + "\n" + get);
    EXPECT_EQ(run_client({"describe", "method.quon.mcu.get.time"}).out, get);
    EXPECT_EQ(run_client({"describe", "ver"}).out, run_client({"describe", "get.ver"}).out);
    const std::string both = run_client({"--json", "describe", "time"}).out;
    EXPECT_EQ(std::ranges::count(both, '\n'), 2) << both;
}

// --- completion

struct completion_row {
    words line;
    words expected;  // all of them
};

TEST(Completion, OffersWhatMayStandThere) {
    const completion_row rows[] = {
        {{"ge"}, {"get"}},
        {{"get", "ti"}, {"time"}},
        {{"get", "time", "m"}, {"minute", "month"}},
        {{"help", "li"}, {"list"}},
        {{"describe", "tim"}, {"time"}},
        {{"get", "wifi.s"}, {"wifi.scanf.info", "wifi.status"}},
        {{"set", "wdg."}, {"wdg.feed", "wdg.period", "wdg.state"}},
        {{"set", "time", "n"}, {"now"}},
        {{"set", "store.params", ""}, {"server_ip=", "server_port="}},
        {{"set", "log.profile", "level_limit=4"}, {"level_limit=4"}},
        {{"wait", "ala"}, {"alarm"}},
        {{"wait", "alarm", "w"}, {"word="}},
        {{"call", "upg."}, {"upg.finish", "upg.start", "upg.transmit"}},
        {{"call", "set."}, {}},
        {{"send", "set.ap"}, {"set.ap.start", "set.ap.stop"}},
        {{"send", "get."}, {}},
        {{"describe", "set.time"}, {"set.time"}},
        {{"log-level", ""}, {"debug", "error", "fatal", "information", "warning"}},
        {{"completion", ""}, {"bash", "zsh"}},
        {{"--js"}, {"--json"}},
        {{"events", "--c"}, {"--count"}},
        {{"events", "--as", "net_"}, {"net_event", "net_info"}},
        {{"--timeout", "5", "get", "tim"}, {"time"}},
        {{"--json", "get", "tim"}, {"time"}},
        {{"set", "alarm", "--field", "w"}, {"word="}},
        {{"set", "led", "--base", ""}, {"current", "zero"}},
        {{"watch", "get", "tim"}, {"time"}},
        {{"watch", "--interval", "1s", "get", "tim"}, {"time"}},
        {{"upgrade", ""}, {}},
        {{"exec", "l"}, {}},
        {{"nonsense", ""}, {}},
    };
    for (const completion_row& row : rows) {
        words line = {"complete", "--"};
        line.insert(line.end(), row.line.begin(), row.line.end());
        std::string expected;
        for (const std::string& each : row.expected) {
            expected += each + "\n";
        }
        const outcome got = run_client(line);
        EXPECT_EQ(got.status, 0);
        EXPECT_EQ(got.out, expected) << row.line[0] << " " << row.line.back();
        EXPECT_EQ(got.err, "");
    }
}

TEST(Completion, OffersEveryCommandButThoseForPrograms) {
    const std::string got = run_client({"complete", "--", ""}).out;
    for (const char* command : {"list", "get", "watch", "decode", "handoff"}) {
        EXPECT_NE(("\n" + got).find("\n" + std::string(command) + "\n"), std::string::npos);
    }
    EXPECT_EQ(got.find("docs"), std::string::npos);
    EXPECT_EQ(("\n" + got).find("\ncomplete\n"), std::string::npos);
}

}  // namespace
}  // namespace quon::client
