// Two versions of the descriptions, and what their difference means: to peers of which one has the
// old version and one the new, and to programs that were compiled with the old one. The rules are
// explained in docs/evolution.md.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "model.h"

namespace idlc {

/// Whom a change breaks.
enum class level : std::uint8_t {
    none, ///< nobody
    api,  ///< programs that were compiled with the old headers
    wire, ///< peers of which one has the old version, and one the new
};

/// A kind of change.
struct rule {
    const char *name;
    level breaks;
    const char *remedy; ///< what to do; empty: nothing
};
std::span<const rule> all_rules();

struct difference {
    const rule *of;
    std::string file; ///< the description, old or new, in which `at` is
    position at;
    bool is_in_old;
    std::string message;
    std::string slot; ///< empty: the change is of the message
    std::string text;
    std::string old_peer; ///< what one with the old version sees of one with the new
    std::string new_peer; ///< the other way round
};

/// All differences, in the order of the old descriptions, then additions. Both have passed check().
std::vector<difference> compare(const std::vector<package> &before,
                                const std::vector<package> &after);

/// What a labels file says of a slot.
struct slot_label {
    std::string name;
    std::string unit;
    std::map<std::uint64_t, std::string> values; ///< names of values, or of flags
};
using labels = std::function<std::optional<slot_label>(const message &m, std::size_t slot)>;

/// What changed in the meaning of slots, of messages that both versions have.
std::vector<difference> compare_labels(const std::vector<package> &before,
                                       const std::vector<package> &after, const labels &was,
                                       const labels &is);

/// What a reader that has the slot as `mine` makes of one that was sent as `theirs`, which is of
/// another type.
std::string reading_of(const slot &mine, const slot &theirs);

} // namespace idlc
