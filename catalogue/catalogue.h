// All messages by name, with the comments of their descriptions, for programs that handle messages
// they do not know by name. serial/slot.h says what a message is. The data is the same that the
// library is built of (idl/<package>/<package>_messages.h); only the texts are added here
// (idl/<package>/<package>_catalogue.cpp, generated). Nothing of the library is linked; a message's
// functions are looked up in a library at run time (catalogue/functions.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "serial/slot.h"

namespace vorl {

/// The message's own name.
constexpr const char *name_of(const message &m) { return name_of(function_name::none, m); }

} // namespace vorl

namespace vorl::catalogue {

struct slot_text {
    const char *name; ///< of the record member, "f6"
    const char *doc;
};

struct message_info {
    const message &data;
    const char *doc;
    std::span<const slot_text> slots; ///< in the order of data.slots
};

struct package_info {
    const char *name;
    std::span<const message_info> messages; ///< in registration order
};

extern const package_info srv6_package;
extern const package_info srv6_cfg_package;
extern const package_info srv6_sync_package;

/// In the order of the enumerators of vorl::package.
inline const package_info *const packages[] = {&srv6_package, &srv6_cfg_package,
                                               &srv6_sync_package};

/// The message of that name or identifier; null if there is none.
const message_info *find_message(std::string_view name);
const message_info *find_message(std::uint32_t msg_id);

inline const package_info &package_of(const message &m)
{
    return *packages[static_cast<std::size_t>(m.owner)];
}

/// Has find_message and info_of know a message that is in no package, of a capture that describes it. It
/// stays for ever. `info` is of an identifier that find_message does not know.
void adopt(const message_info &info);

/// The catalogue's entry of a message. Throws std::logic_error when it has none.
const message_info &info_of(const message &m);

/// The slot whose member has that name; info.slots.size(): there is none.
std::size_t find_slot(const message_info &info, std::string_view name);
/// "f0 to f12", of a message with one slot "f0 alone".
std::string slot_range(const message_info &info);

/// A slot's wire type as the descriptions write it: "array<uint32, 4>".
std::string type_text(const slot &s);

/// Bytes of the message's frames; 0: they vary, and the frame is the packed record.
std::uint32_t frame_length(const message &m);
/// Bytes of the table in such a frame; 0 where frames vary.
std::uint32_t frame_table_length(const message &m);
/// Offset of a slot's field from the table's start in such a frame; 0 where frames vary.
std::uint32_t frame_offset(const message &m, std::size_t slot);

} // namespace vorl::catalogue
