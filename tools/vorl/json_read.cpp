#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "catalogue/catalogue.h"
#include "inspect/did_you_mean.h"
#include "inspect/hex.h"
#include "inspect/integers.h"
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
    const std::uint64_t limit = largest_integer(width);
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
    record_reader(record &owner, const inspect::labels *names) : owner_(owner), names_(names) {}

    /// `prefix` is the path of the object with a full stop, or nothing for the line's own object.
    void read_members(const node &object, const message &type, std::uint8_t *to,
                      const std::string &prefix)
    {
        const catalogue::message_info &info = catalogue::info_of(type);
        std::vector<const node *> given(type.slots.size);
        std::vector<prefix_length> lengths;
        for (const node &member : object.items) {
            if (prefix.empty() && member.name == "message")
                continue;
            const std::string path = prefix + printable(member.name);
            const std::size_t slot = find_slot(info, member.name);
            if (slot == type.slots.size)
                throw input_error(path, std::string("is no member of ") + name_of(type) + "; " +
                                            members_there_are(info, member.name));
            if (given[slot] != nullptr)
                throw input_error(path,
                                  given[slot]->name == member.name
                                      ? "is given twice; give it once"
                                      : "is given as " + given[slot]->name + ", too; give it once");
            given[slot] = &member;
            clear(type.slots[slot], to);
            const inspect::label *const as =
                names_ == nullptr ? nullptr : names_->label_of(type, slot);
            if (as == nullptr || !read_formed(member, *as, type.slots[slot], to, path, lengths))
                read_slot(member, type.slots[slot], to, path);
        }
        for (const prefix_length &length : lengths)
            take_length(length, type, info, given, to);
    }

  private:
    /// A record may have values already. What a table's object does not name is left as it is.
    static void clear(const vorl::slot &slot, std::uint8_t *record)
    {
        std::uint8_t *const to = record + slot.record_at;
        if (slot.is_vector()) {
            store_integer(record + slot.count_at, 0, 4);
            std::memset(to, 0, sizeof(void *));
        } else if (slot.shape == slot_shape::array) {
            std::memset(to, 0, std::size_t{slot.count} * slot.width);
        } else if (slot.shape == slot_shape::table_array) {
            std::memset(to, 0, std::size_t{slot.count} * slot.nested->record_size);
        }
    }

    /// The length in a prefix, which belongs into a slot of its own.
    struct prefix_length {
        const inspect::label *of;
        std::uint64_t length;
        const node *from;
        std::string path;
    };

    std::size_t find_slot(const catalogue::message_info &info, const std::string &name) const
    {
        const std::size_t slot = catalogue::find_slot(info, name);
        if (slot != info.slots.size() || names_ == nullptr)
            return slot;
        return names_->find_slot(info.data, name).value_or(slot);
    }

    std::string members_there_are(const catalogue::message_info &info,
                                  const std::string &name) const
    {
        std::string all = "its members are " + catalogue::slot_range(info);
        if (names_ == nullptr)
            return all;
        std::vector<std::string_view> labelled;
        for (std::size_t slot = 0; slot < info.slots.size(); ++slot) {
            if (const inspect::label *as = names_->label_of(info.data, slot))
                labelled.emplace_back(as->name);
        }
        return did_you_mean_or(name, labelled, all + ", by these names or their labels'");
    }

    /// False: the value is not in the label's form, but may be what it is without a label.
    static bool read_formed(const node &value, const inspect::label &as, const vorl::slot &slot,
                            std::uint8_t *record, const std::string &path,
                            std::vector<prefix_length> &lengths)
    {
        if (slot.is_vector() || slot.nested != nullptr)
            return false;
        std::uint8_t *const to = record + slot.record_at;
        try {
            if (value.kind == kind_type::array && inspect::is_list(as, slot)) {
                read_list(value, as, slot, to, path);
                return true;
            }
            if (value.kind != kind_type::text || is_plain_text(value.text, as, slot))
                return false;
            if (const auto length = inspect::read_text(as, slot, value.text, to))
                lengths.push_back({&as, *length, &value, path});
            return true;
        } catch (const inspect::form_error &error) {
            throw input_error(path, error.what());
        }
    }

    /// The text is what is written without a label.
    static bool is_plain_text(const std::string &text, const inspect::label &as,
                              const vorl::slot &slot)
    {
        using inspect::form;
        if (as.shown_as == form::none || as.shown_as == form::dec)
            return true;
        return slot.shape == slot_shape::array &&
               (as.shown_as == form::hex ||
                (slot.width == 1 && text.find(':') == std::string::npos));
    }

    /// Flags, or the numbers of an array.
    static void read_list(const node &list, const inspect::label &as, const vorl::slot &slot,
                          std::uint8_t *to, const std::string &path)
    {
        if (as.shown_as == inspect::form::flags) {
            std::vector<std::string_view> parts;
            for (const node &item : list.items) {
                expect(item, kind_type::text, path, "the names of flags");
                parts.emplace_back(item.text);
            }
            store_integer(to, inspect::read_flags(as, slot, parts), slot.width);
            return;
        }
        if (list.items.size() != slot.count)
            throw input_error(path, "has " + std::to_string(list.items.size()) +
                                        " elements; give " + std::to_string(slot.count) +
                                        " numbers");
        for (std::size_t i = 0; i < list.items.size(); ++i) {
            const node &item = list.items[i];
            const bool is_hex = item.kind == kind_type::text && as.shown_as == inspect::form::hex;
            store_integer(
                to + i * slot.width,
                is_hex ? inspect::read_hex_number(item.text, slot.width)
                       : read_integer(item, slot.width, path + "[" + std::to_string(i) + "]"),
                slot.width);
        }
    }

    static void take_length(const prefix_length &length, const message &type,
                            const catalogue::message_info &info, std::vector<const node *> &given,
                            std::uint8_t *record)
    {
        const std::size_t at = length.of->length_slot;
        const vorl::slot &holder = type.slots[at];
        std::uint8_t *const to = record + holder.record_at;
        if (length.length > largest_integer(holder.width))
            throw input_error(length.path, "has a length of " + std::to_string(length.length) +
                                               "; give at most " +
                                               std::to_string(largest_integer(holder.width)));
        if (given[at] != nullptr && load_integer(to, holder.width) != length.length)
            throw input_error(length.path, "has a length of " + std::to_string(length.length) +
                                               ", and " + info.slots[at].name + " is " +
                                               std::to_string(load_integer(to, holder.width)) +
                                               "; give one of them, or both the same");
        given[at] = length.from; // a second prefix of the same slot is held to the first
        store_integer(to, length.length, holder.width);
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
    const inspect::labels *names_;
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

void read_members(const node &object, record &to, const std::string &prefix,
                  const inspect::labels *names)
{
    record_reader(to, names).read_members(object, to.type(), to.data(), prefix);
}

record parse_record(std::string_view json, const inspect::labels *names)
{
    const node object = parse_json(json);
    expect(object, kind_type::object, "line",
           R"(one JSON object, as in {"message":"srv6_localsid_fwd",...})");
    record result(find_type(object));
    record_reader(result, names).read_members(object, result.type(), result.data(), "");
    return result;
}

} // namespace vorl::json
