#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <nlohmann/json.hpp>

#include "catalogue/catalogue.h"
#include "inspect/hex.h"
#include "inspect/integers.h"
#include "tools/vorl/json_record.h"

namespace vorl::json {
namespace {

using tree = nlohmann::ordered_json;

/// What a slot holds in a record: integers, bytes or records.
struct content {
    const std::uint8_t *data;
    std::size_t count;
};

content content_of(const vorl::slot &slot, const std::uint8_t *record)
{
    switch (slot.shape) {
    case slot_shape::byte_vector:
    case slot_shape::table_vector: {
        const std::uint8_t *data = nullptr;
        std::memcpy(&data, record + slot.record_at, sizeof data);
        return {data, data == nullptr ? 0 : load_integer(record + slot.count_at, 4)};
    }
    case slot_shape::array:
    case slot_shape::table_array: return {record + slot.record_at, slot.count};
    case slot_shape::scalar:
    case slot_shape::table: break;
    }
    return {record + slot.record_at, 1};
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

bool is_zero_slot(const vorl::slot &slot, const std::uint8_t *record)
{
    const auto [data, count] = content_of(slot, record);
    if (slot.is_vector())
        return count == 0;
    // A nested record that owns nothing and counts nothing is zero in every byte.
    return is_zero(data, count * (slot.nested != nullptr ? slot.nested->record_size : slot.width));
}

class record_writer {
  public:
    record_writer(zeros zero_members, const inspect::labels *names)
        : zero_members_(zero_members), names_(names)
    {}

    void write_members(tree &object, const message &type, const std::uint8_t *record) const
    {
        const catalogue::message_info &info = catalogue::info_of(type);
        for (std::size_t i = 0; i < info.slots.size(); ++i) {
            const vorl::slot &slot = type.slots[i];
            if (zero_members_ == zeros::omit && is_zero_slot(slot, record))
                continue;
            const inspect::label *const as =
                names_ == nullptr ? nullptr : names_->label_of(type, i);
            const char *const name =
                as == nullptr || as->name.empty() ? info.slots[i].name : as->name.c_str();
            std::optional<tree> formed;
            if (as != nullptr)
                formed = write_formed(*as, type, slot, record);
            object[name] = formed ? *std::move(formed) : write_slot(slot, record);
        }
    }

  private:
    /// Nothing: the value is written as without a label.
    static std::optional<tree> write_formed(const inspect::label &as, const message &type,
                                            const vorl::slot &slot, const std::uint8_t *record)
    {
        const std::uint8_t *const data = record + slot.record_at;
        if (as.shown_as == inspect::form::dec) {
            if (slot.shape == slot_shape::array)
                return write_words(data, slot.count);
            return std::nullopt;
        }
        if (inspect::is_list(as, slot))
            return tree(inspect::list_of(as, slot, data));
        std::optional<std::uint64_t> length;
        if (as.shown_as == inspect::form::prefix) {
            const vorl::slot &holder = type.slots[as.length_slot];
            length = load_integer(record + holder.record_at, holder.width);
        }
        if (const auto text = inspect::text_of(as, slot, data, length))
            return tree(*text);
        return std::nullopt;
    }

    static tree write_words(const std::uint8_t *words, std::size_t count)
    {
        tree array = tree::array();
        for (std::size_t i = 0; i < count; ++i)
            array.push_back(load_integer(words + 4 * i, 4));
        return array;
    }

    tree write_table(const message &type, const std::uint8_t *record) const
    {
        tree object = tree::object();
        write_members(object, type, record);
        return object;
    }

    tree write_slot(const vorl::slot &slot, const std::uint8_t *record) const
    {
        const auto [data, all] = content_of(slot, record);
        switch (slot.shape) {
        case slot_shape::array: {
            if (slot.width == 1)
                return to_hex(data, without_trailing_zeros(data, all, 1));
            if (all != 4)
                return write_words(data, all);
            std::array<char, INET6_ADDRSTRLEN> text{};
            inet_ntop(AF_INET6, data, text.data(), text.size());
            return text.data();
        }
        case slot_shape::byte_vector: return to_hex(data, all);
        case slot_shape::table: return write_table(*slot.nested, data);
        case slot_shape::table_array:
        case slot_shape::table_vector: {
            const std::size_t size = slot.nested->record_size;
            const std::size_t count = slot.shape == slot_shape::table_array
                                          ? without_trailing_zeros(data, all, size)
                                          : all;
            tree elements = tree::array();
            for (std::size_t i = 0; i < count; ++i)
                elements.push_back(write_table(*slot.nested, data + i * size));
            return elements;
        }
        case slot_shape::scalar: break;
        }
        return load_integer(data, slot.width);
    }

    zeros zero_members_;
    const inspect::labels *names_;
};

} // namespace

std::string format_record(const message &type, const void *record, zeros zero_members,
                          const inspect::labels *names)
{
    tree object = tree::object();
    object["message"] = name_of(type);
    record_writer(zero_members, names)
        .write_members(object, type, static_cast<const std::uint8_t *>(record));
    return object.dump();
}

std::string first_difference(const message &type, const void *a, const void *b)
{
    const catalogue::message_info &info = catalogue::info_of(type);
    for (std::size_t s = 0; s < info.slots.size(); ++s) {
        const vorl::slot &slot = type.slots[s];
        const std::string name = info.slots[s].name;
        const content left = content_of(slot, static_cast<const std::uint8_t *>(a));
        const content right = content_of(slot, static_cast<const std::uint8_t *>(b));
        if (left.count != right.count)
            return name + "_count";
        if (slot.nested == nullptr) {
            const std::size_t size = left.count * slot.width;
            if (size != 0 && std::memcmp(left.data, right.data, size) != 0)
                return name;
            continue;
        }
        const std::size_t size = slot.nested->record_size;
        for (std::size_t i = 0; i < left.count; ++i) {
            const std::string inner =
                first_difference(*slot.nested, left.data + i * size, right.data + i * size);
            if (!inner.empty())
                return slot.shape == slot_shape::table
                           ? name + "." + inner
                           : name + "[" + std::to_string(i) + "]." + inner;
        }
    }
    return {};
}

} // namespace vorl::json
