// The five services as the library calls them.
#pragma once

#include <stdint.h>

/// What the log writer reads of the caller's block.
struct vorl_log_source {
    const char *module_name;
    const char *submodule_name;
};

extern "C" {

void ZDT_OsalLogWrite(const vorl_log_source *source, uint32_t level, uint32_t kind,
                      const char *empty, uint32_t line, const char *function, const char *format,
                      ...);
void *ZDT_OsalMemAlloc(uint32_t size, uint32_t id, const char *tag);
void *ZDT_OsalMemCacheAlloc(uint32_t size, uint32_t id, const char *tag);
void ZDT_OsalMemFree(void *block, uint32_t id, const char *tag);
uint32_t ZDT_OsalMemUseFlagGet(uint32_t id);

} // extern "C"
