// How the library reaches the platform's log and memory services, which it finds by name on first
// use.
//
// There are six blocks, one for each package and direction. A block has two independent bindings,
// each under a lock of its own. A binding is made at most once and never undone:
//
//   A  log writer, main allocator    before every log call and every main-allocator call
//   B  cache allocator, byte order   in __unpack after its checks, in a release, in __pack when it
//                                    writes, in every frame writer
//
// Without a log writer nothing is logged. Unless allocate and release are both there, malloc and
// free replace them. After the first call a binding costs one load and one test.
//
// Any thread may call. The once flags are written with release, after the pointers that they guard,
// and read with acquire by whoever uses these. No lock is held across a log call or an allocation.
#pragma once

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

#include "runtime/log.h"
#include "serial/slot.h"

namespace vorl {

struct serial_ctx;

// The platform's log call. Every call passes log_level as `level` and "" as `empty`.
using log_write_fn = void (*)(const serial_ctx *ctx, uint32_t level, uint32_t kind,
                              const char *empty, uint32_t line, const char *function,
                              const char *format, ...);
using allocate_fn = void *(*)(uint32_t size, uint32_t id, const char *tag);
using release_fn = void (*)(void *block, uint32_t id, const char *tag);

/// Second argument of every call of the cache allocator, which does not document it.
inline constexpr uint32_t cache_id = 12;

// The platform's log writer reads the first two members, so the order is fixed.
struct serial_ctx {
    const char *module_name;
    const char *submodule_name;
    uint32_t mem_module_id; ///< second argument of every main-allocator call
    pthread_mutex_t service_lock;
    log_write_fn log_write = nullptr; ///< stays null where the process has no log writer
    allocate_fn mem_alloc = nullptr;
    release_fn mem_free = nullptr;
    uint32_t services_bound = 0; ///< once flag of binding A
    pthread_mutex_t cache_lock;
    uint32_t cache_bound = 0; ///< once flag of binding B
    allocate_fn cache_alloc;
    release_fn cache_free;
};

enum class direction : uint8_t { receive, send };

inline constexpr size_t serial_ctx_count = 6;

/// srv6 receive, srv6 send, srv6_cfg receive, ... All hidden: nothing outside the library sees
/// them.
[[gnu::visibility("hidden")]] extern serial_ctx serial_ctxs[serial_ctx_count];

/// What every call asks of a side before it takes the short way. Both are one word in memory, so
/// that one load answers.
struct alignas(uint64_t) side_state {
    /// A copy of the block's cache_bound, stored last by binding B.
    uint32_t cache_bound;
    /// Non-zero: every multi-byte value of the side is most significant byte first. Only 0 is ever
    /// stored: at load time, and by binding B. Its readers are in other translation units, so that
    /// no optimiser takes it for a constant.
    uint32_t byte_swap_flag;
};

/// In the order of the blocks.
[[gnu::visibility("hidden")]] extern side_state side_states[serial_ctx_count];

constexpr size_t ctx_index(package p, direction d)
{
    return 2 * static_cast<size_t>(p) + static_cast<size_t>(d);
}

/// The slow paths of the two bindings: lock, look again, bind. Any thread, any number of times.
void bind_services_once(serial_ctx &ctx);
void bind_cache_once(serial_ctx &ctx);

inline void bind_services(serial_ctx &ctx)
{
    if (__builtin_expect(__atomic_load_n(&ctx.services_bound, __ATOMIC_ACQUIRE) == 0, 0))
        bind_services_once(ctx);
}

inline void bind_cache(serial_ctx &ctx)
{
    if (__builtin_expect(__atomic_load_n(&ctx.cache_bound, __ATOMIC_ACQUIRE) == 0, 0))
        bind_cache_once(ctx);
}

inline bool swaps_bytes(package p, direction d)
{
    return __atomic_load_n(&side_states[ctx_index(p, d)].byte_swap_flag, __ATOMIC_RELAXED) != 0;
}

/// What a caller relies on when its side is settled.
enum class settled_for : uint8_t {
    values,      ///< the byte order alone: the caller uses no pointer of the block
    allocations, ///< the cache allocator, too
};

/// True when the side's binding B is done and its byte order is the native one, as in every call
/// but the first. The caller need not check either again.
template <settled_for Use>
bool is_settled(package p, direction d)
{
    using word [[gnu::may_alias]] = uint64_t;
    constexpr word settled = 1; // cache_bound 1, byte_swap_flag 0
    constexpr int order = Use == settled_for::values ? __ATOMIC_RELAXED : __ATOMIC_ACQUIRE;
    const auto *state = reinterpret_cast<const word *>(&side_states[ctx_index(p, d)]);
    return __builtin_expect(__atomic_load_n(state, order) == settled, 1);
}

/// Makes binding A, then passes one line to the log writer if there is one.
template <class... Arguments>
[[gnu::cold, gnu::noinline]] void log(serial_ctx &ctx, uint32_t kind, uint32_t line,
                                      const char *function, const char *format,
                                      Arguments... arguments)
{
    bind_services(ctx);
    if (ctx.log_write != nullptr)
        ctx.log_write(&ctx, log_level, kind, "", line, function, format, arguments...);
}

} // namespace vorl
