// vorl_demo FILE: two processes exchange every object of a file over the development bus.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "tools/demo/roles.h"

int main(int argc, char **argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool is_help = words == std::vector<std::string>{"--help"};
    vorl::demo::programs by = {argv[0], argv[0]};
    for (; words.size() > 2; words.erase(words.begin(), words.begin() + 2)) {
        if (words[0] == "--receiver")
            by.receiver = words[1];
        else if (words[0] == "--sender")
            by.sender = words[1];
        else
            break;
    }
    try {
        if (words.size() == 2 && words[0] == "--receive")
            return vorl::demo::receive_all(words[1]);
        if (words.size() == 2 && words[0] == "--send")
            return vorl::demo::send_all(words[1]);
        if (words.size() == 1 && !words[0].starts_with("-"))
            return vorl::demo::exchange_all(by, words[0]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    std::fputs("Usage: vorl_demo [--receiver PROGRAM] [--sender PROGRAM] FILE.jsonl\n"
               "Exchanges every object of FILE between two processes over the development bus, and "
               "shows what came of it. PROGRAM is another build of vorl_demo to run one of them.\n",
               stderr);
    return is_help ? EXIT_SUCCESS : 2;
}
