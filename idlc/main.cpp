// idlc: descriptions of messages in, C header and library source out. `idlc --help` tells the rest.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "help.h"
#include "options.h"

namespace {

bool asks_for_help(std::span<const std::string> given)
{
    for (const std::string &argument : given) {
        if (argument == "--")
            return false;
        if (argument == "--help" || argument == "-h")
            return true;
    }
    return false;
}

struct command {
    std::string_view name;
    const char *help;
    int (*run)(std::span<const std::string> given);
};
constexpr command commands[] = {
    {"", idlc::help_of_compile, idlc::run_compile},
    {"fmt", idlc::help_of_fmt, idlc::run_fmt},
    {"compat", idlc::help_of_compat, idlc::run_compat},
};

} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string> given(argv + 1, argv + argc);
    // "idlc help compat" is "idlc compat --help".
    if (!given.empty() && given[0] == "help") {
        given.erase(given.begin());
        given.emplace_back("--help");
    }
    const command *chosen = &commands[0];
    for (const command &c : commands) {
        if (!given.empty() && given[0] == c.name)
            chosen = &c;
    }
    std::span<const std::string> rest = given;
    if (!chosen->name.empty())
        rest = rest.subspan(1);
    if (asks_for_help(rest)) {
        std::fputs(chosen->help, stdout);
        return idlc::status_done;
    }
    try {
        return chosen->run(rest);
    } catch (const idlc::usage_error &e) {
        return idlc::refuse_call(
            chosen->name.empty() ? "idlc" : "idlc " + std::string(chosen->name), e.what());
    }
}
