// tests/facts/messages.inc as data: what every message is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vorl::test {

struct message_fact {
    std::string_view name;
    std::uint32_t msg_id;
    std::uint32_t record_size;
    std::uint32_t frame_length; ///< 0: variable size
    std::string_view slots;     ///< as in messages.inc

    constexpr bool is_fixed_size() const { return frame_length != 0; }
    constexpr bool has_tables() const { return slots.find("table:") != slots.npos; }
    /// A number, and a vector of tables.
    constexpr bool is_batch() const
    {
        return slots.starts_with("uint32@0 vector<table:") && slots.find(' ') == slots.rfind(' ');
    }

    /// 0: srv6, 1: srv6_cfg, 2: srv6_sync.
    constexpr std::size_t package() const
    {
        return name.starts_with("srv6_cfg_") ? 1 : name.starts_with("srv6_sync_") ? 2 : 0;
    }
};

/// All of them, in registration order, package by package.
inline constexpr auto message_facts = std::to_array<message_fact>({
#define FACT(name, msg_id, record_size, frame_length, table_length, slots)                         \
    {#name, msg_id, record_size, frame_length, slots},
#include "tests/facts/messages.inc"
#undef FACT
});

} // namespace vorl::test
