// What an identifier is, as it travels in a capture: the message's name, its slots, and their labels.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "capture/packet.h"
#include "catalogue/catalogue.h"
#include "inspect/labels.h"

namespace vorl::capture {

struct described_slot {
    slot_shape shape = slot_shape::scalar;
    std::uint8_t width = 0;
    std::uint32_t count = 0;
    std::uint32_t nested = 0; ///< identifier of the message of its tables
    std::string name;         ///< of the record's member: "f6"
    inspect::label label;
};

struct description {
    std::uint32_t identifier = 0;
    std::string name;
    std::vector<described_slot> slots;
};

/// With the labels that there are of its slots; null: none.
description describe(const catalogue::message_info &info, const inspect::labels *names);

/// The whole packet, tags and header included. Labels are left out where it would be longer than a packet may
/// be; without them it never is, whether the catalogue has the message or to_description.
bytes to_packet(const description &d);

/// Throws capture_error, also where the packet is longer than a capture's may be.
description to_description(const packet &p);

} // namespace vorl::capture
