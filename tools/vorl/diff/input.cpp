#include "tools/vorl/diff/input.h"

#include <iostream>

#include "catalogue/catalogue.h"
#include "tools/vorl/dumps/from_the_start.h"
#include "tools/vorl/failures.h"

namespace vorl::diff {
namespace {

constexpr std::uint64_t bytes_a_turn = 1 << 16;
constexpr std::size_t longest_start = 1
                                      << 16; // of comments and empty lines before the first object

/// The start of the input, as far as it tells whether it is JSON: behind comments and empty lines, an object.
bool begins_with_object(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    for (;;) {
        const std::size_t at = text.find_first_not_of(blanks);
        if (at == std::string_view::npos)
            return false;
        text.remove_prefix(at);
        if (text[0] != '#')
            break;
        text.remove_prefix(std::min(text.find('\n'), text.size()));
    }
    const std::size_t behind = text.find_first_not_of(blanks, 1);
    // An array of C begins so as well, but no name in quotes is in it.
    return text[0] == '{' && behind != std::string_view::npos &&
           (text[behind] == '"' || text[behind] == '}');
}

/// What is read until it is known what the input is; no more of a pipe than it has.
std::string start_of(std::istream &in)
{
    std::string text;
    for (std::string line; text.size() < longest_start;) {
        const int next = in.get();
        if (next == std::istream::traits_type::eof())
            break;
        const char c = std::istream::traits_type::to_char_type(next);
        text += c;
        line += c;
        if (c == '\n') {
            if (line.find_first_not_of(" \t\r\n") != std::string::npos && line[0] != '#')
                break;
            line.clear();
        }
    }
    return text;
}

/// "FILE: packet 3: " is "packet 3", "FILE:12: " is "line 12".
std::string place_in(const std::string &place, const std::string &file)
{
    std::string rest = place.substr(std::min(file.size(), place.size()));
    if (rest.ends_with(": "))
        rest.resize(rest.size() - 2);
    if (rest.starts_with(": "))
        return rest.substr(2);
    return rest.starts_with(":") ? "line " + rest.substr(1) : rest;
}

} // namespace

input::input(const std::string &name, const input_options &options)
    : file_(of_input([&name] { return json::input_file(name); })), options_(options),
      reader_([this] { run(); })
{}

input::~input()
{
    {
        const std::lock_guard<std::mutex> held(mutex_);
        is_unwanted_ = true;
        is_reading_ = true;
    }
    changed_.notify_all();
    reader_.join();
}

std::optional<item> input::next()
{
    if (read_.empty() && !is_over_) {
        std::unique_lock<std::mutex> held(mutex_);
        is_reading_ = true;
        changed_.notify_all();
        changed_.wait(held, [this] { return !is_reading_; });
        if (failed_)
            std::rethrow_exception(std::exchange(failed_, nullptr));
    }
    if (read_.empty())
        return std::nullopt;
    item first = std::move(read_.front());
    read_.pop_front();
    return first;
}

void input::run()
{
    std::unique_lock<std::mutex> held(mutex_);
    changed_.wait(held, [this] { return is_reading_; });
    held.unlock();
    try {
        if (!is_unwanted_)
            read();
    } catch (const stop &) {
    } catch (const message_not_named &) {
        failed_ = std::current_exception();
    } catch (const std::exception &error) {
        std::cerr << error.what() << std::endl;
        is_damaged_ = is_cut_ = true;
    }
    held.lock();
    is_over_ = true;
    is_reading_ = false;
    changed_.notify_all();
}

void input::give(item &&i)
{
    read_size_ += i.size();
    read_.push_back(std::move(i));
    if (read_size_ < bytes_a_turn)
        return;
    read_size_ = 0;
    std::unique_lock<std::mutex> held(mutex_);
    is_reading_ = false;
    changed_.notify_all();
    changed_.wait(held, [this] { return is_reading_; });
    if (is_unwanted_)
        throw stop{};
}

void input::read()
{
    const std::string start = start_of(file_.stream());
    file_.stream().clear();
    dumps::from_the_start buffer(start, *file_.stream().rdbuf());
    std::istream all(&buffer);
    if (begins_with_object(start))
        read_lines(all);
    else
        read_dump(all);
}

void input::read_lines(std::istream &from)
{
    json::line_reader lines(from, name(), options_.names);
    for (;;) {
        try {
            const std::optional<json::record> record = lines.next();
            if (!record)
                return;
            item i;
            i.place = "line " + std::to_string(lines.line());
            i.identifier = record->type().msg_id;
            i.is_text = true;
            i.content = lines.text();
            give(std::move(i));
        } catch (const json::input_error &error) {
            std::cerr << error.what() << std::endl;
            is_damaged_ = true;
        }
    }
}

void input::add_frame(const std::string &place, const bytes &frame,
                      const std::optional<capture::frame_facts> &facts)
{
    item i;
    i.place = place_in(place, name());
    i.length = static_cast<std::uint32_t>(frame.size());
    identifier_or_none identifier = options_.given;
    if (facts) {
        i.has_facts = true;
        i.way = facts->way;
        i.process = facts->process;
        i.length = facts->length;
        if (facts->knows(capture::identifier_known))
            identifier = facts->identifier;
    }
    if (!identifier) {
        if (unnamed_++ == 0)
            first_unnamed_ = place;
        return;
    }
    ++named_;
    i.identifier = *identifier;
    i.content.assign(frame.begin(), frame.end());
    give(std::move(i));
}

void input::read_dump(std::istream &from)
{
    std::optional<capture::frame_facts> said; // of the frame that comes next
    dump_options form = options_.form;
    form.about = [&said](const capture::frame_facts &facts) { said = facts; };
    const frames_read count = read_frames(
        from, name(), form,
        [&](const std::string &place, const bytes &frame) {
            add_frame(place, frame, std::exchange(said, std::nullopt));
        },
        std::cerr);
    is_damaged_ = is_damaged_ || count.refused != 0 || unnamed_ != 0;
    if (unnamed_ != 0 && named_ == 0)
        named_or_throw(std::nullopt, first_unnamed_);
    if (unnamed_ != 0)
        std::cerr << first_unnamed_ << unnamed_
                  << " frames from here on do not say what they are, and are left out; --message "
                     "NAME names it"
                  << std::endl;
}

} // namespace vorl::diff
