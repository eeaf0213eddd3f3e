#include "platform/os/services.h"
#include "platform/support.h"

[[gnu::visibility("default")]] uint32_t ZDT_OsalMemUseFlagGet(uint32_t)
{
    return static_cast<uint32_t>(vorl::platform::number_from_environment("VORL_OS_USE_FLAG", 1));
}
