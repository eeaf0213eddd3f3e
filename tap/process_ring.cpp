#include "tap/process_ring.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "capture/ring_files.h"
#include "tap/hooks.h"
#include "tap/record.h"
#include "tap/settings.h"

namespace vorl::tap {

std::atomic<ring::header *> process_ring{nullptr};

namespace {

enum class state : int { untried, making, settled };
std::atomic<state> present{state::untried};

/// What was not recorded because another thread was making the ring.
std::atomic<uint64_t> too_early{0};

settings chosen;
const char *wrong_setting = nullptr;
bool were_settings_read = false;

/// As the tap is loaded, before the program changes its environment; or earlier, where a library's constructor
/// that runs before the tap's uses the bus.
void read_settings_once()
{
    if (were_settings_read)
        return;
    were_settings_read = true;
    wrong_setting = read_settings(chosen);
}

/// The first `room` bytes of a file; less one, which is the zero behind them.
size_t read_file(const char *path, char *to, size_t room)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t got = file < 0 ? 0 : read(file, to, room - 1);
    if (file >= 0)
        close(file);
    const size_t size = got < 0 ? 0 : static_cast<size_t>(got);
    to[size] = '\0';
    return size;
}

/// When the process started, which with its number tells it from all others.
uint64_t start_time()
{
    char text[1024];
    read_file("/proc/self/stat", text, sizeof text);
    // The second field is a name in brackets, with anything in it.
    const char *at = strrchr(text, ')');
    constexpr int fields_between = 20;
    for (int i = 0; i < fields_between && at != nullptr; ++i)
        at = strchr(at + 1, ' ');
    return at == nullptr ? 0 : strtoull(at, nullptr, 10);
}

void read_boot(uint8_t (&to)[16])
{
    char text[64];
    read_file("/proc/sys/kernel/random/boot_id", text, sizeof text);
    const char *at = text;
    for (uint8_t &byte : to) {
        at += *at == '-' ? 1 : 0;
        char digits[3] = {at[0], at[0] == '\0' ? '\0' : at[1], '\0'};
        byte = static_cast<uint8_t>(strtoul(digits, nullptr, 16));
        at += strlen(digits);
    }
}

/// The command line, its words apart by blanks.
void add_command(ring::header &to)
{
    char text[1024];
    const size_t size = read_file("/proc/self/cmdline", text, sizeof text);
    for (size_t i = 0; i + 1 < size; ++i) {
        if (text[i] == '\0')
            text[i] = ' ';
    }
    add_to_dictionary(to, ring::dictionary_entry::command, 0, text);
}

void fill(ring::header &to, int directory)
{
    to.version = ring::version;
    to.process = static_cast<uint32_t>(getpid());
    to.size = chosen.size;
    if (getrandom(&to.key, sizeof to.key, GRND_NONBLOCK) != sizeof to.key)
        to.key = now() * 0x9E3779B97F4A7C15; // as good against chance, if not against malice
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    to.offset = static_cast<int64_t>(real.tv_sec) * 1'000'000'000 + real.tv_nsec -
                static_cast<int64_t>(now());
    to.started = start_time();
    read_boot(to.boot);
    to.largest_kept = static_cast<uint32_t>(chosen.size / ring::largest_part);
    read_control(directory, to.settings);
    add_command(to);
    to.magic.store(ring::magic, std::memory_order_release);
}

/// A new file of that size in the directory, all of whose bytes are there; -1: errno says why not.
int make_file(int directory, uint64_t bytes, char (&name)[64])
{
    constexpr int most_of_a_process = 1000;
    // A file past this limit would end the process by a signal.
    rlimit largest{};
    if (getrlimit(RLIMIT_FSIZE, &largest) == 0 && largest.rlim_cur < bytes) {
        errno = EFBIG;
        return -1;
    }
    int made = -1;
    for (int i = 0; made < 0 && i < most_of_a_process; ++i) {
        snprintf(name, sizeof name, "%d-%d%s", getpid(), i, ring::ring_suffix);
        made = openat(directory, name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (made < 0 && errno != EEXIST)
            return -1;
    }
    if (made < 0)
        return -1;
    // Now, and not as pages are written: then a full disk would end the process.
    if (const int error = posix_fallocate(made, 0, static_cast<off_t>(bytes)); error != 0) {
        unlinkat(directory, name, 0);
        close(made);
        errno = error;
        return -1;
    }
    return made;
}

ring::header *map_new_ring(int directory)
{
    const uint64_t bytes = ring::entries_at + chosen.size;
    if (const char *const why = why_no_room(directory, chosen, bytes)) {
        report("no ring in ", chosen.directory, ": ", why);
        return nullptr;
    }
    char name[64];
    const int file = make_file(directory, bytes, name);
    void *const mapped =
        file < 0 ? MAP_FAILED
                 : mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0);
    const int error = errno;
    if (file >= 0)
        close(file);
    if (mapped == MAP_FAILED) {
        if (file >= 0)
            unlinkat(directory, name, 0);
        report("no ring in ", chosen.directory, ": ", strerror(error),
               "; make room there, or set VORL_TAP_DIR or VORL_TAP_BYTES");
        return nullptr;
    }
    auto *const made = static_cast<ring::header *>(mapped);
    fill(*made, directory);
    return made;
}

/// One after the other, so that they keep the cap; but nobody waits long for a process that was stopped.
void wait_for_turn(int directory)
{
    constexpr int tries = 20;
    for (int i = 0; i < tries && flock(directory, LOCK_EX | LOCK_NB) != 0; ++i)
        usleep(1000);
}

ring::header *make()
{
    read_settings_once();
    if (wrong_setting != nullptr) {
        report(wrong_setting, "; nothing is recorded");
        return nullptr;
    }
    const char *why = "";
    const int directory = open_directory(chosen, why);
    if (directory < 0) {
        report("the directory ", chosen.directory, " cannot be used: ", why,
               "; set VORL_TAP_DIR to one that can");
        return nullptr;
    }
    wait_for_turn(directory);
    ring::header *const made = map_new_ring(directory);
    close(directory); // and its lock
    return made;
}

void forget_all()
{
    forget_ring();
    forget_thread();
    forget_registering();
}

[[gnu::constructor]] void load()
{
    read_settings_once();
    pthread_atfork(nullptr, nullptr, forget_all);
    // A program that is linked with the bus will use it; any other may yet load it.
    if (dlsym(RTLD_NEXT, "VORL_SendMsg") != nullptr)
        make_ring();
}

} // namespace

ring::header *make_ring()
{
    state expected = state::untried;
    if (!present.compare_exchange_strong(expected, state::making, std::memory_order_acq_rel)) {
        if (expected == state::making)
            too_early.fetch_add(1, std::memory_order_relaxed);
        return process_ring.load(std::memory_order_acquire);
    }
    const int error = errno;
    ring::header *const made = make();
    process_ring.store(made, std::memory_order_release);
    if (made != nullptr)
        describe_hooks(*made);
    present.store(state::settled, std::memory_order_release);
    if (made != nullptr) {
        const uint64_t missed = too_early.exchange(0, std::memory_order_relaxed);
        made->seen.fetch_add(missed, std::memory_order_relaxed);
        made->dropped.fetch_add(missed, std::memory_order_relaxed);
    }
    errno = error;
    return made;
}

void forget_ring()
{
    if (ring::header *const parents = process_ring.load(std::memory_order_relaxed))
        munmap(parents, ring::entries_at + parents->size);
    process_ring.store(nullptr, std::memory_order_relaxed);
    present.store(state::untried, std::memory_order_relaxed);
    too_early.store(0, std::memory_order_relaxed);
}

void add_to_dictionary(ring::header &to, ring::dictionary_entry::kind_type kind,
                       uint32_t identifier, const char *text)
{
    const uint64_t used = to.dictionary_used.load(std::memory_order_relaxed);
    const auto length = static_cast<uint32_t>(strlen(text));
    ring::dictionary_entry e{0, kind, identifier, length};
    e.length = static_cast<uint32_t>((sizeof e + length + 7) / 8 * 8);
    if (e.length > ring::dictionary_size - used)
        return;
    unsigned char *const at = reinterpret_cast<unsigned char *>(&to) + ring::dictionary_at + used;
    memcpy(at, &e, sizeof e);
    memcpy(at + sizeof e, text, length);
    to.dictionary_used.store(used + e.length, std::memory_order_release);
}

void report(const char *what, const char *name, const char *more, const char *why, const char *rest)
{
    char line[PATH_MAX + 512];
    const int length = snprintf(line, sizeof line, "vorl-tap: process %d: %s%s%s%s%s\n", getpid(),
                                what, name, more, why, rest);
    const size_t size = length < 0 ? 0 : static_cast<size_t>(length);
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, line, size < sizeof line ? size : sizeof line);
}

} // namespace vorl::tap
