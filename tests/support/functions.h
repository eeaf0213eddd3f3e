// The seven functions of every message, and the three of every package, as the test program has them: linked in, or in the library
// that it is linked with.
#pragma once

#include <dlfcn.h>

#include <unordered_map>

#include "catalogue/functions.h"

namespace vorl::test {

/// Looks up all messages' at the first call, and nothing later.
inline const catalogue::message_functions &functions_of(const message &m)
{
    static const auto all = [] {
        std::unordered_map<std::uint32_t, catalogue::message_functions> found;
        for (const catalogue::package_info *package : catalogue::packages) {
            for (const catalogue::message_info &info : package->messages)
                found.emplace(info.data.msg_id, catalogue::functions_of(info.data, RTLD_DEFAULT));
        }
        return found;
    }();
    return all.at(m.msg_id);
}

inline catalogue::package_functions functions_of(const catalogue::package_info &p)
{
    return catalogue::functions_of(p, RTLD_DEFAULT);
}

} // namespace vorl::test
