#include "inspect/refusals.h"

#include <array>
#include <cstdio>
#include <limits>
#include <utility>
#include <vector>

#include "catalogue/catalogue.h"
#include "inspect/hex.h"
#include "runtime/log.h"
#include "serial/layout.h"

namespace vorl::inspect {
namespace {

constexpr std::uint64_t most_bytes = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t most_memory = std::numeric_limits<std::uint32_t>::max();

template <class... Arguments>
std::string filled(const char *text, Arguments... arguments)
{
    std::array<char, 256> line{};
    // The texts are the library's own, and take two arguments at the most.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(line.data(), line.size(), text, arguments...);
#pragma GCC diagnostic pop
    return line.data();
}

const char *reader_of(table_role role, const message &m)
{
    return name_of(
        role == table_role::root ? function_name::unpack : function_name::unpack_non_root, m);
}

std::string and_hex(std::uint64_t position)
{
    return offset_text(position) + " (" + std::to_string(position) + ")";
}

std::string range(std::uint64_t least, std::uint64_t most)
{
    return ", which is not from " + std::to_string(least) + " to " + std::to_string(most);
}

/// "1e 00 00 00", as they stand in a message.
std::string bytes_of(std::uint32_t word)
{
    std::array<std::uint8_t, word_size> bytes{};
    store<byte_order::native>(bytes.data(), word);
    return to_hex(bytes.data(), bytes.size(), " ");
}

/// Where one of the two writers would have put the vtable of the table at `table`, if one of that
/// length is there. Empty: none is.
std::string vtable_hint(received from, const message &m, std::uint32_t table)
{
    const std::int64_t length = vtable_length(m);
    std::vector<std::int64_t> soffsets = {length}; // packed: right before the table
    if (is_fixed_size(m))
        soffsets.push_back(std::int64_t{frame_table_at} - frame_layout_of(m).vtable_at);
    for (const std::int64_t soffset : soffsets) {
        const std::int64_t at = std::int64_t{table} - soffset;
        if (at >= word_size && at <= std::int64_t{from.len} - word_size &&
            load<byte_order::native, std::uint16_t>(from.bytes + at) == length)
            return "a vtable of its length is at " + offset_text(static_cast<std::uint64_t>(at)) +
                   ": the four bytes should be " + bytes_of(static_cast<std::uint32_t>(soffset)) +
                   " (" + std::to_string(soffset) + ")";
    }
    return "";
}

std::uint32_t reversed(std::uint32_t value) { return __builtin_bswap32(value); }

} // namespace

damage refused_length(const message &m, std::uint64_t length)
{
    damage d{.at = 0,
             .size = 0,
             .leads_to = 0,
             .member = "",
             .label = "",
             .rule = "length",
             .actual = length,
             .least = word_size,
             .most = most_bytes,
             .what = std::to_string(length) +
                     (length < word_size ? " bytes, where a message has at least 4"
                                         : " bytes, where a message has at most 2147483647"),
             .measured = "length",
             .hint = "",
             .leaves_the_record = true,
             .log = {}};
    // A length is passed as an int32_t; one that does not fit is no call at all.
    if (length < word_size)
        d.log = {
            log_line::unpack_arguments, name_of(function_name::unpack, m),
            filled(log_text::unpack_arguments, "nonNull", static_cast<int>(length), "nonNull")};
    return d;
}

damage refused_table(received from, table_check check, table_role role, const message &m,
                     refused_numbers numbers, std::string path)
{
    const auto index = static_cast<std::uint32_t>(check);
    damage d{};
    d.member = std::move(path);
    d.leaves_the_record = role == table_role::root;
    d.log = {(role == table_role::root ? log_line::root_table : log_line::table) + index,
             reader_of(role, m), filled(log_text::table[index], numbers.a, numbers.b)};
    const std::uint32_t last = from.len - word_size;
    const std::string name = name_of(m);
    switch (check) {
    case table_check::position:
        d.rule = "table position";
        d.measured = "position of the table";
        d.at = numbers.word_at;
        d.size = word_size;
        d.leads_to = d.actual = numbers.table;
        d.least = word_size;
        d.most = last;
        d.what = "the table of " + name + " would be at " + and_hex(d.actual) + range(4, last);
        if (const std::uint32_t other = reversed(numbers.table);
            d.at == 0 && other >= word_size && other <= last)
            d.hint = "with its bytes reversed the root offset is " + std::to_string(other) +
                     ": the sender may have the other byte order";
        break;
    case table_check::vtable_position:
        d.rule = "vtable position";
        d.measured = "position of the vtable";
        d.at = numbers.table;
        d.size = word_size;
        d.leads_to = d.actual =
            numbers.table - load<byte_order::native, std::uint32_t>(from.bytes + numbers.table);
        d.least = word_size;
        d.most = last;
        d.what = "the vtable of " + name + " would be at " + and_hex(d.actual) + range(4, last);
        d.hint = vtable_hint(from, m, numbers.table);
        break;
    case table_check::vtable_length:
        d.rule = "vtable length";
        d.measured = "length of the vtable";
        d.at = from.len - numbers.b;
        d.size = entry_size;
        d.leads_to = d.at;
        d.actual = numbers.a;
        d.least = 0;
        d.most = numbers.b;
        d.what = "the vtable of " + name + " would be " + std::to_string(numbers.a) +
                 " bytes long where " + std::to_string(numbers.b) + " are left";
        break;
    }
    return d;
}

damage refused_position(std::uint32_t at, std::uint64_t position, std::string path)
{
    const std::uint64_t offset = position - at;
    return {.at = at,
            .size = word_size,
            .leads_to = position,
            .member = std::move(path),
            .label = "",
            .rule = "element position",
            .actual = position,
            .least = word_size,
            .most = most_memory,
            .what = "the offset " + std::to_string(offset) + " leads past 32 bits",
            .measured = "position",
            .hint = "",
            .log = {}};
}

damage refused_memory(received from, table_role role, const reading_step &step, std::string path)
{
    const slot &s = step.of->slots[step.slot];
    damage d{};
    d.rule = "memory";
    d.measured = "bytes of memory";
    d.member = std::move(path);
    d.at = step.at - word_size; // the count, before its elements
    d.size = word_size;
    d.leads_to = step.at;
    d.actual = step.to;
    d.most = most_memory;
    const std::string elements =
        std::to_string(load<byte_order::native, std::uint32_t>(from.bytes + d.at)) + " elements";
    d.what = step.to > most_memory
                 ? "the records of " + elements + " need more memory than 32 bits can say"
                 : "there is no memory for " + elements + ", which take " +
                       std::to_string(step.to) + " bytes";
    d.log = {(role == table_role::root ? log_line::root_allocation : log_line::allocation) +
                 step.slot,
             reader_of(role, *step.of),
             filled(s.malloc_text != nullptr ? s.malloc_text : log_text::no_memory,
                    static_cast<std::uint32_t>(step.to))};
    return d;
}

damage refused_slot(received from, const checked_table &table, table_role role,
                    const reading_step &step, std::string path)
{
    if (step.check == field_check::memory)
        return refused_memory(from, role, step, std::move(path));
    const slot &s = step.of->slots[step.slot];
    const std::string end = offset_text(from.len);
    damage d{};
    d.member = std::move(path);
    d.at = step.at;
    d.size = word_size;
    d.leads_to = step.to;
    d.most = from.len;
    const auto word = [&] { return load<byte_order::native, std::uint32_t>(from.bytes + step.at); };
    switch (step.check) {
    case field_check::field:
        d.rule = "field";
        d.measured = "end of the field";
        d.at = table.vtable + entry_at(step.slot);
        d.size = entry_size;
        d.actual = step.to + field_size(s);
        d.what = catalogue::type_text(s) + " of " + std::to_string(field_size(s)) + " bytes at " +
                 offset_text(step.to) + " passes the end of the message, " + end;
        break;
    case field_check::body:
        d.rule = "body";
        d.measured = "end of its count";
        d.actual = step.to + word_size;
        d.what = "the offset leads to " + offset_text(step.to) +
                 ", where no count fits before the end of the message, " + end;
        break;
    case field_check::elements:
        d.rule = "elements";
        d.measured = "end of the elements";
        d.actual = step.to + std::uint64_t{word()} * element_size(s);
        d.what =
            std::to_string(word()) + " elements of " + std::to_string(element_size(s)) +
            " bytes pass the end of the message, " + end +
            (s.is_vector() || word() == s.count ? ""
                                                : "; there must be " + std::to_string(s.count));
        break;
    case field_check::count:
        d.rule = "count";
        d.measured = "count";
        d.leads_to = d.at;
        d.actual = word();
        d.least = d.most = s.count;
        d.what =
            "the count is " + std::to_string(d.actual) + " and must be " + std::to_string(s.count);
        break;
    case field_check::position:
    case field_check::memory: break; // have functions of their own
    }
    return d;
}

} // namespace vorl::inspect
