#include "layout.h"

#include <algorithm>

#include "words.h"

namespace idlc {
namespace {

constexpr std::uint64_t largest_u16 = 0xFFFF;
constexpr std::uint64_t largest_int32 = 0x7FFFFFFF;

// What a compiler takes of the generated sources: clang folds 256 operands.
constexpr std::size_t most_slots = 256;

constexpr std::uint64_t round_up(std::uint64_t value, std::uint64_t to)
{
    return (value + to - 1) / to * to;
}

struct extent {
    std::uint64_t size;
    std::uint64_t alignment;
};

extent member_of(const slot &s)
{
    switch (s.type) {
    case wire_type::uint8: return {1, 1};
    case wire_type::uint16: return {2, 2};
    case wire_type::uint32: return {4, 4};
    case wire_type::uint64: return {8, 8};
    case wire_type::array_uint8: return {s.count, 1};
    case wire_type::array_uint32: return {4 * s.count, 4};
    case wire_type::array_table:
        return {s.count * s.refers_to->record_size, s.refers_to->record_alignment};
    case wire_type::table: return {s.refers_to->record_size, s.refers_to->record_alignment};
    case wire_type::vector_uint8:
    case wire_type::vector_table: break;
    }
    return {8, 8}; // the pointer
}

// Bytes that a slot takes in a frame; out-of-line bodies lie in line there.
std::uint64_t frame_bytes_of(const slot &s)
{
    switch (s.type) {
    case wire_type::array_uint8: return 8 + s.count;
    case wire_type::array_uint32: return 8 + 4 * s.count;
    case wire_type::array_table:
        return 8 + s.count * (4 + std::uint64_t{s.refers_to->frame_length});
    case wire_type::table: return s.refers_to->frame_length;
    default: return member_of(s).size;
    }
}

class layout {
  public:
    layout(const package &p, message &m, faults &to) : package_(p), m_(m), faults_(to) {}

    bool run() { return check_elements() && place_in_record() && place_in_frame(); }

  private:
    bool refuse(position at, std::size_t length, const std::string &text)
    {
        faults_.add(package_.file, at, length, text);
        return false;
    }

    bool check_elements()
    {
        bool is_right = true;
        for (const slot &s : m_.slots) {
            m_.fixed_size =
                m_.fixed_size && !is_vector(s.type) && (!s.refers_to || s.refers_to->fixed_size);
            if (s.refers_to && s.type != wire_type::table && !s.refers_to->fixed_size)
                is_right = refuse(s.message_at, s.message_length,
                                  "elements are of fixed size, and " + quoted(s.message_name) +
                                      " holds a vector; use 'table " + s.message_name +
                                      "', or an element without a vector");
        }
        return is_right;
    }

    // Members in slot order, each at its natural alignment.
    bool place_in_record()
    {
        std::uint64_t record = 0;
        for (slot &s : m_.slots) {
            if (is_vector(s.type)) {
                s.count_offset = static_cast<std::uint32_t>(round_up(record, 4));
                record = round_up(record, 4) + 4;
                m_.record_alignment = std::max<std::uint32_t>(m_.record_alignment, 4);
            }
            const extent member = member_of(s);
            record = round_up(record, member.alignment);
            s.record_offset = static_cast<std::uint32_t>(record);
            record += member.size;
            m_.record_alignment =
                std::max(m_.record_alignment, static_cast<std::uint32_t>(member.alignment));
            if (record > largest_int32)
                return refuse(s.at, width_of(s),
                              "the record of " + quoted(m_.name) +
                                  " passes 2^31 bytes here; make the array smaller");
        }
        m_.record_size = static_cast<std::uint32_t>(round_up(record, m_.record_alignment));
        return true;
    }

    // Offsets in a vtable are 16 bits wide. Packed, a field takes 8 bytes at most; in a frame,
    // bodies lie between fields.
    bool place_in_frame()
    {
        const std::uint64_t vtable_length = 4 + 2 * std::uint64_t{m_.slots.size()};
        std::uint64_t table = 4;
        for (slot &s : m_.slots) {
            if (table > largest_u16)
                return refuse(s.at, width_of(s),
                              "slot '" + s.name + "' of " + quoted(m_.name) +
                                  " would lie at offset " + std::to_string(table) +
                                  ", past the 16 bits of a vtable entry; move it up, or split the "
                                  "message");
            s.frame_offset = m_.fixed_size ? static_cast<std::uint32_t>(table) : 0;
            table += m_.fixed_size ? frame_bytes_of(s) : 8;
        }
        if (m_.fixed_size && table > largest_u16)
            return refuse(m_.slots.back().at, width_of(m_.slots.back()),
                          "the table of " + quoted(m_.name) + " would be " + std::to_string(table) +
                              " bytes long, past the 16 bits of a table length; split the message");
        if (m_.slots.size() > most_slots)
            return refuse(m_.slots[most_slots].at, width_of(m_.slots[most_slots]),
                          quoted(m_.name) + " has more than " + std::to_string(most_slots) +
                              " slots; nest some of them in a table, or split the message");
        if (m_.fixed_size) {
            m_.table_length = static_cast<std::uint32_t>(table);
            m_.frame_length =
                static_cast<std::uint32_t>(round_up(round_up(4 + table, 4) + vtable_length, 8));
        }
        return true;
    }

    /// Of what stands there, type and name.
    static std::size_t width_of(const slot &s)
    {
        return s.name_at.line == s.at.line ? s.name_at.column - s.at.column + s.name_length : 1;
    }

    const package &package_;
    message &m_;
    faults &faults_;
};

} // namespace

void lay_out(const package &p, message &m, faults &to) { m.is_faulty = !layout(p, m, to).run(); }

} // namespace idlc
