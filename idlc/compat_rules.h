// The rules, for those who report by them: places in all_rules().
#pragma once

#include "compat.h"

namespace idlc {

enum class rule_id : std::uint8_t {
    message_added,
    message_removed,
    message_renamed,
    message_moved,
    package_added,
    package_removed,
    registration_order,
    slot_appended,
    slot_inserted,
    slot_removed,
    slot_type_changed,
    slots_exchanged,
    slot_moved,
    slot_unit_changed,
    slot_values_changed,
    slot_relabelled,
    record_grown,
    record_changed,
    record_owns_memory,
    frame_changed,
    log_text_changed,
};

inline const rule &rule_of(rule_id id) { return all_rules()[static_cast<std::size_t>(id)]; }

} // namespace idlc
