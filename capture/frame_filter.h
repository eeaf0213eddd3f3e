// Which frames are wanted.
#pragma once

#include <set>
#include <vector>

#include "capture/field_filter.h"
#include "capture/frame.h"
#include "inspect/damage.h"

namespace vorl::capture {

/// What a receiver makes of a frame, by its bytes.
struct verdict {
    enum class kind : std::uint8_t {
        accepted,
        refused,
        cut,     ///< not all of its bytes are there
        unknown, ///< nobody knows its message
    };
    kind is = kind::unknown;
    const message *of = nullptr;
    std::optional<inspect::damage> why; ///< it is refused
};

verdict judge(const frame &f);

/// "accepted", "refused", "cut", "unknown".
const char *name_of(verdict::kind k);

/// Each that is not set lets all pass.
struct frame_filter {
    std::set<std::uint32_t> messages;
    std::set<std::uint32_t> destinations;
    std::set<std::uint32_t> processes;
    std::set<std::uint32_t> results;
    std::optional<direction> way;
    std::optional<verdict::kind> outcome;
    std::uint64_t since = 0;
    std::uint64_t until = ~std::uint64_t{0};
    std::vector<field_filter> fields; ///< all of them

    bool wants(const frame &f, const verdict &judged) const;
};

} // namespace vorl::capture
