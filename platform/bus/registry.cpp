#include "platform/bus/registry.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

#include "platform/bus/process.h"
#include "platform/bus/receiver.h"

namespace vorl::bus {
namespace {

struct registrations {
    std::map<uint32_t, message_type> types;
    std::vector<resource_clean_hook> cleaners;
};

// Guarded by the process lock. Never destroyed, for the cleaners are called at exit.
registrations &registered()
{
    static auto *const instance = new registrations;
    return *instance;
}

void clean_all()
{
    std::vector<resource_clean_hook> cleaners;
    {
        const std::lock_guard lock(process_lock());
        cleaners.swap(registered().cleaners);
    }
    for (const resource_clean_hook clean : cleaners)
        clean();
}

} // namespace

bool find_type(uint32_t msg_id, message_type &type)
{
    const std::lock_guard lock(process_lock());
    const auto found = registered().types.find(msg_id);
    if (found == registered().types.end())
        return false;
    type = found->second;
    return true;
}

} // namespace vorl::bus

#pragma GCC visibility push(default)

uint32_t VORL_RegIDLFuncHook(uint32_t msg_id, vorl::unpack_hook unpack, vorl::free_hook release)
{
    using namespace vorl::bus;
    if (unpack == nullptr || release == nullptr)
        return VORL_DEV_REFUSED;
    const std::lock_guard lock(process_lock());
    const auto [at, is_new] = registered().types.try_emplace(msg_id, message_type{unpack, release});
    const bool is_same = at->second.unpack == unpack && at->second.release == release;
    return is_same ? VORL_DEV_OK : VORL_DEV_REFUSED;
}

uint32_t VORL_RegIDLResorceCleanFuncHook(vorl::resource_clean_hook clean)
{
    using namespace vorl::bus;
    if (clean == nullptr)
        return VORL_DEV_REFUSED;
    static const int at_exit = std::atexit(clean_all);
    if (at_exit != 0)
        return VORL_DEV_REFUSED;
    const std::lock_guard lock(process_lock());
    auto &cleaners = registered().cleaners;
    if (std::find(cleaners.begin(), cleaners.end(), clean) == cleaners.end())
        cleaners.push_back(clean);
    return VORL_DEV_OK;
}

#pragma GCC visibility pop
