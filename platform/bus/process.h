// What the bus has once a process, and what a fork does to it.
//
// A child inherits every descriptor of its parent. A connection used by both would mix up their
// answers, and an inherited listening socket would keep a dead parent's destination alive. So the
// bus's descriptors are all counted here, and a child closes its copies before it runs on.
// Receivers stay the parent's; connections of the child are made anew.
#pragma once

#include <stdint.h>

#include <mutex>

namespace vorl::bus {

/// Guards what the process has once: descriptors, connections, registered types. Held for a few
/// instructions, never across waiting; fork takes it, so a child finds all of that whole.
std::mutex &process_lock();

/// Changes in a child that fork made. What was made under another generation is its parent's.
uint64_t generation();

/// Owns a descriptor that a forked child must not keep. One of the parent's is never closed twice:
/// in the child it is dead.
class descriptor {
  public:
    descriptor() = default;
    descriptor(descriptor &&other) noexcept;
    descriptor &operator=(descriptor &&other) noexcept;
    ~descriptor() { close(); }

    /// Owns what make() returns; -1 leaves it empty and errno as make() set it. No fork comes
    /// between.
    template <class Make>
    static descriptor from(Make &&make)
    {
        const std::lock_guard lock(process_lock());
        return descriptor(make());
    }

    bool is_open() const { return fd_ >= 0; }
    int get() const { return fd_; }
    void close();

  private:
    explicit descriptor(int fd);

    int fd_ = -1;
    uint64_t generation_ = 0;
};

} // namespace vorl::bus
