#include "tools/vorl/explain.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <ostream>
#include <vector>

#include "serial/wire.h"
#include "tools/vorl/bytes_text.h"
#include "tools/vorl/hex.h"
#include "tools/vorl/json_record.h"

namespace vorl {
namespace {

using catalogue::message_info;
using catalogue::slot_info;
using catalogue::wire_type;

// The hex column, and how many bytes of a body are shown.
constexpr std::size_t bytes_a_line = 8;
constexpr std::size_t bytes_shown = 64;
constexpr std::uint32_t largest_message = std::numeric_limits<std::int32_t>::max();

std::string at_text(std::uint64_t offset)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%04llx", static_cast<unsigned long long>(offset));
    return text.data();
}

std::string in_parentheses(std::uint64_t value) { return "(" + std::to_string(value) + ")"; }

class walker {
  public:
    walker(std::span<const std::uint8_t> bytes, std::ostream *out)
        : bytes_(bytes), len_(static_cast<std::uint32_t>(bytes.size())), out_(out),
          visited_(out == nullptr ? 0 : bytes.size())
    {}

    void walk(const message_info &type)
    {
        const std::uint32_t root = word(0);
        show(0, word_size, "root offset: the table is at " + at_text(root));
        walk_table(type, root, "");
        show_unvisited();
    }

  private:
    struct table {
        std::uint32_t at;
        std::uint32_t vtable;
        std::uint32_t vtable_length;
    };

    [[noreturn]] static void refuse(std::uint32_t at, const std::string &member,
                                    const std::string &what)
    {
        throw refusal{at, member, what};
    }

    std::uint64_t integer(std::uint32_t at, std::size_t width) const
    {
        return json::load_integer(bytes_.data() + at, width);
    }
    std::uint32_t word(std::uint32_t at) const
    {
        return static_cast<std::uint32_t>(integer(at, word_size));
    }

    /// One line, and more lines for more bytes. The bytes are inside.
    void show(std::uint32_t at, std::size_t count, const std::string &meaning)
    {
        if (out_ == nullptr)
            return;
        std::fill_n(visited_.begin() + at, count, true);
        std::size_t shown = 0;
        do {
            const std::size_t part = std::min(count - shown, bytes_a_line);
            const std::string hex = to_hex(bytes_.data() + at + shown, part, " ");
            *out_ << "  " << at_text(at + shown) << "  " << hex;
            if (shown == 0)
                *out_ << std::string(3 * bytes_a_line - hex.size(), ' ') << meaning;
            *out_ << '\n';
            shown += part;
        } while (shown < count && shown < bytes_shown);
        if (shown < count)
            *out_ << "          ... " << count - shown << " more bytes\n";
    }

    static std::string prefixed(const std::string &path)
    {
        return path.empty() ? path : path + ".";
    }

    table find_table(const message_info &type, std::uint32_t at, const std::string &path)
    {
        const std::uint32_t last = len_ - word_size;
        if (at < word_size || at > last)
            refuse(at, path,
                   "the table of " + std::string(type.name) + " would be at " + at_text(at) + " " +
                       in_parentheses(at) + ", which is not from 4 to " + std::to_string(last));
        const std::uint32_t soffset = word(at);
        const std::uint32_t vtable = at - soffset;
        show(at, word_size,
             (path.empty() ? "table of " : path + ": table of ") + type.name + ", soffset " +
                 std::to_string(static_cast<std::int32_t>(soffset)) + ": the vtable is at " +
                 at_text(vtable));
        if (vtable < word_size || vtable > last)
            refuse(at, path,
                   "the vtable of " + std::string(type.name) + " would be at " + at_text(vtable) +
                       " " + in_parentheses(vtable) + ", which is not from 4 to " +
                       std::to_string(last));
        const auto length = static_cast<std::uint32_t>(integer(vtable, entry_size));
        if (length > len_ - vtable)
            refuse(vtable, path,
                   "the vtable of " + std::string(type.name) + " would be " +
                       std::to_string(length) + " bytes long where " +
                       std::to_string(len_ - vtable) + " are left");
        show_vtable(type, {at, vtable, length}, path);
        return {at, vtable, length};
    }

    void show_vtable(const message_info &type, const table &found, const std::string &path)
    {
        if (out_ == nullptr)
            return;
        const std::uint32_t entries =
            found.vtable_length < 2 * entry_size ? 0 : found.vtable_length / entry_size - 2;
        show(found.vtable, entry_size,
             "vtable length " + std::to_string(found.vtable_length) + ": " +
                 std::to_string(entries) + " entries");
        show(found.vtable + entry_size, entry_size,
             "table length " + std::to_string(integer(found.vtable + entry_size, entry_size)) +
                 " (not checked by readers)");
        for (std::uint32_t i = 0; i < entries; ++i) {
            const std::uint32_t at = found.vtable + (2 + i) * entry_size;
            const auto entry = static_cast<std::uint32_t>(integer(at, entry_size));
            const std::string name =
                i < type.slots.size()
                    ? prefixed(path) + type.slots[i].name
                    : "slot " + std::to_string(i) + ", which " + type.name + " does not have";
            show(at, entry_size,
                 name + (entry == 0 ? " is absent: zero"
                                    : " is at " + at_text(std::uint64_t{found.at} + entry)));
        }
    }

    void walk_table(const message_info &type, std::uint32_t at, const std::string &path)
    {
        const table found = find_table(type, at, path);
        for (std::uint32_t i = 0; i < type.slots.size(); ++i) {
            if (found.vtable_length < vtable_length(i + 1))
                return;
            const auto entry = static_cast<std::uint32_t>(
                integer(found.vtable + (2 + i) * entry_size, entry_size));
            if (entry != 0)
                walk_slot(type.slots[i], found.at, entry, prefixed(path) + type.slots[i].name);
        }
    }

    void walk_slot(const slot_info &slot, std::uint32_t table_at, std::uint32_t entry,
                   const std::string &path)
    {
        const bool is_scalar =
            slot.element == nullptr && slot.count == 0 && slot.type != wire_type::vector_uint8;
        const std::size_t width = is_scalar ? json::integer_width(slot.type) : word_size;
        // Below 2^31 and 2^16: no wrap.
        const std::uint32_t at = table_at + entry;
        if (entry + width > len_ - table_at)
            refuse(at, path,
                   std::string(slot.type_text) + " of " + std::to_string(width) +
                       " bytes passes the end of the message, " + at_text(len_));
        if (is_scalar) {
            const std::uint64_t value = integer(at, width);
            show(at, width, path + " " + slot.type_text + " = " + std::to_string(value));
            return;
        }

        const std::uint32_t offset = word(at);
        show(at, word_size,
             path + " " + slot.type_text + ", offset " + std::to_string(offset) + ": it is at " +
                 at_text(std::uint64_t{at} + offset));
        if (slot.type == wire_type::table) {
            walk_table(*slot.element, follow(at, offset, path), path);
            return;
        }
        if (offset > len_ - at || word_size > len_ - at - offset)
            refuse(at, path,
                   "the offset leads to " + at_text(std::uint64_t{at} + offset) +
                       ", where no count fits before the end of the message, " + at_text(len_));
        walk_body(slot, at + offset, path);
    }

    std::uint32_t follow(std::uint32_t at, std::uint32_t offset, const std::string &path) const
    {
        if (at + offset < at)
            refuse(at, path, "the offset " + std::to_string(offset) + " leads past 32 bits");
        return at + offset;
    }

    /// `body` is where a count lies.
    void walk_body(const slot_info &slot, std::uint32_t body, const std::string &path)
    {
        const std::uint32_t count = word(body);
        const std::uint32_t elements = body + word_size;
        const std::size_t width =
            slot.element != nullptr ? std::size_t{word_size} : json::integer_width(slot.type);
        show(body, word_size, path + ": count " + std::to_string(count));
        if (slot.count != 0 && count != slot.count)
            refuse(body, path,
                   "the count is " + std::to_string(count) + " and must be " +
                       std::to_string(slot.count));
        if (count >= count_limit || count * width > len_ - elements)
            refuse(body, path,
                   std::to_string(count) + " elements of " + std::to_string(width) +
                       " bytes pass the end of the message, " + at_text(len_));
        if (slot.element != nullptr) {
            if (std::uint64_t{count} * slot.element->record_size >
                std::numeric_limits<std::uint32_t>::max())
                refuse(body, path,
                       "the records of " + std::to_string(count) +
                           " elements need more memory than 32 bits can say");
            walk_elements(slot, elements, count, path);
        } else if (count != 0) {
            show(elements, count * width, path + " = " + body_text(slot, elements, count));
        }
    }

    void walk_elements(const slot_info &slot, std::uint32_t words, std::uint32_t count,
                       const std::string &path)
    {
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::string element = path + "[" + std::to_string(i) + "]";
            const std::uint32_t at = words + i * word_size;
            const std::uint32_t offset = word(at);
            show(at, word_size,
                 element + ", offset " + std::to_string(offset) + ": it is at " +
                     at_text(std::uint64_t{at} + offset));
            walk_table(*slot.element, follow(at, offset, element), element);
        }
    }

    std::string body_text(const slot_info &slot, std::uint32_t at, std::uint32_t count) const
    {
        if (slot.type != wire_type::array_uint32)
            return std::to_string(count) + " bytes";
        if (count == 4) {
            std::array<char, INET6_ADDRSTRLEN> text{};
            inet_ntop(AF_INET6, bytes_.data() + at, text.data(), text.size());
            return text.data();
        }
        std::string text;
        for (std::uint32_t i = 0; i < count; ++i)
            text += (i == 0 ? "" : " ") + std::to_string(word(at + i * word_size));
        return text;
    }

    void show_unvisited()
    {
        if (out_ == nullptr)
            return;
        const auto end = visited_.end();
        for (auto from = std::find(visited_.begin(), end, false); from != end;) {
            const auto to = std::find(from, end, true);
            const auto at = static_cast<std::uint32_t>(from - visited_.begin());
            const auto count = static_cast<std::size_t>(to - from);
            const bool is_padding = std::all_of(
                bytes_.begin() + at, bytes_.begin() + at + static_cast<std::ptrdiff_t>(count),
                [](std::uint8_t byte) { return byte == 0; });
            show(at, count, is_padding ? "padding" : "nothing leads to these bytes");
            from = std::find(to, end, false);
        }
    }

    std::span<const std::uint8_t> bytes_;
    std::uint32_t len_;
    std::ostream *out_;
    std::vector<bool> visited_; ///< a byte each; empty when nothing is written
};

} // namespace

std::string to_text(const refusal &why)
{
    return "offset " + at_text(why.at) + (why.member.empty() ? "" : ", " + why.member) + ": " +
           why.what;
}

std::optional<refusal> explain(const catalogue::message_info &type,
                               std::span<const std::uint8_t> bytes, std::ostream *out)
{
    if (out != nullptr)
        *out << type.name << ", " << bytes.size() << " bytes\n";
    try {
        if (bytes.size() < word_size)
            throw refusal{0, "",
                          std::to_string(bytes.size()) + " bytes, where a message has at least 4"};
        if (bytes.size() > largest_message)
            throw refusal{0, "", "longer than 2^31 - 1 bytes"};
        walker(bytes, out).walk(type);
        return std::nullopt;
    } catch (const refusal &why) {
        if (out != nullptr)
            *out << "  refused at " << to_text(why) << '\n';
        return why;
    }
}

} // namespace vorl
