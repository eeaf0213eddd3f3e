// log_page FILE: writes docs/log.md, or whatever FILE is.
#include <cstdio>
#include <fstream>

#include "inspect/log_lines.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: log_page FILE\n", stderr);
        return 2;
    }
    std::ofstream file(argv[1], std::ios::binary);
    file << vorl::inspect::log_page();
    if (!file.flush()) {
        std::fprintf(stderr, "log_page: cannot write %s; see that its directory is there\n",
                     argv[1]);
        return 1;
    }
    return 0;
}
