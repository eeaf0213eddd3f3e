// How many messages there are, of each kind that a test asks for, by messages.inc.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "tests/facts/message_facts.h"

namespace vorl::test::counts {

struct package {
    std::string_view name;
    std::size_t messages;
};

template <class Predicate>
constexpr std::size_t messages_where(Predicate holds)
{
    return static_cast<std::size_t>(std::ranges::count_if(message_facts, holds));
}
constexpr std::size_t in_package(std::size_t index)
{
    return messages_where([index](const message_fact &f) { return f.package() == index; });
}

inline constexpr std::array<package, 3> packages = {{
    {"srv6", in_package(0)},
    {"srv6_cfg", in_package(1)},
    {"srv6_sync", in_package(2)},
}};
static_assert(in_package(0) >= 70 && in_package(1) >= 13 && in_package(2) >= 32);

/// Messages of fixed size, and those of them that hold a table.
inline constexpr std::size_t fixed_size = messages_where(&message_fact::is_fixed_size);
inline constexpr std::size_t fixed_size_with_tables =
    messages_where([](const message_fact &f) { return f.is_fixed_size() && f.has_tables(); });

/// Messages of variable size that are no batch, which is a uint32 and a vector of tables.
inline constexpr std::size_t variable_size_but_no_batch =
    messages_where([](const message_fact &f) { return !f.is_fixed_size() && !f.is_batch(); });

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
