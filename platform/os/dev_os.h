/*
 * The development OS layer: the five ZDT_ services that the library finds by name in its process,
 * each in a shared object of its own, because a service that is to be absent must be missing as a
 * symbol. Link them or name them in LD_PRELOAD.
 *
 *   libvorl_dev_log.so        ZDT_OsalLogWrite       "module/submodule function:line text"
 *   libvorl_dev_alloc.so      ZDT_OsalMemAlloc       the main allocator
 *   libvorl_dev_cache.so      ZDT_OsalMemCacheAlloc  the cache allocator
 *   libvorl_dev_free.so       ZDT_OsalMemFree        releases the blocks of both
 *   libvorl_dev_use_flag.so   ZDT_OsalMemUseFlagGet
 *   libvorl_dev_os.so         all five
 *
 * The allocators share a ledger (libvorl_dev_ledger.so, loaded with them), which this header asks.
 * Every block must come back once, with the identifier that it was taken with, which is 12 for a
 * cache block. A main block comes back with its tag; a cache block taken as "<message>_unpack" or
 * "<message>_unpack_non_root" comes back as "<message>_free_unpacked". Each breach is a line on
 * standard error and counted. At exit, blocks that this process took and that did not come back are
 * listed on standard error by tag.
 *
 * Environment:
 *   VORL_LOG_FILE          where log lines are appended; standard error when it is not set
 *   VORL_OS_ABORT=1        abort() at the first breach
 *   VORL_OS_USE_FLAG=n     what ZDT_OsalMemUseFlagGet returns, 1 when it is not set
 *   VORL_OS_FAIL_ALLOC=n   the n-th allocation, counted over both allocators, returns null
 *
 * Threads: any.
 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorl_dev_os_counters {
    uint64_t main_allocations;  /* blocks given by ZDT_OsalMemAlloc */
    uint64_t cache_allocations; /* blocks given by ZDT_OsalMemCacheAlloc */
    uint64_t failures;          /* allocations that returned null */
    uint64_t releases;          /* blocks that came back */
    uint64_t live_blocks;       /* blocks that did not, so far */
    uint64_t live_bytes;
    uint64_t violations;
} vorl_dev_os_counters;

void VORL_DevOsCounters(vorl_dev_os_counters *counters);

#ifdef __cplusplus
}
#endif
