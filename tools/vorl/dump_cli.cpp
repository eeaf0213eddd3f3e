#include "tools/vorl/dump_cli.h"

#include <limits>
#include <map>

namespace vorl::commands {
namespace {

const std::map<std::string, dump_form> forms = {
    {"auto", dump_form::automatic},  {"hex", dump_form::hex},         {"xxd", dump_form::xxd},
    {"hexdump", dump_form::hexdump}, {"od", dump_form::od},           {"gdb", dump_form::gdb},
    {"c", dump_form::c_array},       {"string", dump_form::c_string}, {"base64", dump_form::base64},
    {"pcap", dump_form::pcap},       {"binary", dump_form::binary},
};

} // namespace

const char *const dump_help = R"(
The forms, which are recognised unless --form names one:
  hex      04000000 f0ff...; 04:00:00; 0x04, 0x00: two digits a byte; blanks, commas, colons and 0x between them are
           skipped. Also what xxd -p and od -An -tx1 print, and a hex stream that Wireshark copied
  xxd      what xxd and tcpdump -X print
  hexdump  what hexdump -C prints, * included, and tshark -x; also the 16-bit words of hexdump alone
  od       what od -tx1 prints, with octal, decimal or hexadecimal (-Ax) addresses; also the words of od -tx2
  gdb      what gdb prints for x/32xb ADDRESS, or for xh, xw, xg: the least significant byte first
  c        arrays of C: { 0x04, 0x00, 4 }, declared or not, with comments, over several lines
  string   "\x04\x00", as Wireshark copies an escaped string
  base64   in lines of four characters, or a multiple of it
  pcap     a pcapng or pcap file, the latter by libpcap: each packet is a frame, and --skip takes off the headers before
           it; but what 'vorl tap export' wrote says itself which message each frame is of
  binary   the input is one frame
Text may change its form from line to line. Empty lines and lines that open with # are skipped. Whatever fits no form
is an error.

Where a frame ends. An array, a packet, and a dump with addresses say it: a dump of xxd, hexdump or od goes from each
address 0 to the next, one of gdb as long as its addresses go on. Of hex, string and base64 each line is a frame, unless
the lines look like one frame that a tool wrapped. They do when
  - the second line begins no other frame, and is not longer than the first; and
  - the first is as long as tools make lines: 30 bytes (xxd -p), 16 bytes (od -An -tx1), 57 bytes (base64) or 48
    (openssl base64, PEM); or it begins as a frame does and does not hold that frame to its end.
The lines behind go on with that frame, up to one that is shorter than the first, an empty line, a comment, or a line
that begins another frame. A frame begins with 04000000 and a negative soffset or, packed, with 4 plus the length of its
vtable and that length. So do tables within a frame. Therefore a line that begins so begins another frame only if the
lines before it are whole, or are no frame, or have the same first six bytes. Packed bytes of several lines are never
taken for whole. Standard error tells when lines were put together. --lines and --one-frame decide.
A line that ends in a comma, a colon, or a backslash behind a string always goes on in the next.
)";

void add_dump_options(CLI::App &command, dump_options &options)
{
    std::vector<std::string> names;
    for (const auto &[name, form] : forms)
        names.push_back(name);
    CLI::Option *form = command.add_option_function<std::string>(
        "--form", [&options](const std::string &name) { options.form = forms.at(name); },
        "The form that the bytes are in, instead of any that is recognised");
    form->check(CLI::IsMember(names))->type_name("NAME");
    const std::string hex_help = "Any form that is recognised (the default)";
    CLI::Option *hex = command.add_flag("--hex", hex_help)->excludes(form);
    command
        .add_flag_callback(
            "--binary", [&options] { options.form = dump_form::binary; }, "The file is one frame")
        ->excludes(form)
        ->excludes(hex);
    CLI::Option *lines = command.add_flag_callback(
        "--lines", [&options] { options.layout = dump_layout::frame_a_line; },
        "Of hex, string and base64: each line is a frame");
    command
        .add_flag_callback(
            "--one-frame", [&options] { options.layout = dump_layout::one_frame; },
            "Of hex, string and base64: all lines are one frame")
        ->excludes(lines);
    command
        .add_option("--skip", options.skip,
                    "Bytes of headers before each frame, which are taken off")
        ->check(
            CLI::Range(std::uint64_t{0}, std::uint64_t{std::numeric_limits<std::int32_t>::max()}));
}

} // namespace vorl::commands
