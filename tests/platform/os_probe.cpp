// Uses the library a little and prints what came of it and which services it used. Started by the
// test with the services that the process is to have.

#include <cstdint>
#include <cstdio>
#include <vector>

#include <dlfcn.h>

#include "platform/os/dev_os.h"
#include "srv6.h"

int main()
{
    srv6_sidnhp_fwd elements[2] = {{11, 12, 13, 14}, {21, 22, 23, 24}};
    const srv6_sidnhp_fwd_update updates[2] = {{1, 2, elements}, {2, 2, elements}};
    std::vector<std::uint8_t> frame(4096);
    auto length = static_cast<std::uint32_t>(frame.size());
    if (srv6_sidnhp_fwd_update__pack(&updates[0], frame.data(), &length) != 0)
        return 1;

    // One block of the cache allocator, and none after the release.
    srv6_sidnhp_fwd_update came;
    srv6_sidnhp_fwd_update__unpack(frame.data(), static_cast<std::int32_t>(length), &came);
    const bool is_whole =
        came.f1 != nullptr && came.f1_count == 2 && came.f1[0].f0 == 11 && came.f1[1].f3 == 24;
    std::printf("unpack %s\n", is_whole ? "whole" : came.f1 == nullptr ? "empty" : "wrong");
    srv6_sidnhp_fwd_update_free__unpacked(&came);

    // A line in the log.
    srv6_sidnhp_fwd_update__unpack(nullptr, 0, &came);

    // Two blocks of the main allocator. Nobody receives.
    const std::uint32_t one = srv6_sidnhp_fwd_update__sendmsg(7, &updates[0], 1);
    const std::uint32_t two = srv6_sidnhp_fwd_update__sendmsg(7, updates, 2);
    std::printf("send %u %u\n", one, two);

    using counters_fn = void (*)(vorl_dev_os_counters *);
    const auto ask = reinterpret_cast<counters_fn>(dlsym(RTLD_DEFAULT, "VORL_DevOsCounters"));
    vorl_dev_os_counters counters = {};
    if (ask != nullptr)
        ask(&counters);
    std::printf("main %llu cache %llu releases %llu violations %llu\n",
                static_cast<unsigned long long>(counters.main_allocations),
                static_cast<unsigned long long>(counters.cache_allocations),
                static_cast<unsigned long long>(counters.releases),
                static_cast<unsigned long long>(counters.violations));
}
