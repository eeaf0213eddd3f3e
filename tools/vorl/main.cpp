// vorl: the messages of libvorl_srv6 on the command line.
#include <cstdio>
#include <exception>
#include <limits>

#include <CLI/CLI.hpp>

#include "tools/vorl/command_labels.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/diff/options.h"
#include "tools/vorl/dump_cli.h"
#include "tools/vorl/explain_options.h"
#include "tools/vorl/failures.h"
#include "tools/vorl/frame_file.h"
#include "tools/vorl/replay/options.h"
#include "tools/vorl/tap/options.h"
#include "tools/vorl/unknown_word.h"

namespace {

using namespace vorl::commands;

constexpr int usage_status = 2;
constexpr int unreadable_status = 3;

constexpr const char *json_help = R"(
The JSON form, one object a line; empty lines and lines that open with # are skipped:
  {"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8:0:1::","f9":4}
  uint8 to uint64      a whole number, exact up to 2^64 - 1
  array<uint32, 4>     an IPv6 address: sixteen bytes in the record, in the order of the address. Read from an
                       array of 4 numbers, too: then the bytes of each number are the other way round
  array<uint32, 8>     an array of 8 numbers
  array<uint8, N>      hex text, up to N bytes; trailing zero bytes are not written
  vector<uint8>        hex text
  table                an object
  array<table, N>      an array of up to N objects; trailing zero ones are not written
  vector<table>        an array of objects
A member that is missing is zero. Something wrong with a line is reported as
  FILE:LINE: MEMBER: what is wrong; what to do)";

constexpr const char *exit_help = R"(
Exit status: 0 done; 1 something was refused, as standard error says; 2 wrong usage.)";

void add_list(CLI::App &app, int &status)
{
    static list_options options;
    CLI::App *command = app.add_subcommand(
        "list", "Show all messages: name, identifier, record size, frame length, slots");
    command->add_option("--package", options.package,
                        "Only this package: srv6, srv6_cfg or srv6_sync");
    command->add_flag("--json", options.as_json,
                      "One JSON object a line; frame_length is null for variable size");
    command->footer("\nExample:\n  vorl list --package srv6_cfg");
    command->callback([&status] { status = list(options); });
}

void add_describe(CLI::App &app, int &status)
{
    static describe_options options;
    CLI::App *command = app.add_subcommand(
        "describe", "Show a message: its slots, wire types, offsets, sizes and identifier");
    command
        ->add_option("MESSAGE", options.message,
                     "Name, or identifier, decimal or as 0x and hex digits")
        ->required();
    command->add_flag("--json", options.as_json,
                      "One JSON object on one line; offsets in bytes, frame_offset null for "
                      "variable size");
    add_labels_option(*command, options.labels);
    command->footer("\nExample:\n  vorl describe srv6_localsid_fwd");
    command->callback([&status] { status = describe(options); });
}

void add_send(CLI::App &app, int &status)
{
    static send_options options;
    CLI::App *command = app.add_subcommand("send", "Send JSON objects over the bus");
    command->add_option("--to", options.dest, "Destination identifier")->required();
    command
        ->add_option("--explicit", options.explicit_handle,
                     "Send to this explicit destination handle (__sendtomsg), not 0")
        ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()));
    command->add_flag("--keep-going", options.keep_going,
                      "Skip lines that are refused, and still exit with 1");
    CLI::Option *batch =
        command
            ->add_option(
                "--batch", options.batch,
                "Send up to this many consecutive lines of one message at once; a batch that "
                "is refused as a whole is sent again line by line")
            ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{65536}))
            ->capture_default_str();
    command
        ->add_option(
            "--wait", options.wait_seconds,
            "How many seconds to try again when nobody receives or the queue is full, from the "
            "first time that a send is refused until one is accepted")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
    add_labels_option(*command, options.labels);
    CLI::Option *raw = command->add_flag(
        "--raw", options.raw, "FILE holds frames, which are sent as they are, damaged or not");
    raw->excludes(batch);
    CLI::Option *message = command->add_option(
        "--message", options.message,
        "With --raw: what they are sent as: a message's name, or any identifier; a capture says it "
        "itself");
    message->needs(raw);
    add_dump_options(*command, options.form);
    command
        ->add_option("FILE", options.file,
                     "JSON objects, one a line, or with --raw frames; - for standard input")
        ->required();
    command->footer(std::string(R"(
Lines are sent in order. The first that is refused ends it: no line behind it is sent, unless with
--keep-going. The last line on standard error counts what was sent and refused. Loads
libvorl_srv6.so.1, and with it the bus. Objects; and what a receiver makes of damaged bytes:
  vorl send --to 7 --wait 5 objects.jsonl
  vorl send --to 7 --raw --message srv6_localsid_fwd damaged.hex
)") + json_help + "\n" +
                    exit_help);
    command->callback([&status] { status = send(options); });
}

void add_recv(CLI::App &app, int &status)
{
    static recv_options options;
    CLI::App *command =
        app.add_subcommand("recv", "Receive from the development bus and write JSON objects");
    command->add_option("DEST", options.dest, "Destination identifier to receive at")->required();
    command
        ->add_option("--count", options.count,
                     "End after this many objects; what was accepted by then is still written")
        ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()));
    command->add_option("--timeout", options.timeout_seconds, "End after this many seconds")
        ->check(CLI::Range(0.0, 1e9));
    command
        ->add_option("--queue-bytes", options.queue_bytes,
                     "Bound of the bytes accepted and not yet written; the bus's own unless given")
        ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()));
    command->add_flag("--sparse", options.sparse, "Leave out members that are zero");
    add_labels_option(*command, options.labels);
    command->footer(std::string(R"(
Ends after --count, after --timeout, or at SIGINT or SIGTERM; everything accepted until then is
written first. Each line is flushed. A frame that the library refuses is reported on standard error
with its bytes. Fewer objects than --count, or a refused frame: exit status 1. Loads
libvorl_srv6.so.1, and with it the bus. Example:
  vorl recv 7 --count 2 --sparse > objects.jsonl
)") + exit_help);
    command->callback([&status] { status = recv(options); });
}

/// Two flags of which the first is the default and the second sets `chosen`.
void add_choice(CLI::App &command, const std::string &usual, const std::string &usual_help,
                const std::string &other, const std::string &other_help, bool &chosen)
{
    const std::string first_help = usual_help + " (the default)";
    CLI::Option *first = command.add_flag(usual, first_help);
    command.add_flag(other, chosen, other_help)->excludes(first);
}

void add_encode(CLI::App &app, int &status)
{
    static encode_options options;
    CLI::App *command = app.add_subcommand("encode", "Turn JSON objects into bytes");
    add_choice(*command, "--frame", "The bytes that the send functions hand to the bus", "--packed",
               "The bytes of __pack; of a variable-size message these are the frame, too",
               options.packed);
    add_choice(*command, "--hex", "One line of hex digits an object", "--binary",
               "The bytes themselves, of one object", options.binary);
    add_labels_option(*command, options.labels);
    command->add_option("FILE", options.file, "JSON objects, one a line; - for standard input")
        ->required();
    command->footer(std::string(R"(
The bytes are the plain codec's, which the library is built of, too; neither it nor a bus is needed.
Example:
  vorl encode objects.jsonl > frames.hex
)") + json_help + "\n" +
                    exit_help);
    command->callback([&status] { status = encode(options); });
}

void add_decode(CLI::App &app, int &status)
{
    static decode_options options;
    CLI::App *command =
        app.add_subcommand("decode", "Turn bytes into JSON objects, or explain them");
    command->add_option(
        "--message", options.message,
        "What the bytes are: name, or identifier, decimal or as 0x and hex digits; a "
        "capture says it itself, and gives with it the frames of that message");
    add_dump_options(*command, options.form);
    command->add_flag("--explain", options.explain, "As the command explain");
    command->add_flag("--sparse", options.sparse, "Leave out members that are zero");
    add_labels_option(*command, options.labels);
    command->add_option("FILE", options.file, "The bytes, a frame or packed; - for standard input")
        ->required();
    command->footer(std::string(dump_help) + R"(
A frame does not carry its type: decoding it as another message may succeed, with nonsense.

A frame that a receiver refuses is not written; standard error has the place and the reason. They
are the plain codec's, which the library is built of, too; neither it nor a bus is needed.
'vorl explain' shows its bytes. Example:
  vorl decode --message srv6_localsid_fwd --sparse frames.hex
)" + exit_help);
    command->callback([&status] { status = decode(options); });
}

int say(const std::exception &error, int status)
{
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", error.what());
    return status;
}

int run(int argc, char **argv)
{
    CLI::App app(
        "The messages of libvorl_srv6: list and describe them, send and receive them as "
        "JSON,\nturn them into bytes and back, explain a captured frame, and capture, replay and "
        "compare\nframes.",
        "vorl");
    int status = 0;
    app.require_subcommand(1);
    app.set_version_flag("--version", "vorl " VORL_VERSION, "Print the version and exit");
    app.footer(std::string(R"(
'vorl COMMAND --help' tells the rest. Examples:
  vorl recv 7 --count 2 &
  vorl send --to 7 --wait 5 objects.jsonl
  vorl encode objects.jsonl
  vorl explain --message srv6_bsid_fwd_key captured.hex
  tail -f messages | vorl explain --log
  vorl tap export --output capture.pcapng
  vorl replay --to 7 capture.pcapng
  vorl diff before.pcapng after.pcapng
)") + exit_help);
    add_list(app, status);
    add_describe(app, status);
    add_send(app, status);
    add_recv(app, status);
    add_encode(app, status);
    add_decode(app, status);
    add_explain(app, status);
    add_labels(app, status);
    add_tap(app, status);
    add_replay(app, status);
    add_diff(app, status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const std::string unknown = unknown_word(app);
        if (error.get_exit_code() != 0 && !unknown.empty()) {
            std::fprintf(stderr, "%s\n", unknown.c_str());
            return usage_status;
        }
        return app.exit(error) == 0 ? 0 : usage_status;
    } catch (const vorl::message_not_named &error) {
        return say(error, usage_status);
    } catch (const vorl::wrong_usage &error) {
        return say(error, usage_status);
    } catch (const vorl::unreadable &error) {
        return say(error, unreadable_status);
    }
    if (std::fflush(stdout) != 0) {
        std::fputs("vorl: standard output cannot be written\n", stderr);
        return 1;
    }
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        return say(error, 1);
    }
}
