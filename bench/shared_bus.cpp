#include "bench/shared_bus.h"

#include <sys/mman.h>

#include <cstring>

#include "bench/bus.h"
#include "bench/library.h"

namespace vorl::bench {
namespace {

shared_bus *served;

} // namespace

shared_bus::shared_bus(uint32_t capacity) : capacity_(capacity), private_(capacity)
{
    void *mapped = mmap(nullptr, sizeof(shared) + capacity, PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        give_up("has no memory for", "the shared bus");
    shared_ = static_cast<shared *>(mapped);
}

shared_bus::~shared_bus() { munmap(shared_, sizeof(shared) + capacity_); }

bool shared_bus::put(const frame_desc *descs, uint32_t count)
{
    uint64_t at = shared_->put.load(std::memory_order_relaxed);
    const uint64_t end = shared_->taken.load(std::memory_order_acquire) + capacity_;
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t room = room_of(descs[i].length);
        const uint64_t left = capacity_ - at % capacity_;
        const bool wraps = left < room;
        if (end - at < room + (wraps ? left : 0))
            return false;
        if (wraps) {
            const header none = {0, go_to_start};
            memcpy(shared_->ring + at % capacity_, &none, sizeof none);
            at += left;
        }
        uint8_t *to = shared_->ring + at % capacity_;
        const header about = {descs[i].msg_id, descs[i].length};
        memcpy(to, &about, sizeof about);
        memcpy(to + sizeof about, descs[i].data, descs[i].length);
        at += room;
    }
    shared_->put.store(at, std::memory_order_release);
    return true;
}

shared_bus::frame shared_bus::take()
{
    uint64_t at = shared_->taken.load(std::memory_order_relaxed);
    if (at == shared_->put.load(std::memory_order_acquire))
        return {};
    header about;
    memcpy(&about, shared_->ring + at % capacity_, sizeof about);
    if (about.length == go_to_start) {
        at += capacity_ - at % capacity_;
        memcpy(&about, shared_->ring, sizeof about);
    }
    memcpy(private_.data(), shared_->ring + at % capacity_ + sizeof about, about.length);
    shared_->taken.store(at + room_of(about.length), std::memory_order_release);
    return {private_.data(), about.msg_id, about.length};
}

void shared_bus::serve()
{
    served = this;
    on_frames = [](const frame_desc *descs, uint32_t count) {
        if (!served->put(descs, count))
            give_up("has no room in", "the shared bus");
    };
}

} // namespace vorl::bench
