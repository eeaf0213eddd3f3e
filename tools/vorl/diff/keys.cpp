#include "tools/vorl/diff/keys.h"

#include <algorithm>

#include "tools/vorl/failures.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/json_record.h"
#include "tools/vorl/record_slots.h"

namespace vorl::diff {
namespace {

/// The parts between separators.
std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

} // namespace

keys::keys(const std::vector<std::string> &texts, const inspect::labels *names) : names_(names)
{
    for (const std::string &text : texts) {
        try {
            add(text);
        } catch (const std::runtime_error &error) {
            throw wrong_usage("vorl diff: --key " + json::printable(text) + ": " + error.what());
        }
    }
}

void keys::add(const std::string &text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size())
        throw std::runtime_error("names no members; give a message and its key's members, such as "
                                 "srv6_localsid_fwd=f0,f5");
    const message &m = find_message_or_throw(text.substr(0, equals)).data;
    if (of_message_.contains(m.msg_id))
        throw std::runtime_error(std::string(name_of(m)) +
                                 " has a key already; give all of its members in one --key");
    std::vector<member> &to = of_message_[m.msg_id];
    for (const std::string &path : split(text.substr(equals + 1), ','))
        to.push_back(find(m, path));
}

keys::member keys::find(const message &m, const std::string &path) const
{
    member found{path, {}};
    const message *in = &m;
    for (const std::string &part : split(path, '.')) {
        if (in == nullptr)
            throw std::runtime_error(json::printable(path) + ": what stands before \"." +
                                     json::printable(part) +
                                     "\" is no single table; leave the rest "
                                     "out");
        const catalogue::message_info &info = catalogue::info_of(*in);
        std::size_t slot = catalogue::find_slot(info, part);
        if (slot == info.slots.size() && names_ != nullptr)
            slot = names_->find_slot(*in, part).value_or(slot);
        if (slot == info.slots.size())
            throw std::runtime_error(std::string(name_of(*in)) + " has no member " +
                                     json::printable(part) + "; it has " +
                                     catalogue::slot_range(info));
        found.slots.push_back(slot);
        const vorl::slot &s = in->slots[slot];
        in = s.shape == slot_shape::table ? s.nested : nullptr;
        if (s.nested != nullptr && in == nullptr)
            throw std::runtime_error(json::printable(path) +
                                     " holds several tables; a key is of single values");
    }
    if (in != nullptr)
        throw std::runtime_error(json::printable(path) +
                                 " is a table; name a member of it, as in " +
                                 json::printable(path) + ".f0");
    return found;
}

template <class Take>
void keys::each(const message &m, const std::uint8_t *record, Take take) const
{
    for (const member &k : of_message_.at(m.msg_id)) {
        const message *in = &m;
        const std::uint8_t *at = record;
        for (std::size_t i = 0; i + 1 < k.slots.size(); ++i) {
            at += in->slots[k.slots[i]].record_at;
            in = in->slots[k.slots[i]].nested;
        }
        take(k, *in, at, k.slots.back());
    }
}

std::string keys::key_of(const message &m, const std::uint8_t *record) const
{
    std::string key;
    each(m, record,
         [&key](const member &, const message &in, const std::uint8_t *at, std::size_t slot) {
             const slot_content value = content_of(in.slots[slot], at);
             const std::size_t size = value.count * in.slots[slot].width;
             if (in.slots[slot]
                     .is_vector()) // so that the next member's bytes are not taken for its own
                 key += std::to_string(size) + ":";
             if (size != 0)
                 key.append(reinterpret_cast<const char *>(value.data), size);
         });
    return key;
}

std::vector<keys::part> keys::parts_of(const message &m, const std::uint8_t *record) const
{
    std::vector<part> parts;
    each(m, record,
         [&](const member &k, const message &in, const std::uint8_t *at, std::size_t slot) {
             parts.push_back({k.path, json::format_member(in, at, slot, names_)});
         });
    return parts;
}

} // namespace vorl::diff
