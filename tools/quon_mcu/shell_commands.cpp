// exec, popen: the two shell services.
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "dbus_socket_common.h"
#include "quon_mcu/bus_session.h"
#include "quon_mcu/commands.h"
#include "quon_mcu/names.h"
#include "quon_mcu/present.h"
#include "shared/failure.h"

namespace quon::client {
namespace {

// The client's options are not part of a command; a shell uses the same names for its own.
void refuse_options(const context& ctx) {
    for (const std::string& each : ctx.rest) {
        const std::string name = each.substr(0, each.find('='));
        if (!ctx.rest_is_verbatim && std::ranges::count(ctx.own_options, name) != 0) {
            throw failure(exit_status::usage, "'" + each +
                                                  "' stands after the command's text: options come "
                                                  "before it, and '--' before a text that has it");
        }
    }
}

std::string command_text(const context& ctx) {
    refuse_options(ctx);
    const std::vector<std::string>& words = ctx.rest;
    std::string text;
    for (const std::string& each : words) {
        text += (text.empty() ? "" : " ") + each;
    }
    if (text.empty()) {
        throw failure(exit_status::usage, "a shell command is missing");
    }
    return text;
}

// How a call of the library ended, and when.
struct ended_call {
    quon_mcu_status status;
    int32_t took_ms;
};

template <typename Call>
ended_call timed(const Call& call) {
    const auto start = std::chrono::steady_clock::now();
    const quon_mcu_status status = call();
    const auto took = std::chrono::steady_clock::now() - start;
    return {status, static_cast<int32_t>(
                        std::chrono::duration_cast<std::chrono::milliseconds>(took).count())};
}

// Its wait status.
int run_on_camera(context& ctx, const catalog::service& service, const std::string& text) {
    const bus_session bus(ctx.timeout_ms);
    int32_t status = 0;
    const ended_call ended = timed(
        [&] { return quon_mcu_client_exec(bus.library(), text.c_str(), &status, ctx.timeout_ms); });
    if (ended.status == QUON_MCU_MALFORMED) {
        throw failure(exit_status::malformed,
                      std::string(service.name) + ": malformed answer: no wait status");
    }
    bus.check(service, ended.status, status, ended.took_ms);
    return status;
}

// What it printed.
byte_list output_on_camera(context& ctx, const catalog::service& service, const std::string& text) {
    constexpr int32_t kNoShell = -1;  // the only failure that the service has
    const auto request = std::make_unique<quon_mcu_shell_command>();
    const auto reply = std::make_unique<quon_mcu_shell_output>();
    const bus_session bus(ctx.timeout_ms);
    const ended_call ended = timed([&] {
        if (text.size() >= sizeof(request->command)) {
            return QUON_MCU_INVALID;
        }
        text.copy(request->command, text.size());
        return quon_mcu_client_get_popen(bus.library(), request.get(), reply.get(), ctx.timeout_ms);
    });
    bus.check(service, ended.status, kNoShell, ended.took_ms);
    return {reply->output, reply->output + reply->length};
}

std::string people_status(int status) {
    if (WIFEXITED(status)) {
        return "exit status " + std::to_string(WEXITSTATUS(status));
    }
    if (WIFSIGNALED(status)) {
        return "killed by signal " + std::to_string(WTERMSIG(status));
    }
    return "wait status " + std::to_string(status);
}

json status_json(const std::string& command, int status) {
    json document = {{"command", command}, {"wait_status", status}};
    if (WIFEXITED(status)) {
        document["exit_status"] = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        document["signal"] = WTERMSIG(status);
    }
    return document;
}

}  // namespace

void exec_on_camera(context& ctx) {
    const catalog::service& service = service_named("get.system");
    const std::string text = command_text(ctx);
    const int status = run_on_camera(ctx, service, text);
    if (status == -1) {
        throw failure(exit_status::failure, "the daemon could not start a shell");
    }
    if (ctx.out.mode == output_mode::people) {
        ctx.out.line(people_status(status));
    } else {
        const std::string shown = std::to_string(status);
        show_record(ctx.out, *service.reply, byte_list(shown.begin(), shown.end()),
                    status_json(text, status));
    }
    ctx.status = static_cast<int>(status == 0 ? exit_status::done : exit_status::failure);
}

void popen_on_camera(context& ctx) {
    const catalog::service& service = service_named("get.popen");
    const std::string text = command_text(ctx);
    const byte_list payload = output_on_camera(ctx, service, text);
    if (ctx.out.mode == output_mode::people) {
        ctx.out.write(payload);
    } else {
        show_record(ctx.out, *service.reply, payload,
                    {{"command", text},
                     {"length", payload.size()},
                     {"output", std::string(payload.begin(), payload.end())},
                     {"hex", catalog::to_hex(payload)}});
    }
    if (payload.size() == DBUS_DATA_SIZE) {
        ctx.out.note("the output may be longer: the service sends its first " +
                     std::to_string(DBUS_DATA_SIZE) + " bytes");
    }
}

}  // namespace quon::client
