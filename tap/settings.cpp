#include "tap/settings.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "capture/ring_files.h"

namespace vorl::tap {
namespace {

constexpr uint64_t usual_cap = uint64_t{1} << 28;

/// False: the variable has a value that is no number from `least` on.
bool read_number(const char *variable, uint64_t least, uint64_t otherwise, uint64_t &to)
{
    const char *const text = getenv(variable);
    to = otherwise;
    if (text == nullptr || *text == '\0')
        return true;
    char *end = nullptr;
    errno = 0;
    to = strtoull(text, &end, 10);
    return *text >= '0' && *text <= '9' && *end == '\0' && errno == 0 && to >= least;
}

} // namespace

const char *read_settings(settings &to)
{
    if (!ring::directory_name(to.directory, sizeof to.directory, to.is_named))
        return "VORL_TAP_DIR is too long a name";
    if (!read_number(ring::size_variable, ring::least_size, ring::usual_size, to.size) ||
        to.size > ring::most_size)
        return "VORL_TAP_BYTES is no number from 65536 to 4294967296";
    while ((to.size & (to.size - 1)) != 0)
        to.size &= to.size - 1; // down to a power of two
    if (!read_number(ring::cap_variable, 0, usual_cap, to.cap))
        return "VORL_TAP_TOTAL_BYTES is no number";
    return nullptr;
}

int open_directory(const settings &of, const char *&why)
{
    if (mkdir(of.directory, 0700) != 0 && errno != EEXIST) {
        why = strerror(errno);
        return -1;
    }
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (of.is_named ? 0 : O_NOFOLLOW);
    const int found = open(of.directory, flags);
    struct stat its {};
    if (found < 0 || fstat(found, &its) != 0) {
        why = strerror(errno);
    } else if (!of.is_named && (its.st_uid != geteuid() || (its.st_mode & 0077) != 0)) {
        // Its place is everybody's: somebody else may have made it first.
        why = "it is not this user's alone";
    } else {
        return found;
    }
    if (found >= 0)
        close(found);
    return -1;
}

const char *why_no_room(int directory, const settings &of, uint64_t bytes)
{
    const int again = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *const files = again < 0 ? nullptr : fdopendir(again);
    if (files == nullptr) {
        if (again >= 0)
            close(again);
        return "the rings there cannot be counted, as it cannot be listed; let this process have "
               "more files "
               "open";
    }
    uint64_t all = bytes;
    while (const dirent *file = readdir(files)) {
        struct stat its {};
        if (ring::is_ring_name(file->d_name) && fstatat(directory, file->d_name, &its, 0) == 0)
            all += static_cast<uint64_t>(its.st_size);
    }
    closedir(files);
    if (all <= of.cap)
        return nullptr;
    return "with it the rings there would pass VORL_TAP_TOTAL_BYTES; 'vorl tap clean' removes "
           "those of "
           "processes that have ended";
}

void read_control(int directory, ring::control &to)
{
    to.on.store(1, std::memory_order_relaxed);
    const int file = openat(directory, ring::control_file, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0)
        return;
    ring::control found{};
    if (read(file, &found, sizeof found) == static_cast<ssize_t>(sizeof found))
        memcpy(reinterpret_cast<void *>(&to), reinterpret_cast<const void *>(&found), sizeof found);
    close(file);
}

} // namespace vorl::tap
