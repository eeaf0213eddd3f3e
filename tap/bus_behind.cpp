#include "tap/bus_behind.h"

#include <dlfcn.h>
#include <errno.h>

#include "tap/process_ring.h"

namespace vorl::tap {

void *find_behind(const char *name)
{
    const int error = errno;
    void *found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        // A library that was opened for itself alone brought the bus, so it is not among the program's.
        void *const bus = dlopen("libkavrovorl.so", RTLD_LAZY | RTLD_NOLOAD);
        found = bus == nullptr ? nullptr : dlsym(bus, name);
    }
    static std::atomic<bool> was_said{false};
    if (found == nullptr && !was_said.exchange(true, std::memory_order_relaxed))
        report("there is no bus behind the tap, so this fails: ", name,
               "; load libkavrovorl.so, or do not preload libvorl_tap.so");
    errno = error;
    return found;
}

} // namespace vorl::tap
