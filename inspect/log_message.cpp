#include "inspect/log_message.h"

#include <algorithm>
#include <iterator>

#include "catalogue/catalogue.h"
#include "runtime/log.h"

namespace vorl::inspect {
namespace {

using std::to_string;

constexpr std::int64_t frame_root = 4;

/// Where __pack puts the root table.
std::int64_t packed_root(const message &m) { return 8 + 2 * std::int64_t{m.slots.size}; }
std::int64_t vtable_length(const message &m) { return 4 + 2 * std::int64_t{m.slots.size}; }

/// The messages that hold a table of `m` in a slot of their own.
std::vector<std::string> holders_of(const message &m)
{
    std::vector<std::string> names;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            const slot_list &slots = info.data.slots;
            if (std::any_of(slots.begin(), slots.end(),
                            [&m](const slot &s) { return s.nested == &m; }))
                names.emplace_back(name_of(info.data));
        }
    }
    return names;
}

std::string listed(const std::vector<std::string> &names)
{
    std::string all;
    for (std::size_t i = 0; i < names.size(); ++i)
        all += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    return all;
}

bool has_position(table_check check) { return check != table_check::vtable_length; }

/// Only the first four bytes of a message lead to a table at 4 or before: a word that leads to any
/// other table is behind byte 4 itself, and leads forwards.
bool is_root_by_position(const table_line &line)
{
    return has_position(line.check) && line.values[0].number <= frame_root;
}

bool is_of(const log_place *place, const char *suffix)
{
    return place != nullptr && std::string_view(place->function) == suffix;
}

which_table table_of_non_root(const message &m)
{
    const std::string name = name_of(m);
    if (!is_flat(m))
        return {false, "a nested table or an element, a table of " + name +
                           ". It is not the root table, which " + name + "_unpack checks"};
    const std::vector<std::string> holders = holders_of(m);
    if (holders.empty())
        return {true, "the root table of " + name + ", for no message holds a table of it"};
    return {false, "a table of " + name + ": the root table, or an element or a nested table of " +
                       listed(holders)};
}

/// The bytes that the message had, where the line tells.
std::optional<std::int64_t> received_of(const table_line &line)
{
    switch (line.check) {
    case table_check::position: return line.values[1].number;
    case table_check::vtable_position: return line.values[1].number + 4;
    case table_check::vtable_length: break;
    }
    return std::nullopt;
}

std::string root_fact(const table_line &line)
{
    const message &m = *line.of;
    const std::string packed = to_string(packed_root(m));
    if (!is_fixed_size(m))
        return std::string("The root table of ") + name_of(m) + " is at " + packed + ".";
    const std::int64_t length = catalogue::frame_length(m);
    std::string text = std::string("The root table of ") + name_of(m) + " is at 4 in a frame, of " +
                       to_string(length) + " bytes, and at " + packed + " in packed bytes.";
    const auto received = received_of(line);
    if (received && line.values[0].number == frame_root && *received < length)
        text += " This begins like a frame, and lacks " + to_string(length - *received) +
                " of its bytes at the end.";
    return text;
}

std::string length_fact(const table_line &line)
{
    const message &m = *line.of;
    const std::int64_t length = line.values[0].number;
    const std::int64_t own = vtable_length(m);
    const std::string has = std::string(name_of(m)) + " has " + to_string(m.slots.size) + " slots";
    if (length == own)
        return has + ", so the length is right, and the message lacks at least " +
               to_string(length - line.values[1].number) + " of its bytes at the end.";
    return has + ": this version writes a vtable of " + to_string(own) + " bytes.";
}

} // namespace

std::optional<table_check> table_check_of(const log_entry &entry)
{
    for (std::uint32_t i = 0; i < std::size(log_text::table); ++i) {
        if (std::string_view(entry.text) == log_text::table[i])
            return static_cast<table_check>(i);
    }
    return std::nullopt;
}

which_table table_of(const table_line &line)
{
    const std::string of = line.of == nullptr ? "" : std::string(" of ") + name_of(*line.of);
    if (is_of(line.place, "_unpack") && line.of != nullptr)
        return {true, "the root table" + of};
    if (is_of(line.place, "_unpack"))
        return {true, line.place->what};
    if (is_root_by_position(line))
        return {true, "the root table" + of + ", for no other can be at " + line.values[0].text};
    if (line.place == nullptr)
        return {false, "a table; without the function's name, the line does not tell which"};
    if (line.of == nullptr)
        return {false, line.place->what};
    return table_of_non_root(*line.of);
}

std::vector<std::string> facts_of(const table_line &line)
{
    if (line.of == nullptr)
        return {};
    if (!has_position(line.check))
        return {length_fact(line)};
    const message &m = *line.of;
    if (table_of(line).is_root)
        return {root_fact(line)};
    if (is_flat(m) && line.values[0].number == packed_root(m))
        return {line.values[0].text + " is where __pack puts the root table of " + name_of(m) +
                ", behind the vtable of its " + to_string(m.slots.size) + " slots."};
    return {};
}

std::optional<std::uint32_t> vector_slot(const message &m, const log_place &place,
                                         std::optional<std::uint32_t> logged)
{
    if (logged && *logged >= place.line) {
        const std::uint32_t index = *logged - place.line;
        if (index < m.slots.size && m.slots[index].is_vector())
            return index;
    }
    std::optional<std::uint32_t> only;
    for (std::uint32_t i = 0; i < m.slots.size; ++i) {
        if (!m.slots[i].is_vector())
            continue;
        if (only)
            return std::nullopt;
        only = i;
    }
    return only;
}

std::string vector_text(const message &m, std::uint32_t slot)
{
    return "f" + to_string(slot) + " of " + name_of(m) + ", a " +
           catalogue::type_text(m.slots[slot]);
}

std::string memory_fact(const message &m, std::uint32_t slot, const log_values &values)
{
    const vorl::slot &s = m.slots[slot];
    const std::int64_t size = s.nested == nullptr ? 1 : s.nested->record_size;
    const std::string each =
        "An element takes " + to_string(size) + (size == 1 ? " byte" : " bytes");
    if (values[0].number % size != 0)
        return each + ", of which " + values[0].text +
               " is no multiple: it is the lower 32 bits of a larger number.";
    return each + ": " + values[0].text + " are " + to_string(values[0].number / size) +
           (values[0].number == size ? " element." : " elements.");
}

} // namespace vorl::inspect
