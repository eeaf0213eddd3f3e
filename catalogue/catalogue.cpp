#include "catalogue/catalogue.h"

#include <map>
#include <stdexcept>

#include "serial/layout.h"

namespace vorl::catalogue {
namespace {

template <class Matches>
const message_info *find_if(Matches matches)
{
    for (const package_info *package : packages) {
        for (const message_info &info : package->messages) {
            if (matches(info.data))
                return &info;
        }
    }
    return nullptr;
}

std::map<std::uint32_t, const message_info *> &adopted()
{
    static std::map<std::uint32_t, const message_info *> all;
    return all;
}

} // namespace

void adopt(const message_info &info) { adopted().emplace(info.data.msg_id, &info); }

const message_info *find_message(std::string_view name)
{
    return find_if([name](const message &m) { return name == name_of(m); });
}

const message_info *find_message(std::uint32_t msg_id)
{
    const message_info *const found =
        find_if([msg_id](const message &m) { return msg_id == m.msg_id; });
    if (found != nullptr)
        return found;
    const auto other = adopted().find(msg_id);
    return other == adopted().end() ? nullptr : other->second;
}

const message_info &info_of(const message &m)
{
    const message_info *found = find_message(m.msg_id);
    if (found == nullptr)
        throw std::logic_error(std::string(name_of(m)) + " is not in the catalogue");
    return *found;
}

std::size_t find_slot(const message_info &info, std::string_view name)
{
    std::size_t slot = 0;
    while (slot < info.slots.size() && name != info.slots[slot].name)
        ++slot;
    return slot;
}

std::string slot_range(const message_info &info)
{
    const std::string first = info.slots.front().name;
    return info.slots.size() == 1 ? first + " alone" : first + " to " + info.slots.back().name;
}

std::string type_text(const slot &s)
{
    const std::string element = s.nested != nullptr ? std::string("table ") + name_of(*s.nested)
                                                    : "uint" + std::to_string(8 * s.width);
    switch (s.shape) {
    case slot_shape::array:
    case slot_shape::table_array: return "array<" + element + ", " + std::to_string(s.count) + ">";
    case slot_shape::byte_vector:
    case slot_shape::table_vector: return "vector<" + element + ">";
    case slot_shape::scalar:
    case slot_shape::table: break;
    }
    return element;
}

std::uint32_t frame_length(const message &m)
{
    return is_fixed_size(m) ? frame_layout_of(m).length : 0;
}

std::uint32_t frame_table_length(const message &m)
{
    return is_fixed_size(m) ? frame_layout_of(m).table_length : 0;
}

std::uint32_t frame_offset(const message &m, std::size_t slot)
{
    if (!is_fixed_size(m))
        return 0;
    std::uint32_t offset = word_size;
    for (std::size_t i = 0; i < slot; ++i)
        offset += frame_field_size(m.slots[i]);
    return offset;
}

} // namespace vorl::catalogue
