// Where a message's bytes hold something that a reader acts on. The walk goes as far as the bytes
// let it, whatever they hold.
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/message_input.h"

namespace vorl::fuzz {

enum class site_kind : std::uint8_t {
    root,          ///< position of the root table
    soffset,       ///< the way back from a table to its vtable
    vtable_length, ///< 2 bytes, as are the next two
    table_length,
    entry,  ///< the way from a table to a field
    offset, ///< the way from this word to a body or a table
    count,  ///< of elements
    scalar,
};
inline constexpr unsigned site_kinds = 8;

struct site {
    std::size_t at;
    std::size_t width;
    site_kind kind;
    std::uint64_t base;       ///< what an offset counts from
    std::size_t element_size; ///< of a count
};

/// In the order of the walk; the root's word alone where nothing else can be found.
std::vector<site> find_sites(const message &m, std::span<const std::uint8_t> content, order o);

} // namespace vorl::fuzz
