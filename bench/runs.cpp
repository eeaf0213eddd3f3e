#include "bench/runs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace vorl::bench {

bool in_processes(int runs, char **arguments, const std::function<void(int)> &measure)
{
    for (int number = 1; number <= runs; ++number) {
        fflush(stdout);
        const pid_t child = fork();
        if (child == -1) {
            perror("vorl_bench: cannot start a run");
            return false;
        }
        if (child == 0) {
            std::string option = "--run";
            std::string text = std::to_string(number);
            std::vector<char *> with;
            for (char **a = arguments; *a != nullptr; ++a)
                with.push_back(*a);
            with.insert(with.end(), {option.data(), text.data(), nullptr});
            execv("/proc/self/exe", with.data());
            measure(number);
            fflush(stdout);
            _exit(EXIT_SUCCESS);
        }
        int status = 0;
        if (waitpid(child, &status, 0) != child || status != 0) {
            fprintf(stderr, "vorl_bench: run %d ended early (status %d)\n", number, status);
            return false;
        }
    }
    return true;
}

} // namespace vorl::bench
