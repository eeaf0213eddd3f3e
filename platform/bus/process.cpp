#include "platform/bus/process.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>

#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vorl::bus {
namespace {

struct process_state {
    std::mutex lock;
    std::set<int> descriptors;
    std::atomic<uint64_t> generation{1};
};

// Never destroyed: receivers and connections may live until the very end.
process_state &state()
{
    static process_state *const instance = [] {
        auto *made = new process_state;
        pthread_atfork([] { state().lock.lock(); }, [] { state().lock.unlock(); },
                       [] {
                           process_state &own = state();
                           for (const int fd : own.descriptors)
                               ::close(fd);
                           own.descriptors.clear();
                           ++own.generation;
                           own.lock.unlock();
                       });
        return made;
    }();
    return *instance;
}

} // namespace

std::mutex &process_lock() { return state().lock; }
uint64_t generation() { return state().generation; }

descriptor::descriptor(int fd) : fd_(fd), generation_(generation())
{
    if (fd_ >= 0)
        state().descriptors.insert(fd_);
}

descriptor::descriptor(descriptor &&other) noexcept
    : fd_(std::exchange(other.fd_, -1)), generation_(other.generation_)
{}

descriptor &descriptor::operator=(descriptor &&other) noexcept
{
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
        generation_ = other.generation_;
    }
    return *this;
}

void descriptor::close()
{
    const int fd = std::exchange(fd_, -1);
    if (fd < 0 || generation_ != generation())
        return;
    const std::lock_guard lock(process_lock());
    state().descriptors.erase(fd);
    ::close(fd);
}

std::string path_of(uint32_t dest, const char *suffix)
{
    const char *named = getenv("VORL_BUS_DIR");
    const bool is_named = named != nullptr && *named != '\0';
    const std::string directory = is_named ? named : "/tmp/vorl-bus-" + std::to_string(geteuid());
    if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
        return {};
    if (!is_named) {
        // /tmp is everybody's: somebody else may have made the directory first.
        struct stat found {};
        if (lstat(directory.c_str(), &found) != 0)
            return {};
        if (!S_ISDIR(found.st_mode) || found.st_uid != geteuid() || (found.st_mode & 0077) != 0) {
            errno = EPERM;
            return {};
        }
    }
    return directory + "/" + std::to_string(dest) + suffix;
}

bool make_address(const std::string &path, sockaddr_un &address)
{
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    return true;
}

} // namespace vorl::bus
