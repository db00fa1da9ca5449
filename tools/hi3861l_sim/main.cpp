#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "catalog/definitions.h"
#include "chip_program.h"
#include "completion.h"
#include "control_commands.h"
#include "control_tool.h"
#include "exec_program.h"
#include "prefix_command.h"
#include "shared/failure.h"
#include "text_values.h"
#include "world_run.h"

namespace quon::sim {
namespace {

struct settings {
    chip_settings chip;
    std::vector<std::string> command;  // for control
    bool json = false;
    std::string explained;  // for help
    std::string shell;      // for completion
    exec_words exec;
    run_words run;
};

std::string footer() {
    return "A daemon reaches the simulated chip over the chip link, a library in its LD_PRELOAD "
           "that\n"
           "reads the chip's socket from HI3861L_SIM_SOCKET: \"hi3861l-sim exec "
           "quon_mcu_daemon\".\n\n"
           "The journal has one line a frame: time, direction (host->chip, chip->host), type with\n"
           "its name, length, then the payload's fields as name=value or its hex digits. Lines\n"
           "that begin \"note\" tell what else happened.\n\n"
           "Control: one command a line on the control socket; the answer is any number of lines,\n"
           "then \"ok\" or \"error: TEXT\". \"hi3861l-sim control COMMAND...\" sends one.\n\n" +
           control_help() +
           "Exit status: 0 done, 1 it could not be done, 2 usage, 3 no simulator reached,\n"
           "4 a wait timed out. Of exec and run: the command's, 126 it cannot be started, 127 it\n"
           "is not found; of run also 125: no world, chip or daemon.\n";
}

int complain(const std::exception& problem, int status) {
    std::cerr << "hi3861l-sim: " << problem.what() << '\n';
    return status;
}

CLI::App* add_control(CLI::App& app, settings& chosen) {
    CLI::App* control = app.add_subcommand("control", "Send one command to a running simulator");
    control->add_option("--control", chosen.chip.control, "Control socket")->capture_default_str();
    control->add_flag("--json", chosen.json, "The result as one JSON document");
    control->add_option("COMMAND", chosen.command, "The command and its words")->required();
    control->footer("\n" + control_help());
    control->positionals_at_end();
    return control;
}

CLI::App* add_run(CLI::App& app, run_words& words) {
    CLI::App* run = app.add_subcommand(
        "run", "Run a command in a world with this chip and the daemon, and end both");
    run->add_option("--world", words.world,
                    "own: private namespaces, here: the machine's own world, auto: own where that "
                    "is allowed")
        ->check(CLI::IsMember({"own", "here", "auto"}))
        ->capture_default_str();
    run->add_option("--logs", words.logs,
                    "Folder for chip.log and daemon.log (default: shown when COMMAND fails)");
    run->add_option("--keep", words.kept, "A path below /tmp that stays visible")
        ->expected(1)
        ->take_all();
    run->add_option("--daemon", words.daemon, "The daemon (default: the installed one)");
    run->add_option("--link", words.link, "The chip link's library (default: the installed one)");
    add_log_options(*run, words.chip);
    add_state_options(*run, words.chip);
    run->footer("COMMAND and its arguments follow the options, or --.");
    return run;
}

CLI::App* add_exec(CLI::App& app, exec_words& words) {
    CLI::App* exec = app.add_subcommand("exec", "Run a program under the chip link");
    exec->add_option("--socket", words.socket,
                     "The chip's socket (default: as the environment says)");
    exec->add_option("--link", words.link, "The chip link's library (default: the installed one)");
    exec->footer("COMMAND and its arguments follow the options, or --.");
    return exec;
}

// CLI11 does not know the command that follows the options.
class usage_formatter : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App* app, std::string name) const override {
        std::string usage = Formatter::make_usage(app, std::move(name));
        if (app->get_name() == "exec" || app->get_name() == "run") {
            usage.insert(usage.find_last_not_of('\n') + 1, " -- COMMAND...");
        }
        return usage;
    }
};

int help_or_usage(const CLI::App& app, const CLI::ParseError& problem) {
    std::ostringstream notes;
    if (app.exit(problem, std::cout, notes) == 0) {
        return flush_output() ? exit_done : exit_error;
    }
    std::string command;
    for (const CLI::App* each : app.get_subcommands()) {
        command = each->get_name() + " ";
    }
    std::cerr << "hi3861l-sim: " << problem.what() << "; see 'hi3861l-sim " << command
              << "--help'\n";
    return exit_usage;
}

// The command line; it only parses.
class command_line {
  public:
    command_line() {
        app_.formatter(std::make_shared<usage_formatter>());
        app_.set_version_flag("--version", "hi3861l-sim " QUON_VERSION);
        add_place_options(app_, chosen_.chip);
        add_log_options(app_, chosen_.chip);
        add_state_options(app_, chosen_.chip);
        app_.footer(footer());
        app_.require_subcommand(0, 1);
        control_ = add_control(app_, chosen_);
        exec_ = add_exec(app_, chosen_.exec);
        run_ = add_run(app_, chosen_.run);
        help_ = app_.add_subcommand("help", "Explain a command, or all");
        help_->footer("");
        completion_ = app_.add_subcommand("completion", "Print the completion script of a shell");
        completion_->footer("");
        help_->add_option("COMMAND", chosen_.explained, "The command");
        completion_->add_option("SHELL", chosen_.shell, "bash or zsh")
            ->required()
            ->check(CLI::IsMember({"bash", "zsh"}));
    }

    int run(std::vector<std::string> words) {
        if (!words.empty() && words[0] == "complete") {
            return complete(words);
        }
        chosen_.exec.command = cut_command(*exec_, words);
        chosen_.run.command = cut_command(*run_, words);
        std::ranges::reverse(words);  // the order that the parser expects
        try {
            app_.parse(words);
        } catch (const CLI::ParseError& problem) {
            return help_or_usage(app_, problem);
        }
        return act();
    }

  private:
    // "complete -- WORD...", for the completion scripts.
    int complete(std::vector<std::string> words) const {
        const bool marked = words.size() > 1 && words[1] == "--";
        words.erase(words.begin(), words.begin() + (marked ? 2 : 1));
        for (const std::string& each : completions(app_, words)) {
            std::cout << each << '\n';
        }
        return flush_output() ? exit_done : exit_error;
    }

    // Property names, and other keys.
    static void load_records(const std::string& file) {
        try {
            catalog::load_definitions(file);
        } catch (const failure& problem) {
            throw bad_value(problem.what());
        }
    }

    int act() {
        if (control_->parsed()) {
            return send_control_command(chosen_.chip.control, join_words(chosen_.command, 0),
                                        chosen_.json);
        }
        if (exec_->parsed()) {
            return exec_program(chosen_.exec);
        }
        if (run_->parsed()) {
            load_records(chosen_.run.chip.records);
            read_log(chosen_.run.chip);
            return run_in_world(chosen_.run);
        }
        if (help_->parsed() || completion_->parsed()) {
            std::cout << (help_->parsed() ? explanation() : completion_script(chosen_.shell));
            return flush_output() ? exit_done : exit_error;
        }
        load_records(chosen_.chip.records);
        read_log(chosen_.chip);
        run_chip(chosen_.chip, [this](const std::string& where) {
            std::cerr << "hi3861l-sim: ready, chip on " << where << ", control on "
                      << chosen_.chip.control << std::endl;
        });
        return exit_done;
    }

    std::string explanation() {
        if (chosen_.explained.empty()) {
            app_.clear();  // or "help" would be described instead
            return app_.help();
        }
        const CLI::App* command = command_named(app_, chosen_.explained);
        return command != nullptr ? command->help(app_.get_name())
                                  : control_help(chosen_.explained);
    }

    CLI::App app_{"A simulated Hi3861L chip for quon_mcu_daemon.", "hi3861l-sim"};
    settings chosen_;
    CLI::App* control_;
    CLI::App* exec_;
    CLI::App* run_;
    CLI::App* help_;
    CLI::App* completion_;
};

}  // namespace
}  // namespace quon::sim

int main(int argc, char** argv) {
    try {
        return quon::sim::command_line().run({argv + 1, argv + argc});
    } catch (const quon::sim::bad_value& problem) {
        return quon::sim::complain(problem, quon::sim::exit_usage);
    } catch (const std::invalid_argument& problem) {
        return quon::sim::complain(problem, quon::sim::exit_usage);
    } catch (const std::exception& problem) {
        return quon::sim::complain(problem, quon::sim::exit_error);
    }
}
