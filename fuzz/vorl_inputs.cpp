// What the vorl tool is given as text. The first line says what stands behind it:
//
//   json            a file of JSON objects, one a line
//   hex MESSAGE     frames as hex text or dumps, of the message of that name or identifier
//
// An object that is accepted must survive being written and read again, packed and sent. Bytes that
// `explain` accepts must be those that the library accepts.
#include <sstream>
#include <string>

#include "fuzz/finding.h"
#include "tools/vorl/bytes_text.h"
#include "tools/vorl/decoded_record.h"
#include "tools/vorl/explain.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/frame_capture.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/library_log.h"

namespace {

using vorl::bytes;
using vorl::catalogue::message_info;
using vorl::fuzz::check;
using vorl::fuzz::finding;
namespace json = vorl::json;

/// Longer frames are read by nothing here: one line of a dump may stand for megabytes.
constexpr std::size_t longest_frame = 1 << 16;

void must_be_same(const message_info &type, const void *a, const void *b, const char *when)
{
    const std::string path = json::first_difference(type, a, b);
    if (!path.empty())
        finding(std::string(type.name) + ", " + path + " differs when " + when);
}

void write_and_read(const message_info &type, const void *record)
{
    for (const json::zeros zeros : {json::zeros::omit, json::zeros::write}) {
        const json::record again = json::parse_record(json::format_record(type, record, zeros));
        check(&again.type() == &type, "read again as another message");
        must_be_same(type, record, again.data(), "written and read");
    }
}

void encode_and_decode(const json::record &record)
{
    const message_info &type = record.type();
    for (const bytes &encoded :
         {vorl::pack_record(type, record.data()), vorl::capture_frame(type, record.data())}) {
        check(!encoded.empty(), "not encoded");
        check(!vorl::explain(type, encoded, nullptr), "explain refuses what the library wrote");
        vorl::take_library_log();
        const vorl::decoded_record again(type, encoded);
        check(vorl::take_library_log().empty(), "the library refuses what it wrote");
        must_be_same(type, record.data(), again.data(), "encoded and decoded");
    }
}

void check_error(const std::string &text)
{
    for (const char c : text)
        check(c >= 0x20 && c < 0x7F, "an error that is not one line of printable characters");
}

void read_json(std::istream &text)
{
    json::line_reader lines(text, "text");
    for (;;) {
        try {
            const auto record = lines.next();
            if (!record)
                return;
            write_and_read(record->type(), record->data());
            encode_and_decode(*record);
        } catch (const json::input_error &error) {
            check_error(error.what());
        }
    }
}

void read_frame(const message_info &type, const bytes &frame)
{
    std::ostringstream shown;
    const auto why = vorl::explain(type, frame, &shown);
    const auto why_again = vorl::explain(type, frame, nullptr);
    check(why.has_value() == why_again.has_value(), "explain decides by its output");
    vorl::take_library_log();
    const vorl::decoded_record record(type, frame);
    const bool is_refused = !vorl::take_library_log().empty();
    if (why) {
        check(vorl::to_text(*why) == vorl::to_text(*why_again), "explain gives two reasons");
        check_error(vorl::to_text(*why));
        return;
    }
    check(!is_refused, "explain accepts what the library refuses");
    write_and_read(type, record.data());
}

void read_hex(const std::string &name, std::istream &text)
{
    try {
        const message_info &type = vorl::find_message_or_throw(name);
        vorl::read_hex_frames(text, [&type](std::size_t, const bytes &frame) {
            if (frame.size() <= longest_frame)
                read_frame(type, frame);
        });
    } catch (const std::runtime_error &error) {
        check_error(error.what());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::istringstream text(std::string(reinterpret_cast<const char *>(data), size));
    std::string kind;
    std::getline(text, kind);
    if (kind == "json")
        read_json(text);
    else if (kind.starts_with("hex "))
        read_hex(kind.substr(4), text);
    return 0;
}
