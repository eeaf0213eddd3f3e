// vorl tap on, off, status and clean.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include <nlohmann/json.hpp>

#include "capture/ring_files.h"
#include "capture/ring_read.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/tap/commands.h"

namespace vorl::tap {
namespace {

using namespace capture;

std::string directory_of(const std::string &named)
{
    return named.empty() ? tap_directory() : named;
}

[[noreturn]] void refuse(const std::string &what, int error)
{
    throw std::runtime_error("vorl tap: " + what + ": " + std::strerror(error) +
                             "; VORL_TAP_DIR or --dir names the directory of the tapped processes");
}

/// Part of a file that others have mapped, too.
class mapped_file {
  public:
    mapped_file(const std::string &name, std::size_t size, int flags) : size_(size)
    {
        const int file = open(name.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600);
        if (file < 0)
            refuse(name, errno);
        const int error = map(file, (flags & O_CREAT) != 0);
        close(file);
        if (error != 0)
            refuse(name, error);
    }
    ~mapped_file() { munmap(at_, size_); }
    mapped_file(const mapped_file &) = delete;
    mapped_file &operator=(const mapped_file &) = delete;

    void *get() const { return at_; }

  private:
    /// An error number, or 0.
    int map(int file, bool makes_room)
    {
        struct stat its {};
        if (makes_room) {
            if (const int error = posix_fallocate(file, 0, static_cast<off_t>(size_)); error != 0)
                return error;
        } else if (fstat(file, &its) != 0) {
            return errno;
        } else if (its.st_size < static_cast<off_t>(size_)) {
            return EINVAL;
        }
        at_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        return at_ == MAP_FAILED ? errno : 0;
    }

    std::size_t size_;
    void *at_ = nullptr;
};

/// Holds back processes that are about to make a ring: they obey what was said before or after.
class directory_lock {
  public:
    explicit directory_lock(const std::string &directory)
        : file_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        if (file_ < 0)
            refuse(directory, errno);
        constexpr auto pause = std::chrono::milliseconds(10);
        constexpr int tries = 500;
        for (int tried = 0; flock(file_, LOCK_EX | LOCK_NB) != 0; ++tried) {
            if (tried == tries) {
                close(file_);
                throw std::runtime_error(
                    "vorl tap: " + directory +
                    ": another program has held its lock for 5 seconds, as a "
                    "process that was stopped while it made its ring; end that "
                    "('fuser' names it), or try again");
            }
            std::this_thread::sleep_for(pause);
        }
    }
    ~directory_lock() { close(file_); }
    directory_lock(const directory_lock &) = delete;
    directory_lock &operator=(const directory_lock &) = delete;

  private:
    int file_;
};

struct wanted {
    bool on;
    std::vector<std::uint32_t> messages;
    std::vector<std::uint32_t> destinations;
};

void fill(std::atomic<std::uint32_t> &count, std::atomic<std::uint32_t> *list,
          const std::vector<std::uint32_t> &values)
{
    for (std::size_t i = 0; i < values.size(); ++i)
        list[i].store(values[i], std::memory_order_relaxed);
    count.store(static_cast<std::uint32_t>(values.size()), std::memory_order_relaxed);
}

/// The filter that does not hold is written, and then holds.
void apply(const wanted &w, ring::control &to)
{
    const std::uint32_t other = (to.which.load(std::memory_order_relaxed) & 1) ^ 1;
    ring::filter &filter = to.filters[other];
    fill(filter.messages, filter.message, w.messages);
    fill(filter.destinations, filter.destination, w.destinations);
    to.which.store(other, std::memory_order_release);
    to.on.store(w.on ? 1 : 0, std::memory_order_release);
}

/// Rings that can be read; what is wrong with the others is said.
std::vector<std::unique_ptr<ring_reader>> readable_rings(const std::string &directory,
                                                         bool &all_read)
{
    std::vector<std::unique_ptr<ring_reader>> rings;
    for (const std::string &name : rings_in(directory)) {
        try {
            rings.push_back(std::make_unique<ring_reader>(name));
        } catch (const capture_error &error) {
            std::fprintf(stderr, "%s\n", error.what());
            all_read = false;
        }
    }
    return rings;
}

} // namespace

int switch_tap(const switch_options &options)
{
    wanted w{options.on, {}, options.destinations};
    for (const std::string &message : options.messages)
        w.messages.push_back(identifier_or_throw(message));
    if (w.messages.size() > ring::filter::room || w.destinations.size() > ring::filter::room)
        throw std::runtime_error("vorl tap on: a filter has room for " +
                                 std::to_string(ring::filter::room) +
                                 " messages and as many destinations; leave some out, and filter "
                                 "again by vorl tap export");
    const std::string directory = directory_of(options.directory);
    if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        refuse(directory, errno);
    const directory_lock held(directory);
    const mapped_file to_come(directory + '/' + ring::control_file, sizeof(ring::control), O_CREAT);
    apply(w, *static_cast<ring::control *>(to_come.get()));
    bool all_read = true;
    std::size_t running = 0;
    for (const auto &ring : readable_rings(directory, all_read)) {
        if (!ring->facts().is_running)
            continue;
        const mapped_file file(ring->name(), sizeof(ring::header), 0);
        apply(w, static_cast<ring::header *>(file.get())->settings);
        ++running;
    }
    std::printf("%s: %zu processes, and those to come\n", options.on ? "on" : "off", running);
    return all_read ? 0 : 1;
}

int status(const status_options &options)
{
    bool all_read = true;
    for (const auto &ring : readable_rings(directory_of(options.directory), all_read)) {
        const ring_facts &facts = ring->facts();
        const char *const state = !facts.is_running ? "ended" : facts.is_on ? "on" : "off";
        if (options.as_json) {
            const nlohmann::ordered_json line = {{"process", facts.process.process},
                                                 {"command", facts.process.command},
                                                 {"state", state},
                                                 {"seen", facts.seen},
                                                 {"dropped", facts.dropped},
                                                 {"bytes_recorded", facts.head},
                                                 {"ring_bytes", facts.size},
                                                 {"hooks", facts.wrapped},
                                                 {"hooks_not_wrapped", facts.unwrapped},
                                                 {"file", ring->name()}};
            std::puts(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
            continue;
        }
        std::printf("%u %s: %llu frames seen, %llu dropped; %llu bytes into a ring of %llu; %llu "
                    "hooks, %llu not wrapped: %s\n",
                    facts.process.process, state, static_cast<unsigned long long>(facts.seen),
                    static_cast<unsigned long long>(facts.dropped),
                    static_cast<unsigned long long>(facts.head),
                    static_cast<unsigned long long>(facts.size),
                    static_cast<unsigned long long>(facts.wrapped),
                    static_cast<unsigned long long>(facts.unwrapped),
                    json::printable(facts.process.command).c_str());
    }
    return all_read ? 0 : 1;
}

int clean(const std::string &named)
{
    const std::string directory = directory_of(named);
    const directory_lock held(directory);
    bool all_read = true;
    std::size_t removed = 0;
    for (const auto &ring : readable_rings(directory, all_read)) {
        if (ring->facts().is_running)
            continue;
        if (unlink(ring->name().c_str()) != 0)
            refuse(ring->name(), errno);
        ++removed;
    }
    std::printf("%zu rings removed\n", removed);
    return all_read ? 0 : 1;
}

} // namespace vorl::tap
