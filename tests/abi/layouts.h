// The layout of every message as lines of text, so that a change to one is a change to a committed
// file (tests/abi/layouts.txt), which names the message and the member.
//
//   srv6_bsid_fwd_key id 0x12345678 record 4 frame 24 digest 0x12345678
//     f0 uint32 record 0 frame 4
//
// The digest is the 32-bit FNV-1a hash of the lines of the slots, as they stand, ends of line
// included: equal digests, equal layouts. Frame 0: variable size, sent packed.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "tests/support/fnv1a.h"

namespace vorl::test {

struct layout {
    std::string name;
    std::string head;               ///< the message's line
    std::vector<std::string> slots; ///< a line each
};

inline std::string hexadecimal(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

inline std::uint32_t digest_of(const std::vector<std::string> &slots)
{
    std::string all;
    for (const std::string &line : slots)
        all += line + "\n";
    return fnv1a(all);
}

inline layout layout_of(const catalogue::message_info &info)
{
    const message &m = info.data;
    layout l;
    l.name = name_of(m);
    for (std::size_t i = 0; i < m.slots.size; ++i) {
        const slot &s = m.slots[i];
        l.slots.push_back(std::string("  ") + info.slots[i].name + " " + catalogue::type_text(s) +
                          " record " + std::to_string(s.record_at) +
                          (s.is_vector() ? " count " + std::to_string(s.count_at) : "") +
                          " frame " + std::to_string(catalogue::frame_offset(m, i)));
    }
    l.head = l.name + " id " + hexadecimal(m.msg_id) + " record " + std::to_string(m.record_size) +
             " frame " + std::to_string(catalogue::frame_length(m)) + " digest " +
             hexadecimal(digest_of(l.slots));
    return l;
}

/// Of all packages, in registration order.
inline std::vector<layout> all_layouts()
{
    std::vector<layout> all;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            all.push_back(layout_of(info));
    }
    return all;
}

} // namespace vorl::test
