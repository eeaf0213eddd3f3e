#include "tools/vorl/command_labels.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include <CLI/CLI.hpp>

#include "catalogue/catalogue.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/labels_file.h"

namespace vorl::commands {
namespace {

using catalogue::message_info;

int check_labels(const std::string &file)
{
    const inspect::labels_file read = read_labels_file(file);
    for (const inspect::labels_problem &problem : read.problems)
        std::fprintf(stderr, "%s\n", to_text(problem, file == "-" ? "<stdin>" : file).c_str());
    return read.problems.empty() ? 0 : 1;
}

void start_message(const message_info &info)
{
    std::printf("\n# %s\n[%s]\n", info.doc, name_of(info.data));
    for (std::size_t i = 0; i < info.slots.size(); ++i) {
        const char *const doc = info.slots[i].doc;
        std::printf("# %s = { name = \"\" }  # %s%s%s\n", info.slots[i].name,
                    catalogue::type_text(info.data.slots[i]).c_str(), *doc == '\0' ? "" : ": ",
                    doc);
    }
}

int start_labels(const std::vector<std::string> &names)
{
    std::vector<const message_info *> chosen;
    for (const std::string &name : names) {
        const message_info *const info = &find_message_or_throw(name);
        // A table may stand in a file once.
        if (std::find(chosen.begin(), chosen.end(), info) == chosen.end())
            chosen.push_back(info);
    }
    if (names.empty()) {
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const message_info &info : package->messages)
                chosen.push_back(&info);
        }
    }
    std::puts("# Names, units and forms of slots, for vorl --labels. To label a slot, take the # "
              "from its\n"
              "# line and give it a name; 'vorl labels --help' has the other keys.\n"
              "version = 1");
    for (const message_info *info : chosen)
        start_message(*info);
    return 0;
}

constexpr const char *grammar = R"(
A labels file is TOML:
  version = 1
  [srv6_localsid_fwd]
  f5 = { name = "sid", form = "sid", locator = 48, function = 16 }
  f6 = { name = "prefix_length", unit = "bits" }
Keys of a slot, none of which is needed by itself:
  name    a to z, 0 to 9 and _; unlike f6, and once in a message
  unit    of a number, as in "bits"
  form    dec, hex
          ipv4, ipv6, mac
          prefix    length = "f6": the slot that has its length
          sid       locator = 48, function = 16: their lengths in bits
          time      unit = "s", "ms", "us" or "ns", since 1970; since = "start": a duration
          enum      values = { 1 = "ipv4", 2 = "ipv6" }
          flags     bits = { 0 = "psp", 1 = "usp" }
          unit      unit = "bits": the number with its unit, "48 bits"
Other commands take it by --labels FILE, or in the environment as VORL_LABELS. They write members by
these names and values in these forms, and read both these and what they read without labels.
Examples:
  vorl labels start srv6_localsid_fwd > my.labels.toml
  vorl labels check my.labels.toml
  vorl decode --labels my.labels.toml --message srv6_localsid_fwd frame.hex)";

} // namespace

void add_labels(CLI::App &app, int &status)
{
    CLI::App *command =
        app.add_subcommand("labels", "Check or start a file that gives slots names and forms");
    command->require_subcommand(1);
    command->footer(grammar);

    static std::string file;
    CLI::App *check = command->add_subcommand("check", "Say what is wrong with a labels file");
    check->add_option("FILE", file, "The labels; - for standard input")->required();
    check->footer(R"(
Standard error gets a line for each problem, FILE:LINE: what is wrong; what to do. For example:
  vorl labels check my.labels.toml
Exit status: 0 nothing is wrong; 1 something is, or the file cannot be read; 2 wrong usage.)");
    check->callback([&status] { status = check_labels(file); });

    static std::vector<std::string> messages;
    CLI::App *start =
        command->add_subcommand("start", "Write a labels file with a comment for each slot");
    start->add_option("MESSAGE", messages, "Names or identifiers of messages; all unless given");
    start->footer(R"(
Each slot has a line with its wire type that is a comment, so the file names nothing yet and is
right as it is. For example:
  vorl labels start srv6_localsid_fwd srv6_localsid_fwd_key > my.labels.toml
Exit status: 0 done; 1 there is no such message; 2 wrong usage.)");
    start->callback([&status] { status = start_labels(messages); });
}

void add_labels_option(CLI::App &command, std::string &file)
{
    command
        .add_option("--labels", file,
                    "Names and forms of slots (vorl labels --help); VORL_LABELS unless given")
        ->type_name("FILE");
}

} // namespace vorl::commands
