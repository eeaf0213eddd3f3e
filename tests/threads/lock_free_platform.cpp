#include "tests/threads/lock_free_platform.h"

#include <sched.h>

#include <cstdlib>
#include <cstring>

#include "runtime/serial_ctx.h"

namespace vorl::test {

counters counted;
void (*on_frame)(const frame_desc &desc) = nullptr;

namespace {

void add(std::atomic<std::uint64_t> &counter) { counter.fetch_add(1, std::memory_order_relaxed); }

// Before each block stands whose it is.
constexpr std::size_t head = 16;
constexpr std::uint32_t main_id = 0x6200;

void *allocate(std::uint32_t size, std::uint32_t id)
{
    auto *const base = static_cast<char *>(std::malloc(head + size));
    if (base == nullptr)
        return nullptr;
    std::memcpy(base, &id, sizeof id);
    add(counted.allocations);
    return base + head;
}

std::uint32_t send(const frame_desc *descs, std::uint32_t count)
{
    for (std::uint32_t i = 0; i < count; ++i) {
        frame_desc desc;
        std::memcpy(&desc, reinterpret_cast<const char *>(descs) + i * sizeof desc, sizeof desc);
        add(counted.frames);
        if (on_frame != nullptr)
            on_frame(desc);
    }
    return 0;
}

} // namespace
} // namespace vorl::test

using namespace vorl::test;

extern "C" {

// NOLINTNEXTLINE(cert-dcl50-cpp): the type is the log service's
static void log_write(const vorl::serial_ctx *, std::uint32_t, std::uint32_t, const char *,
                      std::uint32_t, const char *, const char *, ...)
{
    add(counted.logs);
}

static void *allocate_main(std::uint32_t size, std::uint32_t id, const char *)
{
    if (id != main_id)
        add(counted.foreign);
    return allocate(size, id);
}

static void *allocate_cache(std::uint32_t size, std::uint32_t id, const char *)
{
    if (id != vorl::cache_id)
        add(counted.foreign);
    return allocate(size, id);
}

static void release(void *block, std::uint32_t id, const char *)
{
    char *const base = static_cast<char *>(block) - head;
    if (std::memcmp(base, &id, sizeof id) != 0)
        add(counted.foreign);
    std::memset(base, 0, head);
    add(counted.releases);
    std::free(base);
}

static std::uint32_t use_flag(std::uint32_t) { return 1; }

// What the runtime calls for dlsym.
void *vorl_test_dlsym(void *handle, const char *name);
void *vorl_test_dlsym(void *, const char *name)
{
    add(counted.lookups);
    sched_yield(); // so that others find the block half bound
    struct service {
        const char *name;
        void *address;
    };
    const service services[] = {
        {"ZDT_OsalLogWrite", reinterpret_cast<void *>(log_write)},
        {"ZDT_OsalMemAlloc", reinterpret_cast<void *>(allocate_main)},
        {"ZDT_OsalMemFree", reinterpret_cast<void *>(release)},
        {"ZDT_OsalMemCacheAlloc", reinterpret_cast<void *>(allocate_cache)},
        {"ZDT_OsalMemUseFlagGet", reinterpret_cast<void *>(use_flag)},
    };
    for (const service &s : services) {
        if (std::strcmp(name, s.name) == 0)
            return s.address;
    }
    return nullptr;
}

std::uint32_t VORL_SendMsg(std::uint32_t, const vorl::frame_desc *descs, std::uint32_t count)
{
    return send(descs, count);
}

std::uint32_t VORL_SendToMsg(std::uint32_t, const vorl::frame_desc *descs, std::uint32_t count,
                             std::uint64_t)
{
    return send(descs, count);
}

// The packages' lists name these.
std::uint32_t VORL_RegIDLFuncHook(std::uint32_t, vorl::unpack_hook, vorl::free_hook) { return 0; }
std::uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook) { return 0; }

} // extern "C"
