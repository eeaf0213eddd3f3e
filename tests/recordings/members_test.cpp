// Two records of a message, member by member, for every message.
#include <gtest/gtest.h>

#include "catalogue/catalogue.h"
#include "inspect/encode.h"
#include "tests/facts/counts.h"
#include "tools/vorl/diff/compare.h"

using namespace vorl;
using namespace vorl::diff;

namespace {

item line(const std::string &object)
{
    item i;
    i.is_text = true;
    i.content = object;
    i.identifier = json::parse_record(object).type().msg_id;
    return i;
}

item frame(const std::string &object, inspect::encoding as)
{
    const json::record record = json::parse_record(object);
    const std::vector<std::uint8_t> bytes = inspect::encode(record.type(), record.data(), as);
    item i;
    i.identifier = record.type().msg_id;
    i.length = static_cast<std::uint32_t>(bytes.size());
    i.content.assign(bytes.begin(), bytes.end());
    return i;
}

/// "f6 value 48 value 64; ..."
std::string differences(const item &a, const item &b, bool is_strict = false)
{
    const opened in_a(a, nullptr), in_b(b, nullptr);
    std::string all;
    for (const difference &d : compare(in_a, in_b, is_strict, nullptr)) {
        all += (all.empty() ? "" : "; ") + d.member;
        for (const state *s : {&d.a, &d.b})
            all += std::string(" ") + diff::name_of(s->is) + (s->text.empty() ? "" : " " + s->text);
    }
    return all;
}

/// A value that is not zero, of a slot, as JSON.
std::string some_value(const slot &s)
{
    switch (s.shape) {
    case slot_shape::scalar: return "5";
    case slot_shape::array:
        if (s.width == 1)
            return "\"05\"";
        return s.count == 4 ? "\"2001:db8::\"" : "[5,0,0,0,0,0,0,0]";
    case slot_shape::byte_vector: return "\"0500\"";
    case slot_shape::table: return "{\"f0\":" + some_value(s.nested->slots[0]) + "}";
    case slot_shape::table_array:
    case slot_shape::table_vector: return "[{\"f0\":" + some_value(s.nested->slots[0]) + "}]";
    }
    return "";
}

/// Where that value differs from none: its path.
std::string path_of(const slot &s, const std::string &name)
{
    switch (s.shape) {
    case slot_shape::table: return path_of(s.nested->slots[0], name + ".f0");
    case slot_shape::table_array: return path_of(s.nested->slots[0], name + "[0].f0");
    case slot_shape::table_vector: return name + "[0]";
    default: return name;
    }
}

} // namespace

// Absent, packed and in a frame: the same. Each member, when it is another: that one, and no other.
TEST(members, every_member_of_every_message)
{
    std::size_t messages = 0;
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            ++messages;
            const message &m = info.data;
            const std::string empty = std::string("{\"message\":\"") + vorl::name_of(m) + "\"}";
            for (std::size_t i = 0; i < m.slots.size; ++i) {
                const std::string name = "f" + std::to_string(i);
                SCOPED_TRACE(std::string(vorl::name_of(m)) + "." + name);
                const std::string full = empty.substr(0, empty.size() - 1) + ",\"" + name +
                                         "\":" + some_value(m.slots[i]) + "}";
                const item all[] = {line(full), frame(full, inspect::encoding::frame),
                                    frame(full, inspect::encoding::packed)};
                for (const item &one : all) {
                    for (const item &other : all)
                        EXPECT_EQ(differences(one, other), "");
                    const std::string found =
                        differences(one, frame(empty, inspect::encoding::packed));
                    EXPECT_EQ(found.substr(0, found.find(' ')), path_of(m.slots[i], name));
                    EXPECT_EQ(found.find(';'), std::string::npos) << found;
                }
            }
        }
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(members, absent_and_zero_are_the_same_unless_strict)
{
    const item absent = line(R"({"message":"srv6_class_item","f2":3})");
    const item zero = line(R"({"message":"srv6_class_item","f0":0,"f2":3})");
    const item value = line(R"({"message":"srv6_class_item","f0":7,"f2":3})");
    EXPECT_EQ(differences(absent, zero), "");
    EXPECT_EQ(differences(absent, zero, true), "f0 absent zero 0");
    EXPECT_EQ(differences(zero, absent, true), "f0 zero 0 absent");
    EXPECT_EQ(differences(absent, value), "f0 absent value 7");
    EXPECT_EQ(differences(zero, value), "f0 zero 0 value 7");
    EXPECT_EQ(differences(value, absent, true), "f0 value 7 absent");
    // A frame has every member, packed bytes those that are not zero.
    const std::string object = R"({"message":"srv6_class_item","f2":3})";
    EXPECT_EQ(differences(frame(object, inspect::encoding::packed), absent, true), "");
    EXPECT_EQ(differences(frame(object, inspect::encoding::frame), absent, true),
              "f0 zero 0 absent; f1 zero 0 absent");
}

TEST(members, tables_that_are_absent_are_told_as_a_whole_when_strict)
{
    const item absent = line(R"({"message":"srv6_localsid_fwd_delete"})");
    const item none = line(R"({"message":"srv6_localsid_fwd_delete","f1":[]})");
    const item two = line(R"({"message":"srv6_localsid_fwd_delete","f1":[{"f0":7},{"f0":8}]})");
    const item one = line(R"({"message":"srv6_localsid_fwd_delete","f1":[{"f0":7}]})");
    EXPECT_EQ(differences(absent, none), "");
    EXPECT_EQ(differences(absent, none, true), "f1 absent zero []");
    EXPECT_EQ(differences(two, one),
              R"(f1[1] value {"message":"srv6_localsid_fwd_key","f0":8} absent)");
}

// The vtable of a newer sender's frame has an entry more than is known here.
TEST(members, slots_that_nobody_knows_are_unknown)
{
    const std::string object = R"({"message":"srv6_class_item","f0":7,"f1":8,"f2":3})";
    const item known = frame(object, inspect::encoding::packed);
    // root 14, vtable 10 bytes at 4, table at 14; the newer one: root 16, vtable of 12 bytes.
    ASSERT_EQ(known.content.substr(0, 6), std::string("\x0e\0\0\0\x0a\0", 6));
    const auto newer = [&known](char last) {
        item i = known;
        i.content = std::string("\x10\0\0\0\x0c\0", 6) + known.content.substr(6, 8) +
                    std::string("\x0d\0\x0c\0\0\0", 6) + known.content.substr(18) + last;
        i.content[6] = 14; // table length
        i.length = static_cast<std::uint32_t>(i.content.size());
        return i;
    };
    const std::string unknown = "unknown a slot that this vorl does not know";
    EXPECT_EQ(differences(newer(1), known), "f3 " + unknown + " absent");
    EXPECT_EQ(differences(known, newer(1), true), "f3 absent " + unknown);
    EXPECT_EQ(differences(newer(1), newer(1)), "");
    EXPECT_EQ(differences(newer(1), newer(2)), "f3 " + unknown + " " + unknown);
}

TEST(members, frames_that_are_no_record_are_the_same_when_their_bytes_are)
{
    const std::string object = R"({"message":"srv6_class_item","f0":7})";
    const item whole = frame(object, inspect::encoding::frame);
    item cut = whole, refused = whole, of_nobody = whole;
    cut.content.resize(10);
    refused.content.resize(30);
    refused.length = 30;
    refused.content[24] = 100;
    of_nobody.identifier = 12345;
    EXPECT_EQ(differences(cut, cut), "");
    EXPECT_EQ(differences(whole, cut),
              " value 32 bytes that a receiver accepts unknown cut: 10 of 32 bytes");
    EXPECT_NE(differences(refused, whole).find(" unknown 30 bytes, refused at offset "),
              std::string::npos)
        << differences(refused, whole);
    EXPECT_EQ(differences(of_nobody, of_nobody), "");
    item other = of_nobody;
    other.content[8] = 1;
    EXPECT_EQ(differences(of_nobody, other),
              " unknown 32 bytes of a message that nobody knows unknown 32 bytes of a message that "
              "nobody knows");
}
