// Objects with the names and forms of labels: written, and read by either name, in either form.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "idl/srv6/srv6.h"
#include "inspect/integers.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"
#include "tools/vorl/json_record.h"

using namespace vorl;
using namespace vorl::json;

namespace {

inspect::labels labels_of(const std::string &text)
{
    const inspect::labels_file file = inspect::read_labels("version = 1\n" + text);
    for (const inspect::labels_problem &problem : file.problems)
        ADD_FAILURE() << problem.line << ": " << problem.what;
    return file.right;
}

const char *const localsid_labels = R"([srv6_localsid_fwd]
f0 = { name = "number", form = "dec" }
f1 = { name = "behaviour", form = "enum", values = { 1 = "End", 5 = "End.X" } }
f3 = { form = "ipv4" }
f4 = { name = "since", form = "time", unit = "s" }
f5 = { name = "sid", form = "prefix", length = "f6" }
f6 = { name = "prefix_length", unit = "bits" }
f7 = { name = "function", form = "hex" }
f8 = { name = "uptime", form = "time", unit = "ms", since = "start" }
f9 = { name = "flavour", form = "flags", bits = { 0 = "psp", 1 = "usp" } }
f12 = { name = "rate", form = "unit", unit = "Mbit/s" }
)";

const std::string written =
    R"({"message":"srv6_localsid_fwd","number":7,"behaviour":"End.X","f2":0,)"
    R"("f3":"192.0.2.1","since":"2000-02-29T00:00:00Z",)"
    R"("sid":"2001:db8::/48","prefix_length":48,"function":"0x001f",)"
    R"("uptime":"00:00:01.500","flavour":["usp","0x4"],"f10":9,"f11":0,)"
    R"("rate":"100 Mbit/s"})";
const std::string without = R"({"message":"srv6_localsid_fwd","f0":7,"f1":5,"f2":0,)"
                            R"("f3":3221225985,"f4":951782400,"f5":"2001:db8::","f6":48,"f7":31,)"
                            R"("f8":1500,"f9":6,"f10":9,"f11":0,"f12":100})";

std::string object(const std::string &members)
{
    return R"({"message":"srv6_localsid_fwd",)" + members + "}";
}

/// The object without labels, zeros left out; or why it is refused with them.
std::string read(const std::string &members, const std::string &text = localsid_labels)
{
    const inspect::labels names = labels_of(text);
    try {
        const record r = parse_record(object(members), &names);
        const std::string line = format_record(r.type(), r.data(), zeros::omit);
        const std::string opening = R"({"message":"srv6_localsid_fwd")";
        return line.substr(opening.size());
    } catch (const input_error &error) {
        return error.what();
    }
}

/// Labels for all slots of all messages, each with the one of the forms that fit it that has the
/// number `turn`, or the last.
inspect::labels every_slot_in_form(std::size_t turn)
{
    std::string text;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            text += "[" + std::string(name_of(info.data)) + "]\n";
            std::string length;
            for (std::size_t i = 0; i < info.slots.size(); ++i) {
                if (info.data.slots[i].shape == slot_shape::scalar)
                    length = info.slots[i].name;
            }
            for (std::size_t i = 0; i < info.slots.size(); ++i) {
                std::vector<const inspect::form_info *> fitting;
                for (const inspect::form_info &f : inspect::all_forms()) {
                    const bool lacks_length = f.is == inspect::form::prefix && length.empty();
                    if (inspect::fits(f.is, info.data.slots[i]) && !lacks_length)
                        fitting.push_back(&f);
                }
                text += std::string(info.slots[i].name) + " = { name = \"slot_" +
                        std::to_string(i) + "\"";
                if (!fitting.empty()) {
                    const inspect::form_info &f = *fitting[std::min(turn, fitting.size() - 1)];
                    text += ", form = \"" + std::string(f.name) + "\"";
                    switch (f.is) {
                    case inspect::form::prefix: text += ", length = \"" + length + "\""; break;
                    case inspect::form::sid: text += ", locator = 45, function = 18"; break;
                    case inspect::form::time:
                        text +=
                            i % 2 == 0 ? R"(, unit = "s")" : R"(, unit = "us", since = "start")";
                        break;
                    case inspect::form::enumeration:
                        text += R"(, values = { 0 = "zero", 1 = "one", 255 = "all" })";
                        break;
                    case inspect::form::flags: text += R"(, bits = { 0 = "a", 7 = "b" })"; break;
                    case inspect::form::unit: text += R"(, unit = "a unit")"; break;
                    default: break;
                    }
                }
                text += " }\n";
            }
        }
    }
    return labels_of(text);
}

/// Every byte of the record, in scalars and arrays however deep; vectors are left as they are.
void fill(const message &m, std::uint8_t *record, int byte)
{
    for (const vorl::slot &slot : m.slots) {
        std::uint8_t *const at = record + slot.record_at;
        if (slot.shape == slot_shape::scalar || slot.shape == slot_shape::array)
            std::memset(at, byte, test::inline_size(slot));
        const std::size_t count = slot.shape == slot_shape::table         ? 1
                                  : slot.shape == slot_shape::table_array ? slot.count
                                                                          : 0;
        for (std::size_t i = 0; i < count; ++i)
            fill(*slot.nested, at + i * slot.nested->record_size, byte);
    }
}

void goes_through_text(const message &m, const void *record, const inspect::labels &names)
{
    for (const zeros zero_members : {zeros::write, zeros::omit}) {
        const std::string line = format_record(m, record, zero_members, &names);
        const json::record again = parse_record(line, &names);
        ASSERT_EQ(&again.type(), &m);
        ASSERT_EQ(first_difference(m, record, again.data()), "") << line;
        ASSERT_EQ(format_record(m, again.data(), zero_members, &names), line);
    }
    // And what is written without labels is read with them.
    const json::record again = parse_record(format_record(m, record, zeros::write), &names);
    ASSERT_EQ(first_difference(m, record, again.data()), "") << name_of(m);
}

} // namespace

TEST(labels_json, members_have_the_names_and_forms_of_the_labels)
{
    const inspect::labels names = labels_of(localsid_labels);
    const record r = parse_record(without);
    EXPECT_EQ(format_record(r.type(), r.data(), zeros::write, &names), written);
    EXPECT_EQ(format_record(r.type(), r.data(), zeros::write), without);
    const record of_names = parse_record(written, &names);
    EXPECT_EQ(format_record(r.type(), of_names.data(), zeros::write), without);
    const record of_slots = parse_record(without, &names);
    EXPECT_EQ(format_record(r.type(), of_slots.data(), zeros::write), without);
    const srv6_localsid_fwd zero{};
    EXPECT_EQ(format_record(r.type(), &zero, zeros::omit, &names),
              R"({"message":"srv6_localsid_fwd"})");
}

TEST(labels_json, every_message_goes_through_text_in_every_form)
{
    constexpr std::size_t most_forms_of_a_slot = 8; // of a uint32
    for (std::size_t turn = 0; turn < most_forms_of_a_slot; ++turn) {
        const inspect::labels names = every_slot_in_form(turn);
        std::size_t messages = 0;
        for (const auto &[info, fact] : test::all_messages()) {
            for (std::uint32_t seed = 1; seed <= 4; ++seed) {
                test::sample sample(*info, 1, seed - 1, seed);
                goes_through_text(*info, sample.record(), names);
                for (const int byte : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
                    fill(*info, static_cast<std::uint8_t *>(sample.record()), byte);
                    goes_through_text(*info, sample.record(), names);
                    if (HasFatalFailure())
                        FAIL() << name_of(*info) << ", turn " << turn;
                }
            }
            ++messages;
        }
        ASSERT_EQ(messages, test::counts::messages);
    }
}

TEST(labels_json, elements_and_nested_tables_have_the_labels_of_their_message)
{
    const inspect::labels names =
        labels_of("[srv6_sidnhp_fwd_update]\nf1 = { name = \"records\" }\n"
                  "[srv6_sidnhp_fwd]\nf3 = { name = \"weight\" }\n"
                  "[srv6_cfg_query_trastat_cond]\n"
                  "f0 = { name = \"kind\", form = \"hex\" }\n");
    for (const char *line :
         {R"({"message":"srv6_sidnhp_fwd_update","records":[{"f0":1,"weight":2},{"weight":3}]})",
          R"({"message":"srv6_cfg_query_trastat_key","f1":{"kind":"0x00000001"}})"}) {
        const record r = parse_record(line, &names);
        EXPECT_EQ(format_record(r.type(), r.data(), zeros::omit, &names), line);
    }
}

TEST(labels_json, a_member_is_given_once_by_either_name)
{
    EXPECT_EQ(read(R"("f6":1,"prefix_length":1)"),
              "prefix_length: is given as f6, too; give it once");
    EXPECT_EQ(read(R"("prefix_length":1,"f6":1)"),
              "f6: is given as prefix_length, too; give it once");
    EXPECT_EQ(read(R"("prefix_length":1,"prefix_length":1)"),
              "prefix_length: is given twice; give it once");
}

TEST(labels_json, names_that_there_are_not)
{
    EXPECT_EQ(read(R"("prefix_lenght":1)"),
              "prefix_lenght: is no member of srv6_localsid_fwd; did you mean prefix_length?");
    EXPECT_EQ(read(R"("colour":1)"),
              "colour: is no member of srv6_localsid_fwd; its members are f0 "
              "to f12, by these names or their labels'");
    try {
        parse_record(object(R"("prefix_length":1)"));
        FAIL() << "accepted";
    } catch (const input_error &error) {
        EXPECT_STREQ(error.what(), "prefix_length: is no member of srv6_localsid_fwd; its members "
                                   "are f0 to f12");
    }
}

TEST(labels_json, numbers_stand_for_every_form)
{
    EXPECT_EQ(
        read(R"("behaviour":5,"f3":1,"since":2,"function":31,"uptime":3,"flavour":4,"rate":5)"),
        R"(,"f1":5,"f3":1,"f4":2,"f7":31,"f8":3,"f9":4,"f12":5})");
    EXPECT_EQ(read(R"("f1":"End","f7":"0x1f","f9":"psp|0x4","f5":"::1","f12":"5 Mbit/s")"),
              R"(,"f1":1,"f5":"::1","f7":31,"f9":5,"f12":5})");
    EXPECT_EQ(read(R"("sid":[1,2,3,4])"), R"(,"f5":"100:0:200:0:300:0:400:0"})");
}

TEST(labels_json, a_value_that_a_form_has_no_text_for_is_a_number)
{
    const inspect::labels names = labels_of(localsid_labels);
    const record r = parse_record(object(R"("f1":2)"));
    EXPECT_EQ(format_record(r.type(), r.data(), zeros::omit, &names), object(R"("behaviour":2)"));
}

TEST(labels_json, texts_that_are_no_value)
{
    EXPECT_EQ(read(R"("behaviour":"End.Y")"),
              "behaviour: \"End.Y\" is no name of its values; did you mean End.X?");
    EXPECT_EQ(read(R"("f9":["psp",4])"), "f9: is a number; give the names of flags");
    EXPECT_EQ(read(R"("f9":["0x100"])"),
              "f9: \"0x100\" is out of range; give 0x and up to 2 hex digits");
    EXPECT_EQ(read(R"("function":70000)"),
              "function: 70000 is out of range; give a whole number from 0 to 65535");
    EXPECT_EQ(read(R"("number":"7")"),
              "number: is a string; give a whole number from 0 to 4294967295");
    EXPECT_EQ(read(R"("f1":{})"), "f1: is an object; give a whole number from 0 to 4294967295");
}

TEST(labels_json, a_prefix_brings_its_length)
{
    EXPECT_EQ(read(R"("sid":"2001:db8::/32")"), R"(,"f5":"2001:db8::","f6":32})");
    EXPECT_EQ(read(R"("sid":"2001:db8::/32","f6":32)"), R"(,"f5":"2001:db8::","f6":32})");
    EXPECT_EQ(read(R"("f6":32,"sid":"2001:db8::")"), R"(,"f5":"2001:db8::","f6":32})");
    for (const char *members :
         {R"("sid":"2001:db8::/32","f6":48)", R"("f6":48,"sid":"2001:db8::/32")"})
        EXPECT_EQ(read(members),
                  "sid: has a length of 32, and f6 is 48; give one of them, or both the same");
    EXPECT_EQ(read(R"("sid":"2001:db8::/65535")"), R"(,"f5":"2001:db8::","f6":65535})");
    EXPECT_EQ(read(R"("sid":"2001:db8::/65536")"),
              "sid: has a length of 65536; give at most 65535");
    const std::string two = "[srv6_localsid_fwd]\nf5 = { form = \"prefix\", length = \"f6\" }\n"
                            "f0 = { form = \"prefix\", length = \"f6\" }\n";
    EXPECT_EQ(read(R"("f0":"10.0.0.0/8","f5":"::/8")", two), R"(,"f0":167772160,"f6":8})");
    EXPECT_EQ(read(R"("f0":"10.0.0.0/8","f5":"::/9")", two),
              "f5: has a length of 9, and f6 is 8; give one of them, or both the same");
}

TEST(labels_json, arrays_of_numbers)
{
    const std::string words = "[srv6_localsid_fwd]\nf5 = { name = \"words\", form = \"hex\" }\n";
    EXPECT_EQ(read(R"("words":["0x100",2,"0x00000003",4])", words),
              R"(,"f5":"1:0:200:0:300:0:400:0"})");
    EXPECT_EQ(read(R"("words":"::1")", words), R"(,"f5":"::1"})");
    EXPECT_EQ(read(R"("words":["0x1"])", words), "words: has 1 elements; give 4 numbers");
    EXPECT_EQ(read(R"("words":[1,2,3,{}])", words),
              "words[3]: is an object; give a whole number from 0 to 4294967295");
    const inspect::labels dec = labels_of("[srv6_localsid_fwd]\nf5 = { form = \"dec\" }\n");
    const record r = parse_record(object(R"("f5":[1,2,3,4])"));
    EXPECT_EQ(format_record(r.type(), r.data(), zeros::omit, &dec), object(R"("f5":[1,2,3,4])"));
    const inspect::labels hex = labels_of(words);
    EXPECT_EQ(format_record(r.type(), r.data(), zeros::omit, &hex),
              object(R"("words":["0x00000001","0x00000002","0x00000003","0x00000004"])"));
}
