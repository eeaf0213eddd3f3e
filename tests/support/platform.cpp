#include "tests/support/platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "runtime/serial_ctx.h"

namespace vorl::test {

void platform::forget_calls()
{
    lookups.clear();
    use_flag_arguments.clear();
    logs.clear();
    memory.clear();
    sends.clear();
    registrations.clear();
    clean_registrations.clear();
    bounded.clear();
}

platform &the_platform()
{
    static platform instance;
    return instance;
}

void reset_platform() { the_platform() = platform{}; }

namespace {

std::mutex guard;

#ifndef VORL_TEST_WITHOUT_SERVICES

void *allocate(memory_call::kind_type kind, std::uint32_t size, std::uint32_t id, const char *tag)
{
    const std::lock_guard lock(guard);
    platform &p = the_platform();
    void *block = nullptr;
    if (p.fail_allocation_at == 0 || --p.fail_allocation_at != 0) {
        block = p.only_block;
        if (block == nullptr) {
            auto *const base =
                static_cast<char *>(std::malloc(p.misalignment + (size == 0 ? 1 : size)));
            if (base != nullptr) {
                block = base + p.misalignment;
                std::memset(block, 0xA5, size);
            }
        }
        if (block != nullptr)
            ++p.live_blocks;
    }
    p.memory.push_back({kind, size, id, tag, block});
    return block;
}

#endif

std::uint32_t send(bool explicit_target, std::uint32_t dest, const frame_desc *descs,
                   std::uint32_t count, std::uint64_t to)
{
    const std::lock_guard lock(guard);
    platform &p = the_platform();
    if (p.on_send != nullptr)
        p.on_send(descs, count);
    bus_call call{explicit_target, dest, to, count, {}, descs, p.memory.size()};
    for (std::uint32_t i = 0; i < count && p.keep_frames; ++i) {
        frame_desc desc;
        std::memcpy(&desc, reinterpret_cast<const char *>(descs) + i * sizeof desc, sizeof desc);
        const auto *bytes = static_cast<const std::uint8_t *>(desc.data);
        call.frames.push_back({desc.msg_id, desc.data, {bytes, bytes + desc.length}});
    }
    p.sends.push_back(std::move(call));
    if (p.refuse_send_at != 0 && --p.refuse_send_at == 0)
        return p.send_refusal;
    return p.bus_result;
}

#ifndef VORL_TEST_WITHOUT_BOUNDED_COPIES

/// What the two bounded functions have in common; `write` is what they do.
template <class Write>
int bounded(bounded_call call, void *to, Write &&write)
{
    const std::lock_guard lock(guard);
    platform &p = the_platform();
    call.memory_calls = p.memory.size();
    p.bounded.push_back(call);
    if (call.count > call.capacity)
        return 1;
    if (call.count > p.bounded_limit) {
        std::memset(to, 0xC3, std::min(call.count, p.bounded_damage));
        return p.bounded_refusal;
    }
    write();
    return 0;
}

#endif

} // namespace
} // namespace vorl::test

using namespace vorl::test;

extern "C" {

#ifndef VORL_TEST_WITHOUT_SERVICES

void ZDT_OsalLogWrite(const vorl::serial_ctx *ctx, std::uint32_t level, std::uint32_t kind,
                      const char *empty, std::uint32_t line, const char *function,
                      const char *format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    {
        const std::lock_guard lock(guard);
        the_platform().logs.push_back({ctx, level, kind, empty, line, function, format, text});
    }
    if (the_platform().on_log != nullptr)
        the_platform().on_log();
}

void *ZDT_OsalMemAlloc(std::uint32_t size, std::uint32_t id, const char *tag)
{
    return allocate(memory_call::main_allocate, size, id, tag);
}

void *ZDT_OsalMemCacheAlloc(std::uint32_t size, std::uint32_t id, const char *tag)
{
    return allocate(memory_call::cache_allocate, size, id, tag);
}

void ZDT_OsalMemFree(void *block, std::uint32_t id, const char *tag)
{
    {
        const std::lock_guard lock(guard);
        platform &p = the_platform();
        p.memory.push_back({memory_call::release, 0, id, tag, block});
        --p.live_blocks;
        if (block == p.only_block)
            return;
    }
    // malloc's own blocks begin at multiples of 16.
    std::free(static_cast<char *>(block) - reinterpret_cast<std::uintptr_t>(block) % 16);
}

std::uint32_t ZDT_OsalMemUseFlagGet(std::uint32_t id)
{
    const std::lock_guard lock(guard);
    the_platform().use_flag_arguments.push_back(id);
    return the_platform().use_flag;
}

// What the runtime calls for dlsym where it is linked into the program.
void *vorl_test_dlsym(void *handle, const char *name)
{
    if (the_platform().on_lookup != nullptr)
        the_platform().on_lookup();
    const std::lock_guard lock(guard);
    platform &p = the_platform();
    p.lookups.emplace_back(name);
    p.lookup_with_handle |= handle != nullptr;
    const auto found = [](bool has, auto function) {
        return has ? reinterpret_cast<void *>(function) : nullptr;
    };
    if (std::strcmp(name, "ZDT_OsalLogWrite") == 0)
        return found(p.has_log, ZDT_OsalLogWrite);
    if (std::strcmp(name, "ZDT_OsalMemAlloc") == 0)
        return found(p.has_main_allocate, ZDT_OsalMemAlloc);
    if (std::strcmp(name, "ZDT_OsalMemFree") == 0)
        return found(p.has_release, ZDT_OsalMemFree);
    if (std::strcmp(name, "ZDT_OsalMemCacheAlloc") == 0)
        return found(p.has_cache_allocate, ZDT_OsalMemCacheAlloc);
    if (std::strcmp(name, "ZDT_OsalMemUseFlagGet") == 0)
        return found(p.has_use_flag, ZDT_OsalMemUseFlagGet);
    return nullptr;
}

#endif

#ifndef VORL_TEST_WITHOUT_BOUNDED_COPIES

int memset_s(void *to, std::size_t capacity, int value, std::size_t count)
{
    return bounded({false, to, capacity, value, nullptr, count, 0}, to,
                   [&] { std::memset(to, value, count); });
}

int memcpy_s(void *to, std::size_t capacity, const void *from, std::size_t count)
{
    return bounded({true, to, capacity, 0, from, count, 0}, to,
                   [&] { std::memcpy(to, from, count); });
}

#endif

std::uint32_t VORL_SendMsg(std::uint32_t dest, const vorl::frame_desc *descs, std::uint32_t count)
{
    return send(false, dest, descs, count, 0);
}

std::uint32_t VORL_SendToMsg(std::uint32_t dest, const vorl::frame_desc *descs, std::uint32_t count,
                             std::uint64_t to)
{
    return send(true, dest, descs, count, to);
}

std::uint32_t VORL_RegIDLFuncHook(std::uint32_t msg_id, vorl::unpack_hook unpack,
                                  vorl::free_hook release)
{
    const std::lock_guard lock(guard);
    platform &p = the_platform();
    p.registrations.push_back({msg_id, unpack, release});
    return p.registrations.size() == p.refuse_registration_at ? p.registration_refusal : 0;
}

std::uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook clean)
{
    const std::lock_guard lock(guard);
    the_platform().clean_registrations.push_back(clean);
    return the_platform().bus_result;
}

} // extern "C"
