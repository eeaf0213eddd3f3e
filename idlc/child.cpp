#include "child.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace idlc {
namespace {

/// A pipe that a child writes into.
class pipe_from_child {
  public:
    pipe_from_child() { is_open_ = pipe2(ends_, O_CLOEXEC) == 0; }
    ~pipe_from_child()
    {
        close_writer();
        if (is_open_)
            close(ends_[0]);
    }
    pipe_from_child(const pipe_from_child &) = delete;
    pipe_from_child &operator=(const pipe_from_child &) = delete;

    bool is_open() const { return is_open_; }
    int reader() const { return ends_[0]; }
    int writer() const { return ends_[1]; }
    void close_writer()
    {
        if (is_open_ && ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }

  private:
    int ends_[2] = {-1, -1};
    bool is_open_ = false;
};

/// Reads both until they end, or one is too long. What passes `most_err` of the second is dropped.
bool read_both(int out, int err, std::size_t longest_out, std::string &out_text,
               std::string &err_text)
{
    constexpr std::size_t most_err = 4096;
    pollfd both[2] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
    char block[1 << 16];
    while (both[0].fd >= 0 || both[1].fd >= 0) {
        if (poll(both, 2, -1) < 0 && errno != EINTR)
            return false;
        for (pollfd &p : both) {
            if (p.fd < 0 || p.revents == 0)
                continue;
            const ssize_t got = read(p.fd, block, sizeof block);
            if (got <= 0) {
                if (got == 0 || errno != EINTR)
                    p.fd = -1;
                continue;
            }
            std::string &text = &p == &both[0] ? out_text : err_text;
            text.append(block, static_cast<std::size_t>(got));
            err_text.resize(std::min(err_text.size(), most_err));
            if (out_text.size() > longest_out)
                return false;
        }
    }
    return true;
}

} // namespace

child_outcome run_child(const std::vector<std::string> &arguments, std::size_t longest_output)
{
    child_outcome o;
    pipe_from_child out;
    pipe_from_child err;
    if (!out.is_open() || !err.is_open()) {
        o.error = errno;
        return o;
    }
    std::vector<char *> raw;
    for (const std::string &a : arguments)
        raw.push_back(const_cast<char *>(a.c_str()));
    raw.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.writer(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.writer(), STDERR_FILENO);
    pid_t child = 0;
    o.error = posix_spawnp(&child, raw[0], &actions, nullptr, raw.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (o.error != 0)
        return o;
    out.close_writer();
    err.close_writer();
    std::string said;
    o.is_too_long = !read_both(out.reader(), err.reader(), longest_output, o.out, said);
    if (o.is_too_long)
        kill(child, SIGKILL);
    int ended = 0;
    while (waitpid(child, &ended, 0) < 0 && errno == EINTR) {
    }
    o.status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
    o.err = said.substr(0, said.find('\n'));
    return o;
}

} // namespace idlc
