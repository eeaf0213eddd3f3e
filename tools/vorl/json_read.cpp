#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "inspect/hex.h"
#include "catalogue/catalogue.h"
#include "tools/vorl/json_record.h"

namespace vorl::json {
namespace {

using kind_type = node::kind_type;

const char *kind_name(kind_type kind)
{
    switch (kind) {
    case kind_type::null: return "null";
    case kind_type::boolean: return "true or false";
    case kind_type::number:
    case kind_type::other_number: return "a number";
    case kind_type::text: return "a string";
    case kind_type::array: return "an array";
    case kind_type::object: return "an object";
    }
    return "";
}

void expect(const node &value, kind_type kind, const std::string &path, const std::string &wanted)
{
    if (value.kind != kind)
        throw input_error(path, std::string("is ") + kind_name(value.kind) + "; give " + wanted);
}

std::uint64_t read_integer(const node &value, std::size_t width, const std::string &path)
{
    const std::uint64_t limit = std::numeric_limits<std::uint64_t>::max() >> (64 - 8 * width);
    const std::string wanted = "a whole number from 0 to " + std::to_string(limit);
    if (value.kind == kind_type::other_number) {
        const std::string &text = value.text;
        const bool is_whole = text.find_first_not_of("-0123456789") == std::string::npos;
        const char *const what = !is_whole        ? " is not written as a whole number; give "
                                 : text[0] == '-' ? " is negative; give "
                                                  : " is out of range; give ";
        throw input_error(path, printable(text) + what + wanted);
    }
    expect(value, kind_type::number, path, wanted);
    if (value.number > limit)
        throw input_error(path, std::to_string(value.number) + " is out of range; give " + wanted);
    return value.number;
}

void store_integer(std::uint8_t *to, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = 0; i < width; ++i)
        to[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::vector<std::uint8_t> read_hex(const node &value, const std::string &path)
{
    expect(value, kind_type::text, path, "hex text such as \"20010db8\"");
    const std::string &text = value.text;
    for (const char c : text) {
        if (hex_value(c) < 0)
            throw input_error(path, '"' + printable(text) +
                                        "\" is not hex text; give pairs of hex digits only");
    }
    if (text.size() % 2 != 0)
        throw input_error(path,
                          "has " + std::to_string(text.size()) + " hex digits; give two a byte");
    std::vector<std::uint8_t> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] =
            static_cast<std::uint8_t>(16 * hex_value(text[2 * i]) + hex_value(text[2 * i + 1]));
    return bytes;
}

void read_words(const node &value, std::uint32_t count, std::uint8_t *to, const std::string &path)
{
    const std::string wanted = (count == 4 ? "an IPv6 address, or an array of " : "an array of ") +
                               std::to_string(count) + " numbers";
    if (count == 4 && value.kind == kind_type::text) {
        std::array<std::uint8_t, 16> address{};
        // A zero byte would end the text early for inet_pton.
        if (value.text.find('\0') != std::string::npos ||
            inet_pton(AF_INET6, value.text.c_str(), address.data()) != 1)
            throw input_error(path, '"' + printable(value.text) +
                                        "\" is not an IPv6 address; give one such as "
                                        "\"2001:db8::1\", without a prefix length");
        std::memcpy(to, address.data(), address.size());
        return;
    }
    expect(value, kind_type::array, path, wanted);
    if (value.items.size() != count)
        throw input_error(path, "has " + std::to_string(value.items.size()) + " elements; give " +
                                    wanted);
    for (std::uint32_t i = 0; i < count; ++i)
        store_integer(to + std::size_t{4} * i,
                      read_integer(value.items[i], 4, path + "[" + std::to_string(i) + "]"), 4);
}

void read_bytes(const node &value, std::uint32_t count, std::uint8_t *to, const std::string &path)
{
    const auto bytes = read_hex(value, path);
    if (bytes.size() > count)
        throw input_error(path, "has " + std::to_string(bytes.size()) + " bytes; give at most " +
                                    std::to_string(count));
    std::copy(bytes.begin(), bytes.end(), to);
}

class record_reader {
  public:
    explicit record_reader(record &owner) : owner_(owner) {}

    /// `prefix` is the path of the object with a full stop, or nothing for the line's own object.
    void read_members(const node &object, const message &type, std::uint8_t *to,
                      const std::string &prefix)
    {
        const catalogue::message_info &info = catalogue::info_of(type);
        std::vector<bool> seen(type.slots.size);
        for (const node &member : object.items) {
            if (prefix.empty() && member.name == "message")
                continue;
            const std::string path = prefix + printable(member.name);
            const std::size_t slot = find_slot(info, member.name);
            if (slot == type.slots.size)
                throw input_error(path, std::string("is no member of ") + name_of(type) +
                                            "; its members are " + member_names(info));
            if (seen[slot])
                throw input_error(path, "is given twice; give it once");
            seen[slot] = true;
            read_slot(member, type.slots[slot], to, path);
        }
    }

  private:
    static std::size_t find_slot(const catalogue::message_info &info, const std::string &name)
    {
        std::size_t slot = 0;
        while (slot < info.slots.size() && name != info.slots[slot].name)
            ++slot;
        return slot;
    }

    static std::string member_names(const catalogue::message_info &info)
    {
        const std::string first = info.slots.front().name;
        return info.slots.size() == 1 ? first + " alone" : first + " to " + info.slots.back().name;
    }

    void read_slot(const node &value, const vorl::slot &slot, std::uint8_t *record,
                   const std::string &path)
    {
        std::uint8_t *to = record + slot.record_at;
        switch (slot.shape) {
        case slot_shape::scalar:
            store_integer(to, read_integer(value, slot.width, path), slot.width);
            break;
        case slot_shape::array:
            if (slot.width == 1)
                read_bytes(value, slot.count, to, path);
            else
                read_words(value, slot.count, to, path);
            break;
        case slot_shape::byte_vector: {
            const auto bytes = read_hex(value, path);
            std::uint8_t *block = new_vector(slot, record, bytes.size(), 1);
            if (!bytes.empty())
                std::memcpy(block, bytes.data(), bytes.size());
            break;
        }
        case slot_shape::table:
            expect(value, kind_type::object, path, "an object");
            read_members(value, *slot.nested, to, path + ".");
            break;
        case slot_shape::table_array:
            expect(value, kind_type::array, path, "an array of objects");
            if (value.items.size() > slot.count)
                throw input_error(path, "has " + std::to_string(value.items.size()) +
                                            " objects; give at most " + std::to_string(slot.count));
            read_elements(value, *slot.nested, to, path);
            break;
        case slot_shape::table_vector:
            expect(value, kind_type::array, path, "an array of objects");
            read_elements(value, *slot.nested,
                          new_vector(slot, record, value.items.size(), slot.nested->record_size),
                          path);
            break;
        }
    }

    void read_elements(const node &array, const message &type, std::uint8_t *records,
                       const std::string &path)
    {
        for (std::size_t i = 0; i < array.items.size(); ++i) {
            const std::string element = path + "[" + std::to_string(i) + "]";
            expect(array.items[i], kind_type::object, element, "an object");
            read_members(array.items[i], type, records + i * type.record_size, element + ".");
        }
    }

    /// Count and pointer of a vector; the pointer stays null in an empty one.
    std::uint8_t *new_vector(const vorl::slot &slot, std::uint8_t *record, std::size_t count,
                             std::size_t element_size)
    {
        if (count == 0)
            return nullptr;
        std::uint8_t *block = owner_.allocate(count * element_size);
        store_integer(record + slot.count_at, count, 4);
        std::memcpy(record + slot.record_at, &block, sizeof block);
        return block;
    }

    record &owner_;
};

const message &find_type(const node &object)
{
    const node *name = nullptr;
    for (const node &member : object.items) {
        if (member.name != "message")
            continue;
        if (name != nullptr)
            throw input_error("message", "is given twice; give it once");
        name = &member;
    }
    if (name == nullptr)
        throw input_error(
            "message", R"(is missing; name the type, as in {"message":"srv6_localsid_fwd",...})");
    expect(*name, kind_type::text, "message", "the name of a message; 'vorl list' shows them");
    const catalogue::message_info *info = catalogue::find_message(name->text);
    if (info == nullptr)
        throw input_error("message", '"' + printable(name->text) +
                                         "\" is no message; 'vorl list' shows them all");
    return info->data;
}

} // namespace

std::uint8_t *record::allocate(std::size_t size)
{
    blocks_.push_back(std::make_unique<std::uint64_t[]>((size + 7) / 8));
    return reinterpret_cast<std::uint8_t *>(blocks_.back().get());
}

void record_array::push_back(const record &added)
{
    bytes_.insert(bytes_.end(), added.data(), added.data() + added.type().record_size);
    ++count_;
}

record parse_record(std::string_view json)
{
    const node object = parse_json(json);
    expect(object, kind_type::object, "line",
           R"(one JSON object, as in {"message":"srv6_localsid_fwd",...})");
    record result(find_type(object));
    record_reader(result).read_members(object, result.type(), result.data(), "");
    return result;
}

} // namespace vorl::json
