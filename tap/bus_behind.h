// The bus's own functions, which the tap stands before.
#pragma once

#include <atomic>

namespace vorl::tap {

/// The next function of that name behind the tap; null: there is no bus. Leaves errno alone.
void *find_behind(const char *name);

/// The same, found once. It may be loaded after the tap, so it is not looked for before it is called.
template <class Function>
Function bus_behind(std::atomic<Function> &known, const char *name)
{
    Function found = known.load(std::memory_order_relaxed);
    if (found == nullptr) [[unlikely]] {
        found = reinterpret_cast<Function>(find_behind(name));
        known.store(found, std::memory_order_relaxed);
    }
    return found;
}

} // namespace vorl::tap
