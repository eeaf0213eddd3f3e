#include "platform/os/ledger.h"
#include "platform/os/services.h"

[[gnu::visibility("default")]] void *ZDT_OsalMemCacheAlloc(uint32_t size, uint32_t id,
                                                           const char *tag)
{
    return vorl::platform::take_block(vorl::platform::allocator::cache, size, id, tag);
}
