#include "tools/vorl/replay/edits.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "catalogue/catalogue.h"
#include "inspect/did_you_mean.h"
#include "inspect/encode.h"
#include "inspect/decoded_record.h"
#include "tools/vorl/failures.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/json_lines.h"

namespace vorl::replay {
namespace {

constexpr const char *form =
    R"(give one such as {"message":"srv6_localsid_fwd","set":{"f6":64}} or {"number":17,"set":{"f6":64}})";

constexpr std::string_view members[] = {"message", "number", "process", "set"};

std::uint64_t whole_number(const json::node &member, std::uint64_t most)
{
    if (member.kind != json::node::kind_type::number || member.number > most)
        throw json::input_error(member.name, "is no whole number from 0 to " +
                                                 std::to_string(most) + "; " + form);
    return member.number;
}

} // namespace

std::string edits::place(const edit &of) const
{
    return file_ + ":" + std::to_string(of.line) + ": ";
}

void edits::take(edit &to, const json::node &member) const
{
    const auto once = [&member](bool is_there) {
        if (is_there)
            throw json::input_error(member.name, "is given twice; give it once");
    };
    if (member.name == "message") {
        once(to.message.has_value());
        if (member.kind != json::node::kind_type::text)
            throw json::input_error("message", "is no name of a message; 'vorl list' shows them");
        try {
            to.message = find_message_or_throw(member.text).data.msg_id;
        } catch (const std::runtime_error &error) {
            throw json::input_error(std::string("message: ") + error.what());
        }
    } else if (member.name == "number") {
        once(to.number.has_value());
        to.number = whole_number(member, ~std::uint64_t{0});
    } else if (member.name == "process") {
        once(to.process.has_value());
        to.process = whole_number(member, 0xFFFFFFFF);
    } else if (member.name == "set") {
        once(to.set.kind == json::node::kind_type::object);
        if (member.kind != json::node::kind_type::object || member.items.empty())
            throw json::input_error("set", std::string("names no member to replace; ") + form);
        to.set = member;
    } else {
        throw json::input_error(
            json::printable(member.name),
            "is no member of an edit; " +
                did_you_mean_or(member.name, members,
                                "they are message, number and process, which say of which frames "
                                "it is, and set, which holds the members to replace"));
    }
}

void edits::add(const std::string &text, std::size_t line)
{
    const json::node object = json::parse_json(text);
    edit added;
    added.line = line;
    if (object.kind != json::node::kind_type::object)
        throw json::input_error("line", std::string("is no JSON object; ") + form);
    for (const json::node &member : object.items)
        take(added, member);
    if (!added.message && !added.number)
        throw json::input_error(
            "line", std::string("names neither a message nor a frame's number; ") + form);
    if (added.set.kind != json::node::kind_type::object)
        throw json::input_error("set", std::string("is missing; ") + form);
    if (added.message) { // whether it has these members, is known already
        json::record any(catalogue::find_message(*added.message)->data);
        json::read_members(added.set, any, "set.", names_);
    }
    if (added.number)
        by_number_[*added.number].push_back(all_.size());
    else
        by_message_[*added.message].push_back(all_.size());
    all_.push_back(std::move(added));
}

edits::edits(const std::string &file, const inspect::labels *names) : names_(names)
{
    const auto open = of_input([&file] { return std::make_unique<json::input_file>(file); });
    file_ = open->name();
    std::string text;
    for (std::size_t line = 1; std::getline(open->stream(), text); ++line) {
        if (!json::is_object_line(text))
            continue;
        try {
            add(text, line);
        } catch (const json::input_error &error) {
            throw wrong_usage(file_ + ":" + std::to_string(line) + ": " + error.what());
        }
    }
    if (open->stream().bad())
        throw unreadable(file_ + ": cannot be read to its end");
}

std::vector<edits::edit *> edits::about(const capture::frame_facts &facts)
{
    std::vector<std::size_t> found;
    if (const auto same = by_number_.find(facts.number); same != by_number_.end())
        found = same->second;
    if (const auto same = by_message_.find(facts.identifier);
        same != by_message_.end() && facts.knows(capture::identifier_known))
        found.insert(found.end(), same->second.begin(), same->second.end());
    std::sort(found.begin(), found.end());
    std::vector<edit *> all;
    for (const std::size_t at : found) {
        edit &e = all_[at];
        if ((!e.message || *e.message == facts.identifier) &&
            (!e.process || *e.process == facts.process))
            all.push_back(&e);
    }
    return all;
}

std::optional<capture::bytes> edits::apply(const capture::frame &to)
{
    const std::vector<edit *> mine = about(to.facts);
    if (mine.empty())
        return std::nullopt;
    for (edit *e : mine)
        e->is_used = true;
    const std::string where = place(*mine.front());
    const catalogue::message_info *const info = to.facts.knows(capture::identifier_known)
                                                    ? catalogue::find_message(to.facts.identifier)
                                                    : nullptr;
    if (info == nullptr)
        throw json::input_error(where +
                                "nobody knows what the frame is; replay it without the edit");
    const message &m = info->data;
    decoded_record read(m);
    if (const auto why = read.read(to.kept))
        throw json::input_error(where + "the frame is refused at " + to_text(*why) +
                                "; replay it without the edit");
    // What its vectors lead to stays with `read`, until they are replaced.
    json::record changed(m);
    std::memcpy(changed.data(), read.data(), m.record_size);
    for (const edit *e : mine) {
        try {
            json::read_members(e->set, changed, "set.", names_);
        } catch (const json::input_error &error) {
            throw json::input_error(place(*e) + error.what());
        }
    }
    capture::bytes frame = inspect::encode(m, changed.data(), inspect::encoding::frame);
    if (frame.empty())
        throw json::input_error(where + "the frame would take more bytes than 32 bits can say; set "
                                        "something smaller");
    return frame;
}

std::vector<std::string> edits::unused() const
{
    std::vector<std::string> all;
    for (const edit &e : all_) {
        if (!e.is_used)
            all.push_back(place(e) +
                          "no frame that was to be sent is that; 'vorl replay --dry-run' "
                          "shows the numbers, and the messages");
    }
    return all;
}

} // namespace vorl::replay
