#include "tests/codec/exhaustive/platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/bus.h"

namespace vorl::test::exhaustive {

platform_calls *the_calls = nullptr;

platform_calls::platform_calls() : arena_(4 * std::size_t{block_limit}, fresh) {}

void platform_calls::clear()
{
    std::memset(arena_.data(), fresh, used_);
    used_ = 0;
    log_count = 0;
    memory_count = 0;
    block_count = 0;
}

bool platform_calls::margins_are_intact() const
{
    for (std::size_t i = 0; i < block_count; ++i) {
        const std::uint8_t *const end = blocks[i].begin + blocks[i].size;
        for (std::size_t at = 0; at < margin; ++at) {
            if (end[at] != fresh)
                return false;
        }
    }
    return true;
}

std::uint32_t platform_calls::failed_allocation() const
{
    std::uint32_t allocations = 0;
    for (std::size_t i = 0; i < memory_count; ++i) {
        if (memory[i].kind != memory_call::cache_allocate)
            continue;
        ++allocations;
        if (memory[i].block == 0)
            return allocations;
    }
    return 0;
}

namespace {

template <class Call>
Call &next(Call (&calls)[platform_calls::capacity], std::size_t &count)
{
    if (count == platform_calls::capacity) {
        std::fputs("exhaustive: the library asked for more than one call ever does\n", stderr);
        std::abort();
    }
    return calls[count++];
}

} // namespace

log_call &platform_calls::add_log() { return next(logs, log_count); }

void *platform_calls::allocate(std::uint32_t size, std::uint32_t id, const char *tag)
{
    const std::size_t taken = (size + margin + 15) / 16 * 16;
    memory_call &call = next(memory, memory_count);
    call = {memory_call::cache_allocate, size, id, tag, 0};
    if (size > block_limit || taken > arena_.size() - used_)
        return nullptr;
    block &given = next(blocks, block_count);
    given = {arena_.data() + used_, size, false};
    used_ += taken;
    call.block = block_count;
    return given.begin;
}

void platform_calls::release(const void *at, std::uint32_t id, const char *tag)
{
    memory_call &call = next(memory, memory_count);
    call = {memory_call::release, 0, id, tag, 0};
    for (std::size_t i = 0; i < block_count; ++i) {
        if (blocks[i].begin == at && !blocks[i].is_released) {
            blocks[i].is_released = true;
            call.block = i + 1;
        }
    }
}

namespace {

extern "C" void write_log(const serial_ctx *ctx, std::uint32_t level, std::uint32_t kind,
                          const char *empty, std::uint32_t line, const char *function,
                          const char *format, ...)
{
    log_call &call = the_calls->add_log();
    call.ctx = ctx;
    call.level = level;
    call.kind = kind;
    call.line = line;
    call.empty = empty;
    call.function = function;
    call.format = format;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(call.text, sizeof call.text, format, arguments);
    va_end(arguments);
}

void *cache_allocate(std::uint32_t size, std::uint32_t id, const char *tag)
{
    return the_calls->allocate(size, id, tag);
}

void release(void *block, std::uint32_t id, const char *tag) { the_calls->release(block, id, tag); }

/// Reading asks for none.
void *main_allocate(std::uint32_t, std::uint32_t, const char *) { std::abort(); }

std::uint32_t use_flag(std::uint32_t) { return 1; }

} // namespace
} // namespace vorl::test::exhaustive

using namespace vorl::test::exhaustive;

extern "C" {

// What the runtime calls for dlsym where it is linked into the program.
void *vorl_test_dlsym(void *, const char *name)
{
    const struct {
        const char *name;
        void *function;
    } services[] = {
        {"ZDT_OsalLogWrite", reinterpret_cast<void *>(write_log)},
        {"ZDT_OsalMemAlloc", reinterpret_cast<void *>(main_allocate)},
        {"ZDT_OsalMemFree", reinterpret_cast<void *>(release)},
        {"ZDT_OsalMemCacheAlloc", reinterpret_cast<void *>(cache_allocate)},
        {"ZDT_OsalMemUseFlagGet", reinterpret_cast<void *>(use_flag)},
    };
    for (const auto &service : services) {
        if (std::strcmp(service.name, name) == 0)
            return service.function;
    }
    return nullptr;
}

// The bus, which reading does not touch.
std::uint32_t VORL_SendMsg(std::uint32_t, const vorl::frame_desc *, std::uint32_t) { std::abort(); }
std::uint32_t VORL_SendToMsg(std::uint32_t, const vorl::frame_desc *, std::uint32_t, std::uint64_t)
{
    std::abort();
}
std::uint32_t VORL_RegIDLFuncHook(std::uint32_t, vorl::unpack_hook, vorl::free_hook)
{
    std::abort();
}
std::uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook) { std::abort(); }

} // extern "C"
