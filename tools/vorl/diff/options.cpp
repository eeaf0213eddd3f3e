#include "tools/vorl/diff/options.h"

#include "tools/vorl/command_labels.h"
#include "tools/vorl/diff/commands.h"
#include "tools/vorl/dump_cli.h"

namespace vorl::commands {

void add_diff(CLI::App &app, int &status)
{
    static diff::diff_options options;
    CLI::App *command =
        app.add_subcommand("diff", "Compare captures, dumps or JSON objects by what they say");
    const std::string what = "A capture, frames in any form, or JSON objects, one a line; - for "
                             "standard input";
    command->add_option("A", options.a, what)->required();
    command->add_option("B", options.b, "The same, of any other kind")->required();
    command
        ->add_option("--key", options.keys,
                     "MESSAGE=f0,f1: records of that message are compared whose members f0 and f1 "
                     "are the same, wherever they stand; f2.f0 is a member of a table. Repeatable")
        ->allow_extra_args(false);
    command->add_flag("--strict", options.strict,
                      "A member that is absent differs from one that is "
                      "zero");
    command->add_flag("--any-sender", options.any_sender,
                      "Of captures: all frames are taken for those of one sender");
    command->add_flag("--json", options.as_json,
                      "One JSON object a difference, and one with totals");
    command->add_option("--message", options.message,
                        "What frames are that do not say it themselves: name, or any identifier");
    add_dump_options(*command, options.form);
    add_labels_option(*command, options.labels);
    command->footer(R"(
Records are compared and not bytes, of which a record may have many. The first record of a message is
compared with the first of that message in the other input, the second with the second, and so on; with
--key, the first that has these values in its key with the first of them that has. Of two captures, the
frames of each process are compared with those of one process: the first that sent with the first that sent,
and so on, in the order of their first frames; likewise those that received.

A member may be absent (a frame's vtable has no entry, an object does not name it), which reads as zero, so
that it is the same as zero unless --strict is given; a table or an array that is absent likewise. It is
unknown where a newer sender gave slots that this vorl does not know. Then, and where a frame is cut, or
refused by a receiver, or of a message that nobody knows, only the same bytes are the same. What the output
says of a member: its value, or absent, or unknown.

Without --key it takes the same memory for any number of frames: what has to wait for its counterpart waits
in a temporary file, from 32 MiB on. With --key, what waits is in memory, each frame with its bytes and about
400 more. The last line on standard error has the totals. With --json a line for each difference:
  {"message":"srv6_localsid_fwd","sender":1,"direction":"sent","key":{"f0":7},"a":"packet 2","b":"packet 3",
   "members":[{"member":"f6","a":{"is":"value","value":48},"b":{"is":"absent"}}]}
and {...,"only":"a","a":"packet 2","record":{...}} for what is in one alone. Examples:
  vorl diff original.pcapng replayed.pcapng
  vorl diff --key srv6_localsid_fwd=f0 before.jsonl after.jsonl
  vorl tap export --direction sent capture.pcapng | vorl diff expected.jsonl -

Exit status: 0 they say the same; 1 they do not; 2 wrong usage; 3 one of them cannot be read, or not to its
end. What could be read is compared.)");
    command->callback([&status] { status = diff::diff(options); });
}

} // namespace vorl::commands
