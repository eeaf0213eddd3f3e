#include "capture/field_filter.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "inspect/hex.h"
#include "inspect/integers.h"
#include "inspect/printable.h"

namespace vorl::capture {
namespace {

std::optional<std::uint64_t> number_of(std::string_view text)
{
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hex ? 2 : 0);
    std::uint64_t number = 0;
    const auto [stop, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, is_hex ? 16 : 10);
    return error == std::errc() && stop == text.data() + text.size() && !text.empty()
               ? std::optional(number)
               : std::nullopt;
}

std::optional<std::vector<std::uint8_t>> hex_of(std::string_view text)
{
    std::vector<std::uint8_t> bytes;
    if (text.size() % 2 != 0)
        return std::nullopt;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = hex_value(text[i]), low = hex_value(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return bytes;
}

bool is_address(const slot &s)
{
    return inspect::kind_of(s) == inspect::four_words_kind ||
           inspect::kind_of(s) == inspect::address_bytes_kind;
}

/// A number of `width` bytes, the most significant first, so that a prefix is of its first bits.
std::vector<std::uint8_t> number_bytes(std::uint64_t number, std::size_t width)
{
    std::vector<std::uint8_t> bytes(width);
    store_integer(bytes.data(), number, width);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

[[noreturn]] void refuse(const std::string &value, const std::string &wanted)
{
    throw filter_error('"' + printable(value) + "\" is " + wanted);
}

/// The value as compare has it, of a slot with that label.
std::vector<std::uint8_t> value_of(const slot &s, const inspect::label *as, const std::string &text)
{
    if (as != nullptr && as->shown_as != inspect::form::none && !inspect::is_list(*as, s)) {
        try {
            std::vector<std::uint8_t> bytes(s.width * std::max<std::size_t>(s.count, 1));
            inspect::read_text(*as, s, text, bytes.data());
            if (s.shape == slot_shape::scalar)
                std::reverse(bytes.begin(), bytes.end());
            return bytes;
        } catch (const inspect::form_error &) {
            // As without a label, then.
        }
    }
    if (is_address(s)) {
        std::vector<std::uint8_t> bytes(16);
        if (inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1)
            refuse(text, "no IPv6 address; give one, such as 2001:db8::1, or 2001:db8::/32");
        return bytes;
    }
    if (s.shape == slot_shape::scalar || (s.shape == slot_shape::array && s.width != 1)) {
        const auto number = number_of(text);
        if (!number || *number > largest_integer(s.width))
            refuse(text, "no number from 0 to " + std::to_string(largest_integer(s.width)) +
                             "; give one, decimal or as 0x and hex digits");
        return number_bytes(*number, s.width);
    }
    const auto bytes = hex_of(text);
    if (!bytes)
        refuse(text, "no hex digits, two a byte; give the bytes of the member as those");
    return *bytes;
}

/// Splits "2001:db8::/32".
std::optional<std::size_t> take_bits(std::string &value)
{
    const std::size_t slash = value.rfind('/');
    if (slash == std::string::npos)
        return std::nullopt;
    const auto bits = number_of(std::string_view(value).substr(slash + 1));
    if (!bits)
        return std::nullopt; // part of a label's text
    value.resize(slash);
    return *bits;
}

bool is_same(const std::uint8_t *found, const std::vector<std::uint8_t> &value,
             std::optional<std::size_t> bits)
{
    const std::size_t whole = bits ? *bits / 8 : value.size();
    if (whole != 0 && std::memcmp(found, value.data(), whole) != 0)
        return false;
    const std::size_t rest = bits ? *bits % 8 : 0;
    return rest == 0 || (found[whole] ^ value[whole]) >> (8 - rest) == 0;
}

struct content {
    const std::uint8_t *data;
    std::size_t count;
};

content content_of(const slot &s, const std::uint8_t *record)
{
    if (!s.is_vector())
        return {record + s.record_at, std::max<std::size_t>(s.count, 1)};
    const std::uint8_t *data = nullptr;
    std::memcpy(&data, record + s.record_at, sizeof data);
    return {data, data == nullptr ? 0 : load_integer(record + s.count_at, 4)};
}

} // namespace

field_filter::field_filter(const std::string &text, std::span<const std::uint32_t> messages,
                           const inspect::labels *names)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw filter_error("\"" + printable(text) +
                           "\" is no filter; give a member and a value, such as f5=2001:db8::/32");
    std::string why;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            const message &m = info.data;
            if (!messages.empty() &&
                std::find(messages.begin(), messages.end(), m.msg_id) == messages.end())
                continue;
            try {
                of_message_.emplace(
                    m.msg_id, compile(m, text.substr(0, equals), text.substr(equals + 1), names));
            } catch (const filter_error &error) {
                // What is wrong with the value says more than that a message has no such member.
                if (why.empty() || why.find(" has no member ") != std::string::npos)
                    why = error.what();
            }
        }
    }
    if (of_message_.empty())
        throw filter_error(why.empty() ? "there is no such message; 'vorl list' shows all" : why);
}

field_filter::wanted field_filter::compile(const message &m, const std::string &path,
                                           const std::string &value,
                                           const inspect::labels *names) const
{
    wanted to;
    const message *in = &m;
    for (std::size_t at = 0; at <= path.size();) {
        const std::size_t end = std::min(path.find('.', at), path.size());
        const std::string part = path.substr(at, end - at);
        if (in == nullptr)
            throw filter_error(printable(path) + ": what stands before \"." + printable(part) +
                               "\" holds no table; leave the rest out");
        const catalogue::message_info &info = catalogue::info_of(*in);
        std::size_t index = catalogue::find_slot(info, part);
        if (index == info.slots.size() && names != nullptr)
            index = names->find_slot(*in, part).value_or(index);
        if (index == info.slots.size())
            throw filter_error(std::string(name_of(*in)) + " has no member " + printable(part) +
                               "; it has " + catalogue::slot_range(info));
        to.slots.push_back(index);
        const slot &s = in->slots[index];
        at = end + 1;
        if (at <= path.size()) {
            in = s.nested;
            continue;
        }
        if (s.nested != nullptr)
            throw filter_error(printable(path) + " is a table; name a member of it, as in " +
                               printable(path) + ".f0");
        std::string text = value;
        to.bits = take_bits(text);
        to.value = value_of(s, names == nullptr ? nullptr : names->label_of(*in, index), text);
        if (to.bits && *to.bits > 8 * to.value.size())
            throw filter_error("\"" + printable(value) + "\" has a prefix longer than " +
                               std::to_string(8 * to.value.size()) + " bits; give a shorter one");
    }
    return to;
}

bool field_filter::holds(const message &m, const std::uint8_t *record) const
{
    const auto of = of_message_.find(m.msg_id);
    if (of == of_message_.end())
        return false;
    const wanted &looked_for = of->second;
    // Depth is what descriptions have; elements of a level are gone through one by one.
    const auto look = [&](const auto &self, const message &in, const std::uint8_t *at,
                          std::size_t level) -> bool {
        const slot &s = in.slots[looked_for.slots[level]];
        const auto [data, count] = content_of(s, at);
        if (s.nested != nullptr) {
            for (std::size_t i = 0; i < count; ++i) {
                if (self(self, *s.nested, data + i * s.nested->record_size, level + 1))
                    return true;
            }
            return false;
        }
        if (s.width == 1 && s.shape != slot_shape::scalar && !is_address(s)) {
            const std::size_t size = looked_for.value.size();
            return looked_for.bits
                       ? count >= size && is_same(data, looked_for.value, looked_for.bits)
                       : size <= count && is_same(data, looked_for.value, std::nullopt) &&
                             (s.is_vector() ? size == count
                                            : std::all_of(data + size, data + count,
                                                          [](std::uint8_t b) { return b == 0; }));
        }
        if (is_address(s))
            return is_same(data, looked_for.value, looked_for.bits);
        for (std::size_t i = 0; i < count; ++i) {
            const std::vector<std::uint8_t> number =
                number_bytes(load_integer(data + i * s.width, s.width), s.width);
            if (is_same(number.data(), looked_for.value, looked_for.bits))
                return true;
        }
        return false;
    };
    return look(look, m, record, 0);
}

} // namespace vorl::capture
