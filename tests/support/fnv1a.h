// The hash that identifiers and digests are made with, apart from the library's own.
#pragma once

#include <cstdint>
#include <string_view>

namespace vorl::test {

/// FNV-1a, 32 bit.
constexpr std::uint32_t fnv1a(std::string_view text)
{
    std::uint32_t hash = 0x811C9DC5;
    for (const char c : text)
        hash = (hash ^ static_cast<std::uint8_t>(c)) * 0x01000193;
    return hash;
}

} // namespace vorl::test
