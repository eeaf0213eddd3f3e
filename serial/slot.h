// What a message is, as data. A description compiler writes one `message` for each message of a
// package (idl/<package>/<package>_messages.h); the codecs, the exported functions and the tools
// all work from it, and none of them knows a message by name.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace vorl {

/// The packages, in the order of their blocks (runtime/serial_ctx.h).
enum class package : uint8_t { srv6, srv6_cfg, srv6_sync };

/// What a slot holds.
///
///   SHAPE         IN A DESCRIPTION       IN THE RECORD               IN THE TABLE
///   scalar        uint8 ... uint64       the value                   the value
///   array         array<uint32, N>       N values                    offset word, to count and values
///   table         table M                the record of M             offset word, to a table
///   table_array   array<table M, N>      N records of M              offset word, to count and tables
///   byte_vector   vector<uint8>          count, pointer to bytes     offset word, to count and bytes
///   table_vector  vector<table M>        count, pointer to records   offset word, to count and tables
enum class slot_shape : uint8_t { scalar, array, table, table_array, byte_vector, table_vector };

struct message;

/// One slot of a message. Members that its shape does not use are zero.
struct slot {
    slot_shape shape;
    uint8_t width = 0;     ///< bytes of a scalar, or of one value of an array or a byte vector
    uint32_t count = 0;    ///< N of an array
    uint32_t record_at;    ///< offset of the member in the record; of a vector, of its pointer
    uint32_t count_at = 0; ///< of a vector: offset of its count in the record
    const message *nested = nullptr;   ///< M
    const char *malloc_text = nullptr; ///< a vector's own log text for a failed allocation, or null

    constexpr bool is_vector() const
    {
        return shape == slot_shape::byte_vector || shape == slot_shape::table_vector;
    }
};

/// The slots of a message, in the order of its vtable.
struct slot_list {
    const slot *first;
    uint32_t size;

    template <size_t Size>
    constexpr slot_list(const slot (&slots)[Size]) : first(slots), size(Size)
    {}
    constexpr const slot *begin() const { return first; }
    constexpr const slot *end() const { return first + size; }
    constexpr const slot &operator[](size_t index) const { return first[index]; }
};

/// The functions of a message whose names are passed to the log and the allocators.
enum class function_name : uint8_t {
    none, ///< the message's own name
    unpack,
    unpack_non_root,
    pack,
    free_unpacked,
    sendsingle,
    sendbatch,
};

struct message {
    const char *names;    ///< the name for each function_name, one after another (VORL_NAMES)
    uint32_t name_length; ///< of the message's own name
    uint32_t msg_id;
    package owner;
    uint32_t record_size; ///< bytes
    slot_list slots;
};

/// message::names for a message whose own name is the literal `m`: each name, ended by a zero.
#define VORL_NAMES(m)                                                                              \
    m "\0" m "_unpack\0" m "_unpack_non_root\0" m "_pack\0" m "_free_unpacked\0" m                 \
      "__sendsingle\0" m "__sendbatch"

/// Bytes of the suffixes and zeros that precede each name in message::names. The message's own
/// name, which each preceding name begins with, is not counted.
inline constexpr uint32_t suffixes_before[] = {0, 1, 9, 26, 32, 47, 60};

/// The name of a message's function, as the log and the allocators know it.
constexpr const char *name_of(function_name function, const message &m)
{
    const auto index = static_cast<uint32_t>(function);
    return m.names + index * m.name_length + suffixes_before[index];
}

/// True when all slots are scalars or arrays of values, so that the message is a single table.
constexpr bool is_flat(const message &m)
{
    for (const slot &s : m.slots) {
        if (s.shape != slot_shape::scalar && s.shape != slot_shape::array)
            return false;
    }
    return true;
}

/// No vector at any depth: a record owns no memory, and all frames have one length.
constexpr bool is_fixed_size(const message &m)
{
    for (const slot &s : m.slots) {
        if (s.is_vector() || (s.nested != nullptr && !is_fixed_size(*s.nested)))
            return false;
    }
    return true;
}

} // namespace vorl
