#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <nlohmann/json.hpp>

#include "tools/vorl/hex.h"
#include "tools/vorl/json_record.h"

namespace vorl::json {
namespace {

using catalogue::wire_type;
using tree = nlohmann::ordered_json;

/// What a slot holds in a record: integers, bytes or records.
struct content {
    const std::uint8_t *data;
    std::size_t count;
};

content content_of(const slot_info &slot, const std::uint8_t *record)
{
    switch (slot.type) {
    case wire_type::vector_uint8:
    case wire_type::vector_table: {
        const std::uint8_t *data = nullptr;
        std::memcpy(&data, record + slot.record_offset, sizeof data);
        return {data, data == nullptr ? 0 : load_integer(record + slot.count_offset, 4)};
    }
    case wire_type::array_uint8:
    case wire_type::array_uint32:
    case wire_type::array_table: return {record + slot.record_offset, slot.count};
    default: return {record + slot.record_offset, 1};
    }
}

bool is_zero(const std::uint8_t *bytes, std::size_t count)
{
    return std::all_of(bytes, bytes + count, [](std::uint8_t byte) { return byte == 0; });
}

std::size_t without_trailing_zeros(const std::uint8_t *elements, std::size_t count,
                                   std::size_t size)
{
    while (count > 0 && is_zero(elements + (count - 1) * size, size))
        --count;
    return count;
}

void write_members(tree &object, const message_info &type, const std::uint8_t *record,
                   zeros zero_members);

tree write_table(const message_info &type, const std::uint8_t *record, zeros zero_members)
{
    tree object = tree::object();
    write_members(object, type, record, zero_members);
    return object;
}

tree write_slot(const slot_info &slot, const std::uint8_t *record, zeros zero_members)
{
    const auto [data, all] = content_of(slot, record);
    switch (slot.type) {
    case wire_type::array_uint32: {
        if (all == 4) {
            std::array<char, INET6_ADDRSTRLEN> text{};
            inet_ntop(AF_INET6, data, text.data(), text.size());
            return text.data();
        }
        tree words = tree::array();
        for (std::size_t i = 0; i < all; ++i)
            words.push_back(load_integer(data + 4 * i, 4));
        return words;
    }
    case wire_type::array_uint8: return to_hex(data, without_trailing_zeros(data, all, 1));
    case wire_type::vector_uint8: return to_hex(data, all);
    case wire_type::table: return write_table(*slot.element, data, zero_members);
    case wire_type::array_table:
    case wire_type::vector_table: {
        const std::size_t size = slot.element->record_size;
        const std::size_t count =
            slot.type == wire_type::array_table ? without_trailing_zeros(data, all, size) : all;
        tree elements = tree::array();
        for (std::size_t i = 0; i < count; ++i)
            elements.push_back(write_table(*slot.element, data + i * size, zero_members));
        return elements;
    }
    default: return load_integer(data, integer_width(slot.type));
    }
}

bool is_zero_slot(const slot_info &slot, const std::uint8_t *record)
{
    const auto [data, count] = content_of(slot, record);
    if (slot.type == wire_type::vector_uint8 || slot.type == wire_type::vector_table)
        return count == 0;
    // A nested record that owns nothing and counts nothing is zero in every byte.
    return is_zero(data, count * (slot.element != nullptr ? slot.element->record_size
                                                          : integer_width(slot.type)));
}

void write_members(tree &object, const message_info &type, const std::uint8_t *record,
                   zeros zero_members)
{
    for (const slot_info &slot : type.slots) {
        if (zero_members == zeros::write || !is_zero_slot(slot, record))
            object[slot.name] = write_slot(slot, record, zero_members);
    }
}

} // namespace

std::uint64_t load_integer(const std::uint8_t *from, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= std::uint64_t{from[i]} << (8 * i);
    return value;
}

std::size_t integer_width(wire_type type)
{
    switch (type) {
    case wire_type::uint8:
    case wire_type::array_uint8:
    case wire_type::vector_uint8: return 1;
    case wire_type::uint16: return 2;
    case wire_type::uint32:
    case wire_type::array_uint32: return 4;
    case wire_type::uint64: return 8;
    default: return 0;
    }
}

std::string format_record(const message_info &type, const void *record, zeros zero_members)
{
    tree object = tree::object();
    object["message"] = type.name;
    write_members(object, type, static_cast<const std::uint8_t *>(record), zero_members);
    return object.dump();
}

std::string first_difference(const message_info &type, const void *a, const void *b)
{
    for (const slot_info &slot : type.slots) {
        const content left = content_of(slot, static_cast<const std::uint8_t *>(a));
        const content right = content_of(slot, static_cast<const std::uint8_t *>(b));
        if (left.count != right.count)
            return std::string(slot.name) + "_count";
        if (slot.element == nullptr) {
            const std::size_t size = left.count * integer_width(slot.type);
            if (size != 0 && std::memcmp(left.data, right.data, size) != 0)
                return slot.name;
            continue;
        }
        const std::size_t size = slot.element->record_size;
        for (std::size_t i = 0; i < left.count; ++i) {
            const std::string inner =
                first_difference(*slot.element, left.data + i * size, right.data + i * size);
            if (!inner.empty())
                return slot.type == wire_type::table
                           ? std::string(slot.name) + "." + inner
                           : std::string(slot.name) + "[" + std::to_string(i) + "]." + inner;
        }
    }
    return {};
}

} // namespace vorl::json
