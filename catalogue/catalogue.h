// The facts of all messages as data: names, identifiers, sizes, slots and functions, for programs
// that handle messages they do not know by name. Generated from the descriptions
// (idl/<package>/<package>_catalogue.cpp); not part of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vorl::catalogue {

enum class wire_type : std::uint8_t {
    uint8,
    uint16,
    uint32,
    uint64,
    array_uint8,
    array_uint32,
    array_table,
    vector_uint8,
    vector_table,
    table,
};

struct message_info;

inline constexpr const char *usual_malloc_text = "[ZELKO]:Malloc unpack data unsuccess, size(%u)";

struct slot_info {
    const char *name; ///< of the record member, "f6"
    wire_type type;
    const char *type_text;      ///< as the descriptions write it, "array<uint32, 4>"
    std::uint32_t count;        ///< N of an array, 0 otherwise
    std::size_t record_offset;  ///< of the member in the record; of the pointer in a vector
    std::size_t count_offset;   ///< of f<slot>_count in the record, vectors only
    std::uint32_t frame_offset; ///< of the field from the table's start in a frame; 0 in a
                                ///< variable-size message
    const message_info
        *element; ///< what a table, array of tables or vector of tables holds; null otherwise
    const char *malloc_text; ///< the log text when its memory cannot be had
    const char *doc;
};

/// The seven exported functions, with records as untyped addresses.
struct message_functions {
    std::uint32_t (*pack)(const void *in, void *buf, std::uint32_t *inout_len);
    std::uint32_t (*unpack)(const void *buf, std::int32_t len, void *out);
    void (*free_unpacked)(void *rec);
    std::uint32_t (*sendsingle)(std::uint32_t dest, const void *rec, std::uint32_t ignored,
                                std::uint64_t to);
    std::uint32_t (*sendbatch)(std::uint32_t dest, const void *recs, std::uint32_t count,
                               std::uint64_t to);
    std::uint32_t (*sendmsg)(std::uint32_t dest, const void *recs, std::uint32_t count);
    std::uint32_t (*sendtomsg)(std::uint32_t dest, const void *recs, std::uint32_t count,
                               std::uint64_t to);
};

struct message_info {
    const char *name;
    const char *package;
    std::uint32_t msg_id;
    std::size_t record_size;
    std::uint32_t table_length; ///< in a frame; 0 in a variable-size message
    std::uint32_t frame_length; ///< 0: variable size
    std::span<const slot_info> slots;
    message_functions functions;
    const char *doc;

    constexpr bool is_fixed_size() const { return frame_length != 0; }
};

struct package_info {
    const char *name;
    std::span<const message_info *const> messages; ///< in registration order
    std::uint32_t (*recv_init)();
    std::uint32_t (*send_init)();
    void (*send_resource_clean)();
};

extern const package_info srv6_package;
extern const package_info srv6_cfg_package;
extern const package_info srv6_sync_package;

inline const package_info *const packages[] = {&srv6_package, &srv6_cfg_package,
                                               &srv6_sync_package};

/// The message of that name or identifier; null if there is none.
const message_info *find_message(std::string_view name);
const message_info *find_message(std::uint32_t msg_id);

template <class Record, auto Pack, auto Unpack, auto Free, auto SendSingle, auto SendBatch,
          auto SendMsg, auto SendToMsg>
inline constexpr message_functions functions_of = {
    [](const void *in, void *buf, std::uint32_t *inout_len) {
        return Pack(static_cast<const Record *>(in), buf, inout_len);
    },
    Unpack,
    Free,
    [](std::uint32_t dest, const void *rec, std::uint32_t ignored, std::uint64_t to) {
        return SendSingle(dest, static_cast<const Record *>(rec), ignored, to);
    },
    [](std::uint32_t dest, const void *recs, std::uint32_t count, std::uint64_t to) {
        return SendBatch(dest, static_cast<const Record *>(recs), count, to);
    },
    [](std::uint32_t dest, const void *recs, std::uint32_t count) {
        return SendMsg(dest, static_cast<const Record *>(recs), count);
    },
    [](std::uint32_t dest, const void *recs, std::uint32_t count, std::uint64_t to) {
        return SendToMsg(dest, static_cast<const Record *>(recs), count, to);
    },
};

} // namespace vorl::catalogue
