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

/// One slot of a message. Members that a shape does not name are zero.
struct slot {
    slot_shape shape;
    uint8_t width = 0;     ///< bytes of a scalar, or of one value of an array or a byte vector
    uint32_t count = 0;    ///< N of an array
    uint32_t record_at;    ///< offset of the member in the record; of the pointer in a vector
    uint32_t count_at = 0; ///< of a vector: offset of its count in the record
    const message *nested = nullptr; ///< M
    const char *malloc_text =
        nullptr; ///< of a vector whose log text is not the usual one: that text

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

/// The functions of a message whose names the log and the allocators are told.
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
    const char *names;    ///< all of function_name, one behind the other (names_of below)
    uint32_t name_length; ///< of the message's own name
    uint32_t msg_id;
    package owner;
    uint32_t record_size; ///< bytes
    slot_list slots;
};

/// What a function's name adds to the message's.
inline constexpr const char *name_suffixes[] = {
    "", "_unpack", "_unpack_non_root", "_pack", "_free_unpacked", "__sendsingle", "__sendbatch"};

/// Where each name begins behind the texts of the names before it, their message's own name not
/// counted.
struct name_starts {
    uint32_t of[sizeof name_suffixes / sizeof *name_suffixes + 1];
};
inline constexpr name_starts suffixes_before = [] {
    name_starts result{};
    size_t i = 0;
    for (const char *suffix : name_suffixes) {
        uint32_t length = 0;
        while (suffix[length] != 0)
            ++length;
        result.of[i + 1] = result.of[i] + length + 1;
        ++i;
    }
    return result;
}();

/// Where a name begins among those of a message whose own name has `name_length` characters.
constexpr uint32_t name_at(size_t function, uint32_t name_length)
{
    return static_cast<uint32_t>(function) * name_length + suffixes_before.of[function];
}

/// The name of a message's function, as the log and the allocators know it.
constexpr const char *name_of(function_name function, const message &m)
{
    return m.names + name_at(static_cast<size_t>(function), m.name_length);
}

/// A text that a template can take.
template <size_t Size>
struct literal {
    char text[Size];
    consteval literal(const char (&from)[Size])
    {
        for (size_t i = 0; i < Size; ++i)
            text[i] = from[i];
    }
};

/// The names of a message's functions, each with its terminating zero: what message::names holds.
template <literal Name>
struct names_of {
    static constexpr uint32_t length = sizeof Name.text - 1;
    static constexpr size_t count = sizeof name_suffixes / sizeof *name_suffixes;
    struct texts {
        char text[name_at(count, length)];
    };
    static constexpr texts joined = [] {
        texts result{};
        size_t at = 0;
        for (const char *suffix : name_suffixes) {
            for (uint32_t i = 0; i < length; ++i)
                result.text[at++] = Name.text[i];
            for (; *suffix != 0; ++suffix)
                result.text[at++] = *suffix;
            ++at;
        }
        return result;
    }();
    static constexpr const char *text = joined.text;
};

/// Scalars and their arrays only: the record and its bytes are one table.
constexpr bool is_flat(const message &m)
{
    for (const slot &s : m.slots) {
        if (s.shape != slot_shape::scalar && s.shape != slot_shape::array)
            return false;
    }
    return true;
}

/// No vector anywhere: a record owns no memory, and all its frames have one length.
constexpr bool is_fixed_size(const message &m)
{
    for (const slot &s : m.slots) {
        if (s.is_vector() || (s.nested != nullptr && !is_fixed_size(*s.nested)))
            return false;
    }
    return true;
}

} // namespace vorl
