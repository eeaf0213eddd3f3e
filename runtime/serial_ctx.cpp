#include "runtime/serial_ctx.h"

#include <dlfcn.h>
#include <stdlib.h>

namespace vorl {
namespace {

void *heap_allocate(uint32_t size, uint32_t, const char *) { return malloc(size); }
void heap_release(void *block, uint32_t, const char *) { free(block); }

constexpr serial_ctx unbound = {
    .module_name = "ZELKO",
    .submodule_name = "ZELKO_VANTREL_SERIAL",
    .mem_module_id = 0x6200,
    .service_lock = PTHREAD_MUTEX_INITIALIZER,
    .cache_lock = PTHREAD_MUTEX_INITIALIZER,
    .cache_alloc = heap_allocate,
    .cache_free = heap_release,
};

// A null handle searches the global scope, which is what the process has loaded. Nothing is opened.
template <class Function>
Function find(const char *symbol)
{
    return reinterpret_cast<Function>(dlsym(nullptr, symbol));
}

// With half a pair, memory of one allocator would be released to another.
void pair_or_heap(allocate_fn &allocate, release_fn &release)
{
    if (allocate == nullptr || release == nullptr) {
        allocate = heap_allocate;
        release = heap_release;
    }
}

} // namespace

constinit serial_ctx serial_ctxs[serial_ctx_count] = {unbound, unbound, unbound,
                                                      unbound, unbound, unbound};
constinit side_state side_states[serial_ctx_count] = {};

void bind_services_once(serial_ctx &ctx)
{
    pthread_mutex_lock(&ctx.service_lock);
    if (ctx.services_bound == 0) {
        if (ctx.log_write == nullptr)
            ctx.log_write = find<log_write_fn>("ZDT_OsalLogWrite");
        ctx.mem_alloc = find<allocate_fn>("ZDT_OsalMemAlloc");
        ctx.mem_free = find<release_fn>("ZDT_OsalMemFree");
        pair_or_heap(ctx.mem_alloc, ctx.mem_free);
        __atomic_store_n(&ctx.services_bound, 1, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&ctx.service_lock);
}

void bind_cache_once(serial_ctx &ctx)
{
    pthread_mutex_lock(&ctx.cache_lock);
    if (ctx.cache_bound == 0) {
        side_state &state = side_states[&ctx - serial_ctxs];
        __atomic_store_n(&state.byte_swap_flag, 0, __ATOMIC_RELAXED);
        const auto use_flag = find<uint32_t (*)(uint32_t)>("ZDT_OsalMemUseFlagGet");
        if (use_flag != nullptr && use_flag(cache_id) == 1) {
            ctx.cache_alloc = find<allocate_fn>("ZDT_OsalMemCacheAlloc");
            ctx.cache_free = find<release_fn>("ZDT_OsalMemFree");
        }
        pair_or_heap(ctx.cache_alloc, ctx.cache_free);
        __atomic_store_n(&ctx.cache_bound, 1, __ATOMIC_RELEASE);
        __atomic_store_n(&state.cache_bound, 1, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&ctx.cache_lock);
}

} // namespace vorl

// Run at load time, before any call; the order among them does not matter. The stores are atomic
// because a compiler may drop a plain store of the value that a word already holds.
#define CLEAR_AT_LOAD(side, index)                                                                 \
    [[gnu::constructor]] static void clear_byte_swap_flag_##side()                                 \
    {                                                                                              \
        __atomic_store_n(&vorl::side_states[index].byte_swap_flag, 0, __ATOMIC_RELAXED);           \
    }

CLEAR_AT_LOAD(srv6_receive, 0)
CLEAR_AT_LOAD(srv6_send, 1)
CLEAR_AT_LOAD(srv6_cfg_receive, 2)
CLEAR_AT_LOAD(srv6_cfg_send, 3)
CLEAR_AT_LOAD(srv6_sync_receive, 4)
CLEAR_AT_LOAD(srv6_sync_send, 5)
