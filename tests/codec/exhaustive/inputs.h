// What is tried: well-formed buffers, the words and entries in them, and the values that each of
// these is given, one at a time.
#pragma once

#include <string>
#include <vector>

#include "tests/codec/exhaustive/run.h"

namespace vorl::test::exhaustive {

/// What is varied.
enum class kind {
    length,        ///< of the buffer
    root_offset,   ///< 4 bytes
    soffset,       ///< 4
    offset_word,   ///< 4
    count,         ///< 4
    vtable_length, ///< 2
    table_length,  ///< 2
    entry,         ///< 2
};
inline constexpr kind all_kinds[] = {kind::length,       kind::root_offset, kind::soffset,
                                     kind::offset_word,  kind::count,       kind::vtable_length,
                                     kind::table_length, kind::entry};
const char *name_of(kind k);
/// Bytes of what is varied in the buffer; 0: none, the buffer is cut.
constexpr std::size_t width_of(kind k)
{
    return k == kind::length ? 0 : k >= kind::vtable_length ? 2 : 4;
}

/// A word, a length or an entry of a buffer.
struct place {
    kind what;
    std::uint32_t at;
    bool is_inner;  ///< of an element of many that is neither the first, the second nor the last
    std::string of; ///< "f1 of srv6_common_fwd_update"
};

/// A well-formed buffer of a message.
struct input {
    const subject *message;
    const char *form;
    order byte_order;
    bytes content;
    std::vector<place> places; ///< the first is the buffer's length
};

/// Of every message in one byte order:
///
///   full      packed, no scalar zero; vectors have two elements
///   sparse    packed, half the scalars zero: those of odd slots in the record and every second
///             element, those of even slots in the others
///   frame     of a fixed-size message: the full record's
///   counts    packed; of a message that holds an array of scalars, itself or below. Every value is
///             the count of the first such array, so that an offset that leads astray finds one
///   framed    of a message that leads elsewhere: packed, its tables as their frames
///
/// Where an element has kilobytes (srv6_cfg_query_dfx_rec), all but full have one.
std::vector<input> inputs(order o);

/// What a place is given, in ascending order. 2 bytes: everything. A length: everything up to the
/// whole. 4 bytes: everything from 0 to the buffer's length + 8, and from as much below 2^32 to
/// 2^32 - 1, which leads back; within 8 of every power of two. Inner places: within 8 of 0, of the
/// buffer's length and of every power of two.
std::vector<std::uint32_t> values(const input &in, const place &p);

} // namespace vorl::test::exhaustive
