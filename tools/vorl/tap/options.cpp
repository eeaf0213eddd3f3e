#include "tools/vorl/tap/options.h"

#include "tools/vorl/command_labels.h"
#include "tools/vorl/tap/commands.h"

namespace vorl::commands {
namespace {

constexpr const char *exit_help = R"(
Exit status: 0 done; 1 something could not be read, and the rest is done; 2 wrong usage.)";

constexpr const char *tap_help = R"(
A process is tapped that runs with the tap before its bus, which is of package vorl-tap:
  LD_PRELOAD=/usr/lib/x86_64-linux-gnu/vorl-tap/libvorl_tap.so router-daemon
It then records every frame that it sends and receives in a ring of its own, a file of the directory
that VORL_TAP_DIR names, or else /dev/shm/vorl-tap-<uid>. The ring outlives the process, however that
ends. VORL_TAP_BYTES is its size (16777216), VORL_TAP_TOTAL_BYTES that of all (268435456).
  vorl tap status
  vorl tap export --output capture.pcapng
  vorl explain capture.pcapng)";

void add_directory(CLI::App &command, std::string &directory)
{
    command.add_option("--dir", directory,
                       "The rings' directory, instead of the one that VORL_TAP_DIR names");
}

void add_output(CLI::App &command, tap::export_options &options)
{
    command.add_option(
        "INPUT", options.inputs,
        "Rings, directories of rings, and captures; the tap's directory unless given");
    command.add_option("--output,-o", options.output, "The file to write; - for standard output")
        ->capture_default_str();
    command.add_flag("--json", options.as_json,
                     "One JSON object a frame, and one with counters a process, instead of pcapng");
    add_filter_options(command, options.wanted);
    CLI::Option *const redact = command.add_flag(
        "--redact", options.redact,
        "Other addresses instead of those in the frames, the same for the same, and no command "
        "lines. Of frames that a receiver refuses no byte is written");
    command
        .add_option("--redact-key", options.redact_key,
                    "32 hex digits: of one key the same addresses become the same")
        ->needs(redact);
    add_labels_option(command, options.labels);
}

void add_export(CLI::App &app, int &status)
{
    static tap::export_options options;
    CLI::App *command = app.add_subcommand(
        "export", "Write frames of rings and captures, by time, as pcapng or JSON");
    add_output(*command, options);
    add_time_options(*command, options.wanted);
    command->add_flag("--follow", options.follow,
                      "Go on with what comes, until --until, SIGINT or SIGTERM");
    command->footer(std::string(R"(
Frames are in the order in which calls began; with --follow, in which they ended where that differs.
A receiver's verdict is worked out here, from the bytes. Each process's counters stand in the output and
their sum on standard error: frames that it saw, that were overwritten by later ones or not finished, that
could not be recorded, and that were written. A field filter has only frames that a receiver accepts.
Redacted are values of array<uint32, 4>, array<uint8, 16> and array<uint8, 6>, and what a labels file calls
an address; addresses that begin alike still do. Names and texts in other bytes stay. Examples:
  vorl tap export --output capture.pcapng
  vorl tap export --follow --json --verdict refused
  vorl tap export --message srv6_localsid_fwd --field f5=2001:db8::/32 --json capture.pcapng
)") + exit_help);
    command->callback([&status] { status = tap::export_frames(options); });
}

void add_snapshot(CLI::App &app, int &status)
{
    static tap::snapshot_options options;
    CLI::App *command =
        app.add_subcommand("snapshot", "Write the frames of the seconds around now");
    add_output(*command, options.how);
    command->add_option("--before", options.before, "How far to go back: 10s, 250ms, 2m, 1h")
        ->capture_default_str();
    command->add_option("--after", options.after, "How long to go on")->capture_default_str();
    command->footer(std::string(R"(
What a ring holds no more is not in it; the counters tell. Example:
  vorl tap snapshot --before 10s --after 5s --output now.pcapng
)") + exit_help);
    command->callback([&status] { status = tap::snapshot(options); });
}

void add_on_and_off(CLI::App &app, int &status)
{
    static tap::switch_options on, off;
    off.on = false;
    CLI::App *command = app.add_subcommand("on", "Record, in processes that run and those to come");
    command->add_option("--message", on.messages,
                        "Nothing but these messages: names, or any identifiers, up to 64");
    command->add_option("--destination", on.destinations,
                        "Nothing but what is sent to these destinations, up to 64");
    add_directory(*command, on.directory);
    command->footer(std::string(R"(
Without --message and --destination all is recorded, which it is from the start. Example:
  vorl tap on --message srv6_localsid_fwd --message srv6_xsid_fwd
)") + exit_help);
    command->callback([&status] { status = tap::switch_tap(on); });
    command = app.add_subcommand("off", "Record nothing, in processes that run and those to come");
    add_directory(*command, off.directory);
    command->footer(std::string(R"(
What is in the rings stays. Example:
  vorl tap off
)") + exit_help);
    command->callback([&status] { status = tap::switch_tap(off); });
}

void add_status(CLI::App &app, int &status)
{
    static tap::status_options options;
    CLI::App *command = app.add_subcommand("status", "Show tapped processes and their counters");
    command->add_flag("--json", options.as_json, "One JSON object a process");
    add_directory(*command, options.directory);
    command->footer(std::string(R"(
Example:
  vorl tap status
)") + exit_help);
    command->callback([&status] { status = tap::status(options); });
}

void add_clean(CLI::App &app, int &status)
{
    static std::string directory;
    CLI::App *command = app.add_subcommand("clean", "Remove rings of processes that have ended");
    add_directory(*command, directory);
    command->footer(std::string(R"(
Example:
  vorl tap export --output last.pcapng && vorl tap clean
)") + exit_help);
    command->callback([&status] { status = tap::clean(directory); });
}

} // namespace

void add_tap(CLI::App &app, int &status)
{
    CLI::App *command =
        app.add_subcommand("tap", "Capture what running processes send and receive");
    command->require_subcommand(1);
    command->footer(tap_help);
    add_export(*command, status);
    add_snapshot(*command, status);
    add_on_and_off(*command, status);
    add_status(*command, status);
    add_clean(*command, status);
}

} // namespace vorl::commands
