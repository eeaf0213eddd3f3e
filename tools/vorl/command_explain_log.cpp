// vorl explain --log: lines of the platform's log, explained.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#include "tools/vorl/commands.h"
#include "tools/vorl/json_node.h"
#include "tools/vorl/log_filter.h"

namespace vorl::commands {
namespace {

void write(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

log_filter filter_of(const explain_log_options &options, const std::string &name)
{
    return {{options.as_json, options.in_colour},
            write,
            [name](std::size_t line, const std::string &text) {
                std::fprintf(stderr, "%s:%zu: %s\n", name.c_str(), line, text.c_str());
            }};
}

/// Bytes of standard input as they come: at once when there are some, none at the end.
std::size_t read_some(std::vector<char> &into)
{
    for (;;) {
        const ssize_t count = read(STDIN_FILENO, into.data(), into.size());
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (errno != EINTR)
            throw std::runtime_error(std::string("<stdin>: cannot be read (") +
                                     std::strerror(errno) + "); give a readable file or a pipe");
    }
}

int pass_on(const explain_log_options &options)
{
    log_filter filter = filter_of(options, "<stdin>");
    std::vector<char> bytes(log_filter::window);
    while (const std::size_t count = read_some(bytes)) {
        filter.feed({bytes.data(), count});
        // Whoever waits for the log gets the explanation with the line.
        if (std::fflush(stdout) != 0)
            throw std::runtime_error("vorl: standard output cannot be written");
    }
    filter.finish();
    return 0;
}

int explain_lines(const explain_log_options &options)
{
    int status = 0;
    for (const std::string &line : options.lines) {
        log_filter filter = filter_of(options, "LINE");
        filter.feed(line);
        filter.finish();
        if (!options.as_json && !line.ends_with('\n'))
            write("\n");
        if (filter.explained() != 0)
            continue;
        status = 1;
        std::fflush(stdout);
        std::fprintf(
            stderr,
            "vorl explain --log: \"%s\" is no line that the library writes; one has a text as "
            "in '[ZELKO]:Table offset(65) is out of range(4 - 68)', and docs/log.md has "
            "them all\n",
            json::printable(line).c_str());
    }
    return status;
}

} // namespace

int explain_log(const explain_log_options &options)
{
    const bool is_filter =
        options.lines.empty() || (options.lines.size() == 1 && options.lines[0] == "-");
    return is_filter ? pass_on(options) : explain_lines(options);
}

} // namespace vorl::commands
