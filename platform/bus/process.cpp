#include "platform/bus/process.h"

#include <atomic>
#include <set>
#include <utility>

#include <pthread.h>
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

} // namespace vorl::bus
