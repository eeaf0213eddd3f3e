#include "platform/os/ledger.h"
#include "platform/os/services.h"

[[gnu::visibility("default")]] void ZDT_OsalMemFree(void *block, uint32_t id, const char *tag)
{
    vorl::platform::return_block(block, id, tag);
}
