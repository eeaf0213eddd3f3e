#include "tools/vorl/explain_options.h"

#include <unistd.h>

#include <cstdlib>

#include "tools/vorl/command_labels.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/dump_cli.h"

namespace vorl::commands {
namespace {

constexpr const char *help = R"(
Without --log, every byte of a frame stands in a line, with its offset, what it is and whose: a
member's path, padding, a slot of a newer sender, or bytes that nothing leads to. The checks are a
receiver's own. What it refuses is marked with >>>>>>: the faulty bytes, what they lead to, the
number and what is accepted, and the line that the library logs. A receiver stops at the first; the
explanation goes on with what can still be read:
  vorl encode objects.jsonl | head -1 | vorl explain --message srv6_localsid_fwd
  vorl explain --guess captured.hex

With --log it explains lines that the library wrote to the platform's log. Without an INPUT it is a filter. Every line comes out as it went in, at once; whatever a
log writer puts around the library's text, the text is found. An explanation's lines begin with four
blanks and a bar:
  vorl explain --log < messages
  tail -f messages | vorl explain --log
  vorl explain --log '[ZELKO]:Table offset(65) is out of range(4 - 68)'
      | where       <message>_unpack, line 10, or <message>_unpack_non_root, line 20: ...
      | 65          the position of the table, ...

The function's name, srv6_localsid_fwd_unpack_non_root for one, says more if it is in the line. A
line that begins with a dash goes behind --; one in brackets, [...], to standard input. The
environment's NO_COLOR, when it is not empty, turns --color auto to never.

The JSON form with --log: line (its number), text (the library's), entry (the text with its values not filled in),
message and function and place (the library's line number) where they are known, where (or perhaps,
where the text is that of two places), numbers (value and meaning), checked, tells (what these numbers
tell), then, cause, next. What only looks like ours is reported on standard error.

Exit status: 0 done; 1 a receiver refuses a frame, an INPUT with --log is no line of the library's,
or something cannot be read; 2 wrong usage.)";

struct parsed_options {
    std::string message;
    bool guess = false;
    bool is_log = false;
    dump_options form;
    bool as_json = false;
    std::string labels;
    std::string colour = "auto";
    std::vector<std::string> inputs;
};

bool in_colour(const std::string &colour)
{
    if (colour != "auto")
        return colour == "always";
    const char *const no_colour = std::getenv("NO_COLOR");
    const char *const terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && (no_colour == nullptr || *no_colour == '\0') &&
           (terminal == nullptr || std::string(terminal) != "dumb");
}

int run(const parsed_options &options)
{
    if (options.is_log)
        return explain_log({.lines = options.inputs,
                            .as_json = options.as_json,
                            .in_colour = in_colour(options.colour)});
    if (options.inputs.size() > 1)
        throw CLI::ArgumentMismatch("INPUT: one file of frames at a time; " + options.inputs[1] +
                                    " is a second");
    return explain({.message = options.message,
                    .guess = options.guess,
                    .form = options.form,
                    .as_json = options.as_json,
                    .in_colour = in_colour(options.colour),
                    .labels = options.labels,
                    .file = options.inputs.empty() ? "-" : options.inputs[0]});
}

} // namespace

void add_explain(CLI::App &app, int &status)
{
    static parsed_options options;
    CLI::App *command = app.add_subcommand(
        "explain", "Show what each byte of a frame is and why a receiver refuses it, or what a "
                   "line of the log means");
    CLI::Option *message = command->add_option(
        "--message", options.message,
        "What the bytes are: name, or identifier, decimal or as 0x and hex digits; a capture says "
        "it itself, and gives with it the frames of that message");
    CLI::Option *guess = command->add_flag(
        "--guess", options.guess, "List the messages that the bytes fit, the likeliest first");
    CLI::Option *log = command->add_flag(
        "--log", options.is_log, "Explain the lines that the library wrote to the platform's log");
    guess->excludes(message);
    log->excludes(message)->excludes(guess);
    add_dump_options(*command, options.form);
    add_labels_option(*command, options.labels);
    command->add_flag("--json", options.as_json,
                      "One JSON object a frame, or a text of a log, on one line");
    command
        ->add_option("--color", options.colour,
                     "auto: on a terminal, unless NO_COLOR is set; always; never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
    command->add_option("INPUT", options.inputs,
                        "A file of frames; with --log, a line of a log; - or nothing for standard "
                        "input");
    command->footer(std::string(dump_help) + help);
    command->callback([&status] { status = run(options); });
}

} // namespace vorl::commands
