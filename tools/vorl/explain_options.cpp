#include "tools/vorl/explain_options.h"

namespace vorl::commands {

void add_explain_log(CLI::App &command, explain_log_options &options)
{
    command
        .add_flag("--log", options.is_log,
                  "Explain the lines that the library wrote to the platform's log")
        ->required();
    command.add_option("LINE", options.lines,
                       "A line of a log; none, or -: pass standard input on, and put explanations "
                       "under the lines that are the library's");
    command.add_flag("--json", options.as_json,
                     "One JSON object for each text that is explained, and nothing else");
    command.add_option("--color", options.colour, "Colour the explanations; auto: on a terminal")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
    command.footer(R"(
With --log and without a LINE it is a filter. Every line comes out as it went in, at once; whatever a
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

The JSON form: line (its number), text (the library's), entry (the text with its values not filled in),
message and function and place (the library's line number) where they are known, where (or perhaps,
where the text is that of two places), numbers (value and meaning), checked, tells (what these numbers
tell), then, cause, next. What only looks like ours is reported on standard error.

Exit status: 0 done; 1 a LINE is not the library's, or something cannot be read; 2 wrong usage.)");
}

} // namespace vorl::commands
