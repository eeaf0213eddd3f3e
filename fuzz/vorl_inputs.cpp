// What the vorl tool is given as text. The first line says what stands behind it:
//
//   json            a file of JSON objects, one a line
//   hex MESSAGE     frames as hex digits, one a line (dumps.cpp has the other forms), of the message of that name or identifier
//
// An object that is accepted must survive being written and read again, packed and sent. Bytes that
// `explain` accepts must be those that the library accepts.
#include <sstream>
#include <string>

#include "fuzz/finding.h"
#include "inspect/encode.h"
#include "inspect/explain.h"
#include "inspect/explain_text.h"
#include "tests/support/functions.h"
#include "tools/vorl/dumps/read_frames.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/library_log.h"

namespace {

using vorl::bytes;
using vorl::message;
using vorl::fuzz::check;
using vorl::fuzz::finding;
using vorl::test::functions_of;
namespace inspect = vorl::inspect;
namespace json = vorl::json;

void must_be_same(const message &type, const void *a, const void *b, const char *when)
{
    const std::string path = json::first_difference(type, a, b);
    if (!path.empty())
        finding(std::string(name_of(type)) + ", " + path + " differs when " + when);
}

void write_and_read(const message &type, const void *record)
{
    for (const json::zeros zeros : {json::zeros::omit, json::zeros::write}) {
        const json::record again = json::parse_record(json::format_record(type, record, zeros));
        check(&again.type() == &type, "read again as another message");
        must_be_same(type, record, again.data(), "written and read");
    }
}

/// What the library reads.
class decoded {
  public:
    decoded(const message &type, const bytes &from) : type_(type), data_((type.record_size + 7) / 8)
    {
        vorl::take_library_log();
        functions_of(type).unpack(from.data(), static_cast<std::int32_t>(from.size()),
                                  data_.data());
        has_logged_ = !vorl::take_library_log().empty();
    }
    ~decoded() { functions_of(type_).free_unpacked(data_.data()); }
    decoded(const decoded &) = delete;
    decoded &operator=(const decoded &) = delete;

    const void *data() const { return data_.data(); }
    bool has_logged() const { return has_logged_; }

  private:
    const message &type_;
    std::vector<std::uint64_t> data_;
    bool has_logged_ = false;
};

void encode_and_decode(const json::record &record)
{
    const message &type = record.type();
    for (const inspect::encoding as : {inspect::encoding::packed, inspect::encoding::frame}) {
        const bytes encoded = inspect::encode(type, record.data(), as);
        check(!encoded.empty(), "not encoded");
        check(!inspect::first_damage(type, encoded), "explain refuses what was encoded");
        const decoded again(type, encoded);
        check(!again.has_logged(), "the library refuses what was encoded");
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

void read_frame(const message &type, const bytes &frame)
{
    std::ostringstream shown;
    const inspect::explanation explained = inspect::explain(type, frame);
    write_text(explained, shown, inspect::colours::none);
    const auto why = inspect::first_damage(type, frame);
    check(why.has_value() != explained.damages.empty(), "explain has two verdicts");
    const decoded record(type, frame);
    if (why) {
        check(to_text(*why) == to_text(explained.damages[0]), "explain gives two reasons");
        check_error(to_text(*why));
        return;
    }
    check(!record.has_logged(), "explain accepts what the library refuses");
    write_and_read(type, record.data());
}

void read_hex(const std::string &name, std::istream &text)
{
    try {
        const message &type = vorl::find_message_or_throw(name).data;
        std::ostringstream notes;
        vorl::read_frames(
            text, "text", {.form = vorl::dump_form::hex, .layout = vorl::dump_layout::frame_a_line},
            [&type](const std::string &, const bytes &frame) { read_frame(type, frame); }, notes);
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
