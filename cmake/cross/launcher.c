/* Starts a program of the target architecture under its emulator, as the interpreter in the first line of a script:

       #! <this program> <the target's root>:<the emulator>:<the program>

   so that tests start such programs by name, without any set-up of the kernel. Linked statically, because what is to be
   preloaded into the target's program is not to be preloaded here, nor into the emulator: it is handed through. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char *const handed_through[] = {"LD_PRELOAD", "LD_LIBRARY_PATH"};

int main(int argc, char **argv)
{
    char *root = argc > 2 ? strtok(argv[1], ":") : NULL;
    char *emulator = root ? strtok(NULL, ":") : NULL;
    char *program = emulator ? strtok(NULL, ":") : NULL;
    char **words = calloc((size_t)argc + 16, sizeof *words);
    size_t count = 0;

    if (!program || !words) {
        fputs("launcher: is the interpreter of scripts that the build writes\n", stderr);
        return 126;
    }
    words[count++] = emulator;
    words[count++] = "-L";
    words[count++] = root;
    for (size_t i = 0; i < sizeof handed_through / sizeof *handed_through; ++i) {
        const char *name = handed_through[i];
        const char *value = getenv(name);
        char *word;
        if (!value)
            continue;
        word = malloc(strlen(name) + strlen(value) + 2);
        if (!word)
            return 126;
        sprintf(word, "%s=%s", name, value);
        words[count++] = "-E";
        words[count++] = word;
        unsetenv(name);
    }
    words[count++] = "-0";
    words[count++] = argv[2];
    words[count++] = program;
    for (int i = 3; i < argc; ++i)
        words[count++] = argv[i];
    execvp(emulator, words);
    perror(emulator);
    return 126;
}
