// What a description says, after parsing and before anything is emitted.
//
// A description is one package; its messages stand in registration order and their slots in vtable
// order. The model owns its texts. `slot::refers_to` points into the package that holds it and is set
// by check().
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace idlc {

struct position {
    std::uint32_t line = 1;
    std::uint32_t column = 1;
};

enum class wire_type : std::uint8_t {
    uint8,
    uint16,
    uint32,
    uint64,
    array_uint8,  ///< array<uint8, N>
    array_uint32, ///< array<uint32, N>
    array_table,  ///< array<table M, N>
    vector_uint8, ///< vector<uint8>
    vector_table, ///< vector<table M>
    table,        ///< table M
};

struct message;

struct slot {
    position at; ///< of the wire type
    wire_type type = wire_type::uint8;
    std::uint64_t count = 0; ///< N of an array, 0 otherwise
    position count_at;
    std::size_t count_length = 1;
    std::string message_name; ///< M of a table, an array of tables or a vector of tables
    position message_at;
    std::size_t message_length = 1;
    std::string name; ///< f<slot number>; empty: it is missing
    position name_at;
    std::size_t name_length = 1;
    std::string
        malloc_text; ///< log text of a failed allocation where it differs from the usual one
    std::string doc;
    bool is_faulty = false; ///< something is wrong with it, and is reported

    message *refers_to = nullptr; ///< set by check()
    // Set by lay_out().
    std::uint32_t record_offset = 0; ///< of the member; of the pointer in a vector
    std::uint32_t count_offset = 0;  ///< of f<slot>_count in a vector
    std::uint32_t frame_offset =
        0; ///< from the table's start in the frame; 0 in a variable-size message
};

struct message {
    position at;      ///< of the name
    std::string name; ///< empty: it is missing, which is reported
    std::string doc;
    std::vector<slot> slots;
    bool is_faulty = false; ///< something in it, or in what it holds, is wrong and is reported

    std::uint32_t msg_id = 0; ///< set by check()
    // Set by lay_out().
    bool fixed_size = true;
    std::uint32_t record_size = 0;
    std::uint32_t record_alignment = 1;
    std::uint32_t table_length = 0; ///< in the frame; 0 in a variable-size message
    std::uint32_t frame_length = 0; ///< 0 in a variable-size message
};

struct package {
    std::string file; ///< as named on the command line
    std::string name; ///< empty: it is missing, which is reported
    position name_at;
    std::vector<message> messages;
    std::vector<message *> by_dependency; ///< set by check(): a message after all it refers to
};

/// The wire type of a slot as the language writes it: `array<uint32, 4>`.
std::string spelling(const slot &s);
/// An identifier as people read it: `0xAEF44FB0`.
std::string hexadecimal(std::uint32_t id);

inline bool is_array(wire_type t)
{
    return t == wire_type::array_uint8 || t == wire_type::array_uint32 ||
           t == wire_type::array_table;
}
inline bool is_vector(wire_type t)
{
    return t == wire_type::vector_uint8 || t == wire_type::vector_table;
}

} // namespace idlc
