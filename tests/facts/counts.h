// How many messages there are, stated once and by hand, like what each of them is in messages.inc.
// Whatever a test expects the number of follows from these.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace vorl::test::counts {

struct package {
    std::string_view name;
    std::size_t messages;
};
inline constexpr std::array<package, 3> packages = {{
    {"srv6", 70},
    {"srv6_cfg", 13},
    {"srv6_sync", 32},
}};

/// Messages of fixed size, and those of them that hold a table.
inline constexpr std::size_t fixed_size = 78;
inline constexpr std::size_t fixed_size_with_tables = 5;

/// Messages of variable size that are no batch, which is a uint32 and a vector of tables.
inline constexpr std::size_t variable_size_but_no_batch = 6;

// What follows.

inline constexpr std::size_t messages =
    packages[0].messages + packages[1].messages + packages[2].messages;
inline constexpr std::size_t variable_size = messages - fixed_size;
inline constexpr std::size_t batches = variable_size - variable_size_but_no_batch;

/// Messages with a slot that leads to a table or to a vector, and those without.
inline constexpr std::size_t leading_elsewhere = variable_size + fixed_size_with_tables;
inline constexpr std::size_t flat = messages - leading_elsewhere;

/// Exported functions: seven a message, three a package.
inline constexpr std::size_t message_functions = 7 * messages;
inline constexpr std::size_t exports = message_functions + 3 * packages.size();

} // namespace vorl::test::counts
