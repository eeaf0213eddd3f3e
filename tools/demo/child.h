// A process that reports to this one on its standard output.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "tools/demo/roles.h"

extern char **environ; // NOLINT: POSIX says so

namespace vorl::demo {

class child {
  public:
    /// Its standard output comes to us; its standard input lasts until end_input.
    child(const std::string &program, const std::string &role, const std::string &file)
    {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
            fail(std::string("no pipe: ") + std::strerror(errno));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        std::array<std::string, 3> words = {program, role, file};
        std::array<char *, 4> arguments = {words[0].data(), words[1].data(), words[2].data(),
                                           nullptr};
        const int error =
            posix_spawnp(&pid_, program.c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = fdopen(out[0], "r");
        if (error != 0)
            fail("cannot start " + program + " " + role + ": " + std::strerror(error));
    }
    ~child()
    {
        end_input();
        if (output_ != nullptr)
            std::fclose(output_);
        if (pid_ > 0)
            waitpid(pid_, nullptr, 0);
    }
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    /// False at the end of its output.
    bool read_line(std::string &line)
    {
        line.clear();
        int c = 0;
        while ((c = std::fgetc(output_)) != EOF && c != '\n')
            line += static_cast<char>(c);
        return c != EOF;
    }

    void end_input()
    {
        if (input_ >= 0)
            close(input_);
        input_ = -1;
    }

    bool succeeded()
    {
        int status = 0;
        const bool ended = waitpid(pid_, &status, 0) == pid_;
        pid_ = -1;
        return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    std::FILE *output_ = nullptr;
};

} // namespace vorl::demo
