#include "tools/vorl/replay/options.h"

#include "tools/vorl/command_labels.h"
#include "tools/vorl/replay/commands.h"

namespace vorl::commands {

void add_replay(CLI::App &app, int &status)
{
    static replay::replay_options options;
    CLI::App *command = app.add_subcommand("replay", "Send a capture's frames over the bus again");
    command
        ->add_option("CAPTURE", options.file, "What 'vorl tap export' wrote; - for standard input")
        ->required();
    CLI::Option *speed = command
                             ->add_option("--speed", options.speed,
                                          "So many times as fast as it was recorded; 10, 0.5")
                             ->check(CLI::Range(1e-6, 1e9))
                             ->capture_default_str();
    CLI::Option *fast =
        command->add_flag("--fast", options.fast, "Without waiting between sends")->excludes(speed);
    command
        ->add_flag(
            "--step", options.step,
            "Show each send, and make it when a line comes on standard input; at a terminal, "
            "when a key is pressed, and q ends it")
        ->excludes(speed)
        ->excludes(fast);
    command->add_option(
        "--to", options.dest,
        "Send to this destination, instead of those and the handles that were recorded");
    command
        ->add_option(
            "--wait", options.wait_seconds,
            "How many seconds to try again when nobody receives or the queue is full, from "
            "the first time that a send is refused until one is accepted")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
    command->add_option("--edit", options.edits,
                        "Replace members first, as the JSON lines of this file say");
    command->add_flag("--force", options.force,
                      "Send frames of messages that the capture describes otherwise, too");
    command->add_flag("--dry-run", options.dry_run,
                      "Show what would be sent, and send nothing; needs no library and no bus");
    add_filter_options(*command, options.wanted);
    add_time_options(*command, options.wanted);
    add_labels_option(*command, options.labels);
    command->footer(R"(
Frames are sent byte for byte as they were, those of one send in one send, at the recorded pace. What was
received is not sent again, unless --direction received asks for it, with --to; nor what the bus refused
when it was recorded, unless --result asks for it. Cut frames are counted and not sent. A frame of a message
that the capture describes otherwise than this vorl knows it is refused, unless --force is given. Filters
take frames: of a send, those that pass are sent in one send.

A line of --edit names a message, or a frame by its number in its process, as --dry-run shows it, or both;
and the members to replace. Members of a table that are not named stay; arrays and vectors are replaced
whole. The frame is encoded anew, as the library would. All edits of a frame are made, in the file's order:
  {"message":"srv6_localsid_fwd","set":{"f6":64}}
  {"number":17,"process":4711,"set":{"f5":"2001:db8::1"}}

Loads libvorl_srv6.so.1, and with it the bus. The last line on standard error has the totals. Examples:
  vorl replay --wait 5 capture.pcapng
  vorl replay --fast --to 7 --message srv6_localsid_fwd --field f6=48 capture.pcapng
  vorl replay --dry-run --edit edits.jsonl capture.pcapng

Exit status: 0 all was sent; 1 something was refused, or not sent because it is cut or damaged, or an edit
was about no frame, or it was ended before its end; 2 wrong usage, or an edit that cannot be; 3 the capture
cannot be read.)");
    command->callback([&status] { status = replay::replay(options); });
}

} // namespace vorl::commands
