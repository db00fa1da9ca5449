// The commands of the client, one function each; each throws failure if it cannot do its work.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "shared/output.h"

namespace quon::client {

struct context {
    output out;
    int32_t timeout_ms = 5000;
    std::string records{};  // file of record definitions; empty: the default places
    std::vector<std::string>
        rest{};  // the remaining words of a command that takes them all, options included
    bool rest_is_verbatim = false;           // it followed "--"
    std::vector<std::string> own_options{};  // "--json" and the like
    int status = 0;                          // exit status of a command that returns
};

// list, describe, docs
void list_services(context& ctx, const std::string& word);
void describe_service(context& ctx, const std::string& name);
void print_page(context& ctx, const std::string& name);

// get, set, log-level
struct object_words {
    std::string object;
    std::vector<std::string> values;
    std::vector<std::string> fields;  // NAME=VALUE each
    std::string hex;
    std::string base = "current";
    bool verify = false;  // read it back

    std::vector<std::string> all() const;
};
void get_object(context& ctx, object_words words);
void set_object(context& ctx, const object_words& words);
void set_log_level(context& ctx, const std::string& level);

// call, send
struct request_words {
    std::string name;
    std::vector<std::string> hex;
};
void call_method(context& ctx, const request_words& words);
void send_signal(context& ctx, const request_words& words);

// events, wait
struct events_words {
    bool follow = false;
    std::string count;
    std::string timeout;
    std::string interval = "100";
    std::string as;
};
void take_events(context& ctx, const events_words& words);

// A note if so many events were queued at once that some may have been lost.
void hint_at_lost_events(output& out, size_t in_a_row);

struct wait_words {
    std::string object;
    std::string condition;
    std::string timeout = "5000";
    std::string interval = "200";
};
void wait_for(context& ctx, const wait_words& words);

// upgrade
struct upgrade_words {
    std::string file;
    std::string resume_from;
    std::string first = "0";
    std::string second = "size";
    std::string tail = "0";
};
void upgrade_chip(context& ctx, const upgrade_words& words);

// exec, popen: ctx.rest is the shell command
void exec_on_camera(context& ctx);
void popen_on_camera(context& ctx);

// wakeup, status
void show_wakeup(context& ctx);
void show_status(context& ctx, bool take_events);

// handoff
struct handoff_words {
    std::string peer;
    std::string socket = "/tmp/ws_socket";
    bool drop = false;
    bool no_relay = false;
};
void hand_off(context& ctx, const handoff_words& words);

// watch: ctx.rest is the command
struct watch_words {
    std::string interval = "2s";
    std::string rounds;
};
void watch(context& ctx, watch_words words);

// top
void show_top(context& ctx, const watch_words& words);

// decode
struct decode_words {
    std::vector<std::string> files;  // "-" is standard input, and so is none
    bool follow = false;
    bool exchanges = false;
    bool timeline = false;
    std::string svg;
};
void decode_logs(context& ctx, const decode_words& words);

// report
struct report_words {
    std::string file;  // "" and "-" are standard output
    bool take_events = false;
};
void make_report(context& ctx, const report_words& words);

// check
struct check_words {
    std::string file;
    std::string junit;
};
void check_camera(context& ctx, const check_words& words);

// completion
void print_completion(context& ctx, const std::string& shell);

}  // namespace quon::client
