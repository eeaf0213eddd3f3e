// Two versions of the descriptions, and what their difference means to peers that are deployed with
// the old one. The rules stand in docs/idl.md.
#pragma once

#include <string>
#include <vector>

#include "model.h"

namespace idlc {

/// What differs.
enum class aspect : std::uint8_t {
    wire,       ///< what a reader makes of a message's bytes
    record,     ///< the C record that programs are compiled with
    frame,      ///< the bytes of a frame
    identifier, ///< msg_id, the hash of the name
    order,      ///< of registration
};

struct difference {
    std::string file; ///< the description, old or new, in which `at` is
    position at;
    aspect what;
    bool breaks; ///< a peer that is deployed with the old descriptions
    std::string text;
};

/// All differences, in the order of the old descriptions, then additions. Both have passed check().
std::vector<difference> compare(const std::vector<package> &before,
                                const std::vector<package> &after);

/// file:line:column: breaks|keeps: aspect: text
std::string report(const difference &d);

} // namespace idlc
