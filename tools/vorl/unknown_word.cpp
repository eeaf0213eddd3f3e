#include "tools/vorl/unknown_word.h"

#include <vector>

#include <CLI/CLI.hpp>

#include "inspect/did_you_mean.h"
#include "inspect/printable.h"

namespace vorl::commands {
namespace {

std::vector<std::string> options_of(const CLI::App &command)
{
    std::vector<std::string> names;
    for (const CLI::Option *option : command.get_options()) {
        for (const std::string &name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
}

std::vector<std::string> commands_of(const CLI::App &command)
{
    std::vector<std::string> names;
    for (const CLI::App *sub : command.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(sub->get_name());
    return names;
}

} // namespace

std::string unknown_word(const CLI::App &app)
{
    const CLI::App *in = &app;
    std::string name = app.get_name();
    while (!in->get_subcommands().empty()) {
        in = in->get_subcommands().front();
        name += " " + in->get_name();
    }
    const std::vector<std::string> left = app.remaining(true);
    if (left.empty())
        return "";
    const std::string &word = left.front();
    const std::string help = "'" + name + " --help' lists them";
    if (word.starts_with("-"))
        return name + ": there is no option " + printable(word) + "; " +
               did_you_mean_or(word.substr(0, word.find('=')), options_of(*in), help);
    const std::vector<std::string> known = commands_of(*in);
    if (!known.empty())
        return name + ": there is no command " + printable(word) + "; " +
               did_you_mean_or(word, known, help);
    return name + ": " + printable(word) + " is one argument too many; '" + name +
           " --help' says what it takes";
}

} // namespace vorl::commands
