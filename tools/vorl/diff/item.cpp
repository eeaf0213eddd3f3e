#include "tools/vorl/diff/item.h"

#include <cstring>

namespace vorl::diff {
namespace {

void append_text(std::string &to, std::string_view text)
{
    const std::uint64_t size = text.size();
    to.append(reinterpret_cast<const char *>(&size), sizeof size);
    to += text;
}

std::string take_text(std::string_view &from)
{
    std::uint64_t size = 0;
    std::memcpy(&size, from.data(), sizeof size);
    std::string text(from.substr(sizeof size, size));
    from.remove_prefix(sizeof size + size);
    return text;
}

struct fixed_part {
    std::uint32_t process, identifier, length;
    bool has_facts, is_text;
    capture::direction way;
};

} // namespace

void append(std::string &to, const item &i)
{
    const fixed_part fixed{i.process, i.identifier, i.length, i.has_facts, i.is_text, i.way};
    to.append(reinterpret_cast<const char *>(&fixed), sizeof fixed);
    append_text(to, i.place);
    append_text(to, i.content);
}

item take_item(std::string_view &from)
{
    fixed_part fixed;
    std::memcpy(&fixed, from.data(), sizeof fixed);
    from.remove_prefix(sizeof fixed);
    item i;
    i.process = fixed.process;
    i.identifier = fixed.identifier;
    i.length = fixed.length;
    i.has_facts = fixed.has_facts;
    i.is_text = fixed.is_text;
    i.way = fixed.way;
    i.place = take_text(from);
    i.content = take_text(from);
    return i;
}

} // namespace vorl::diff
