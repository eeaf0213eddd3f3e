// JSON to records and back.
#include <gtest/gtest.h>

#include <cstring>

#include "idl/srv6/srv6.h"
#include "idl/srv6_cfg/srv6_cfg.h"
#include "idl/srv6_sync/srv6_sync.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"
#include "tools/vorl/json_record.h"

using namespace vorl;
using namespace vorl::json;

namespace {

template <class Record>
const Record &as(const record &parsed)
{
    EXPECT_EQ(parsed.type().record_size, sizeof(Record));
    return *reinterpret_cast<const Record *>(parsed.data());
}

std::string error_of(const std::string &line)
{
    try {
        parse_record(line);
    } catch (const input_error &error) {
        return error.what();
    }
    return "accepted";
}

std::string written(const record &parsed, zeros zero_members = zeros::omit)
{
    return format_record(parsed.type(), parsed.data(), zero_members);
}

} // namespace

TEST(json, every_message_goes_through_text_and_back)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : test::all_messages()) {
        for (std::uint32_t seed = 1; seed <= 4; ++seed) {
            test::sample sample(*info, 1, seed - 1, seed);
            const record parsed = parse_record(format_record(*info, sample.record(), zeros::write));
            ASSERT_EQ(&parsed.type(), info);
            // An empty vector has no pointer; the sample's may have one.
            if (seed > 1) {
                ASSERT_TRUE(test::same_record(*info, sample.record(), parsed.data()))
                    << name_of(*info);
            }
            ASSERT_EQ(first_difference(*info, sample.record(), parsed.data()), "")
                << name_of(*info);
            ASSERT_EQ(written(parsed, zeros::write),
                      format_record(*info, sample.record(), zeros::write));
        }
        ++messages;
    }
    EXPECT_EQ(messages, test::counts::messages);
}

TEST(json, every_message_of_zeros_is_its_name_alone)
{
    for (const auto &[info, fact] : test::all_messages()) {
        const std::string name_alone = std::string(R"({"message":")") + name_of(*info) + R"("})";
        const record parsed = parse_record(name_alone);
        EXPECT_EQ(written(parsed), name_alone);
        for (std::size_t i = 0; i < info->record_size; ++i)
            ASSERT_EQ(parsed.data()[i], 0) << name_of(*info);
    }
}

TEST(json, scalars_are_exact_up_to_their_limits)
{
    const record item = parse_record(
        R"({"message":"srv6_cfg_query_trastat_item","f5":4294967295,"f6":18446744073709551615,)"
        R"("f7":18446744073709551614,"f8":9007199254740993})");
    const auto &values = as<srv6_cfg_query_trastat_item>(item);
    EXPECT_EQ(values.f5, 0xFFFFFFFFu);
    EXPECT_EQ(values.f6, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(values.f7, 0xFFFFFFFFFFFFFFFEu);
    EXPECT_EQ(values.f8, 9007199254740993u);
    EXPECT_EQ(written(item),
              R"({"message":"srv6_cfg_query_trastat_item","f5":4294967295,)"
              R"("f6":18446744073709551615,"f7":18446744073709551614,"f8":9007199254740993})");
}

TEST(json, an_address_is_the_bytes_in_memory)
{
    const record key = parse_record(R"({"message":"srv6_iid_fwd_key","f2":"2001:db8:0:1::a0b"})");
    const std::uint8_t address[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0,    1,
                                      0,    0,    0,    0,    0, 0, 0x0a, 0x0b};
    EXPECT_EQ(std::memcmp(as<srv6_iid_fwd_key>(key).f2, address, sizeof address), 0);
    EXPECT_EQ(as<srv6_iid_fwd_key>(key).f2[0], 0xb80d0120u);
    EXPECT_EQ(written(key), R"({"message":"srv6_iid_fwd_key","f2":"2001:db8:0:1::a0b"})");
}

TEST(json, an_address_may_be_four_numbers)
{
    const record key =
        parse_record(R"({"message":"srv6_iid_fwd_key","f2":[3087860000,16777216,0,185204736]})");
    EXPECT_EQ(written(key), R"({"message":"srv6_iid_fwd_key","f2":"2001:db8:0:1::a0b"})");
}

TEST(json, eight_words_are_numbers)
{
    const std::string line =
        R"({"message":"srv6_sync_common_fwd","f13":[1,2,3,4,5,6,7,4294967295]})";
    const record parsed = parse_record(line);
    EXPECT_EQ(as<srv6_sync_common_fwd>(parsed).f13[0], 1u);
    EXPECT_EQ(as<srv6_sync_common_fwd>(parsed).f13[7], 0xFFFFFFFFu);
    EXPECT_EQ(written(parsed), line);
}

TEST(json, byte_blocks_lose_trailing_zeros_and_byte_vectors_do_not)
{
    const record block = parse_record(R"({"message":"srv6_cfg_query_dfx_cond","f2":"00aBff0000"})");
    const std::uint8_t bytes[5] = {0, 0xAB, 0xFF, 0, 0};
    EXPECT_EQ(std::memcmp(as<srv6_cfg_query_dfx_cond>(block).f2, bytes, sizeof bytes), 0);
    EXPECT_EQ(as<srv6_cfg_query_dfx_cond>(block).f2[127], 0);
    EXPECT_EQ(written(block), R"({"message":"srv6_cfg_query_dfx_cond","f2":"00abff"})");
    EXPECT_EQ(written(parse_record(R"({"message":"srv6_cfg_query_dfx_cond"})"), zeros::write),
              R"({"message":"srv6_cfg_query_dfx_cond","f0":0,"f1":0,"f2":""})");

    const record vector =
        parse_record(R"({"message":"srv6_cfg_query_comm_param","f2":"00abff0000"})");
    EXPECT_EQ(as<srv6_cfg_query_comm_param>(vector).f2_count, 5u);
    EXPECT_EQ(written(vector), R"({"message":"srv6_cfg_query_comm_param","f2":"00abff0000"})");
}

TEST(json, arrays_of_tables_lose_trailing_zero_objects_and_vectors_do_not)
{
    const std::string info = R"({"message":"srv6_cfg_query_trastat_rec_info","f0":[{},{"f0":7})";
    const record parsed = parse_record(info + ",{},{}]}");
    EXPECT_EQ(as<srv6_cfg_query_trastat_rec_info>(parsed).f0[1].f0, 7u);
    EXPECT_EQ(written(parsed), info + "]}");

    const std::string batch = R"({"message":"srv6_sidnhp_fwd_update","f1":[{},{"f3":7},{}]})";
    const record records = parse_record(batch);
    EXPECT_EQ(as<srv6_sidnhp_fwd_update>(records).f1_count, 3u);
    EXPECT_EQ(as<srv6_sidnhp_fwd_update>(records).f1[1].f3, 7u);
    EXPECT_EQ(written(records), batch);
}

TEST(json, a_vector_that_lost_its_pointer_is_written_empty)
{
    srv6_sidnhp_fwd_update failed = {};
    failed.f1_count = 3;
    EXPECT_EQ(format_record(catalogue::find_message("srv6_sidnhp_fwd_update")->data, &failed,
                            zeros::write),
              R"({"message":"srv6_sidnhp_fwd_update","f0":0,"f1":[]})");
}

TEST(json, a_record_keeps_its_memory_when_it_moves)
{
    std::vector<record> records;  // grows, and so moves them
    for (int i = 0; i < 100; ++i) // NOLINTNEXTLINE(performance-inefficient-vector-operation)
        records.push_back(parse_record(
            R"({"message":"srv6_sidnhp_fwd_update","f0":9,"f1":[{"f0":1},{"f3":7}]})"));
    for (const record &moved : records)
        EXPECT_EQ(written(moved),
                  R"({"message":"srv6_sidnhp_fwd_update","f0":9,"f1":[{"f0":1},{"f3":7}]})");
}

TEST(json, differences_are_found_where_they_are)
{
    const auto difference = [](const std::string &a, const std::string &b) {
        const record left = parse_record(a);
        const record right = parse_record(b);
        return first_difference(left.type(), left.data(), right.data());
    };
    const std::string batch = R"({"message":"srv6_iid_fwd_update","f0":1,"f1":[{},{"f2":"::1"}]})";
    EXPECT_EQ(difference(batch, batch), "");
    EXPECT_EQ(difference(batch, R"({"message":"srv6_iid_fwd_update","f0":2})"), "f0");
    EXPECT_EQ(difference(batch, R"({"message":"srv6_iid_fwd_update","f0":1,"f1":[{}]})"),
              "f1_count");
    EXPECT_EQ(
        difference(batch, R"({"message":"srv6_iid_fwd_update","f0":1,"f1":[{},{"f2":"::2"}]})"),
        "f1[1].f2");
    EXPECT_EQ(difference(R"({"message":"srv6_cfg_query_dfx_key","f0":{"f2":"01"}})",
                         R"({"message":"srv6_cfg_query_dfx_key","f0":{"f2":"02"}})"),
              "f0.f2");
}

TEST(json, every_difference_of_every_slot_is_found)
{
    for (const auto &[info, fact] : test::all_messages()) {
        test::sample a(*info, 1, 2, 1);
        test::sample b(*info, 1, 2, 99);
        EXPECT_EQ(first_difference(*info, a.record(), a.record()), "");
        EXPECT_NE(first_difference(*info, a.record(), b.record()), "") << name_of(*info);
    }
}

TEST(json, errors_name_the_member_and_what_to_do)
{
    const struct {
        const char *line;
        const char *error;
    } cases[] = {
        {R"({"message":"srv6_localsid_fwd","f0":1,})",
         "column 39: not JSON: syntax error while parsing object key - unexpected '}', expected "
         "string literal; give one JSON object a line"},
        {R"({"message":"srv6_pid_state"}{"message":"srv6_pid_state"})",
         "column 29: not JSON: syntax error while parsing value - unexpected '{', expected end of "
         "input; give one JSON object a line"},
        {R"({"message":"srv6_localsid_fwd","f9":1e999})",
         "column 41: not JSON: number overflow parsing '1e999'; give one JSON object a line"},
        {R"([1])", "line: is an array; give one JSON object, as in "
                   R"({"message":"srv6_localsid_fwd",...})"},
        {R"({"f0":1})", "message: is missing; name the type, as in "
                        R"({"message":"srv6_localsid_fwd",...})"},
        {R"({"message":7})",
         "message: is a number; give the name of a message; 'vorl list' shows them"},
        {R"({"message":"srv6_localsid"})",
         R"(message: "srv6_localsid" is no message; 'vorl list' shows them all)"},
        {R"({"message":"srv6_pid_state","message":"srv6_pid_state"})",
         "message: is given twice; give it once"},
        {R"({"message":"srv6_localsid_fwd","f13":1})",
         "f13: is no member of srv6_localsid_fwd; its members are f0 to f12"},
        {R"({"message":"srv6_common_fwd_key","a\n\u00e9":1})",
         R"(a\x0a\xc3\xa9: is no member of srv6_common_fwd_key; its members are f0 alone)"},
        {R"({"message":"srv6_localsid_fwd","f1":1,"f1":1})", "f1: is given twice; give it once"},
        {R"({"message":"srv6_localsid_fwd","f9":"1"})",
         "f9: is a string; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f9":true})",
         "f9: is true or false; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f9":null})",
         "f9: is null; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f9":256})",
         "f9: 256 is out of range; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f6":65536})",
         "f6: 65536 is out of range; give a whole number from 0 to 65535"},
        {R"({"message":"srv6_localsid_fwd","f0":4294967296})",
         "f0: 4294967296 is out of range; give a whole number from 0 to 4294967295"},
        {R"({"message":"srv6_cfg_query_trastat_item","f6":18446744073709551616})",
         "f6: 18446744073709551616 is out of range; give a whole number from 0 to "
         "18446744073709551615"},
        {R"({"message":"srv6_localsid_fwd","f9":-1})",
         "f9: -1 is negative; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f9":-99999999999999999999})",
         "f9: -99999999999999999999 is negative; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f9":1.5})",
         "f9: 1.5 is not written as a whole number; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f9":1e2})",
         "f9: 1e2 is not written as a whole number; give a whole number from 0 to 255"},
        {R"({"message":"srv6_localsid_fwd","f5":"2001:db8::/32"})",
         R"(f5: "2001:db8::/32" is not an IPv6 address; give one such as "2001:db8::1", without a )"
         "prefix length"},
        {R"({"message":"srv6_localsid_fwd","f5":"::1\u0000"})",
         R"(f5: "::1\x00" is not an IPv6 address; give one such as "2001:db8::1", without a )"
         "prefix length"},
        {R"({"message":"srv6_localsid_fwd","f5":[1,2,3]})",
         "f5: has 3 elements; give an IPv6 address, or an array of 4 numbers"},
        {R"({"message":"srv6_localsid_fwd","f5":1})",
         "f5: is a number; give an IPv6 address, or an array of 4 numbers"},
        {R"({"message":"srv6_sync_common_fwd","f13":"::1"})",
         "f13: is a string; give an array of 8 numbers"},
        {R"({"message":"srv6_sync_common_fwd","f13":[0,0,0,0,0,0,0,0,0]})",
         "f13: has 9 elements; give an array of 8 numbers"},
        {R"({"message":"srv6_sync_common_fwd","f13":[0,0,-1,0,0,0,0,0]})",
         "f13[2]: -1 is negative; give a whole number from 0 to 4294967295"},
        {R"({"message":"srv6_cfg_query_dfx_cond","f2":"abc"})",
         "f2: has 3 hex digits; give two a byte"},
        {R"({"message":"srv6_cfg_query_dfx_cond","f2":"0x12"})",
         R"(f2: "0x12" is not hex text; give pairs of hex digits only)"},
        {R"({"message":"srv6_cfg_query_dfx_cond","f2":12})",
         R"(f2: is a number; give hex text such as "20010db8")"},
        {R"({"message":"srv6_cfg_query_dfx_item","f4":"0000000000000000000000000)"
         R"(0000000000000000000000000"})",
         "f4: has 25 bytes; give at most 24"},
        {R"({"message":"srv6_pid_state_chg","f1":[]})", "f1: is an array; give an object"},
        {R"({"message":"srv6_pid_state_chg","f1":{"f2":-7}})",
         "f1.f2: -7 is negative; give a whole number from 0 to 4294967295"},
        {R"({"message":"srv6_pid_state_chg","f1":{"message":"srv6_pid_state"}})",
         "f1.message: is no member of srv6_pid_state; its members are f0 to f2"},
        {R"({"message":"srv6_localsid_fwd_update","f1":{}})",
         "f1: is an object; give an array of objects"},
        {R"({"message":"srv6_localsid_fwd_update","f1":[{},1]})",
         "f1[1]: is a number; give an object"},
        {R"({"message":"srv6_localsid_fwd_update","f1":[{},{},{},{"f6":65536}]})",
         "f1[3].f6: 65536 is out of range; give a whole number from 0 to 65535"},
    };
    for (const auto &[line, error] : cases)
        EXPECT_EQ(error_of(line), error) << line;
}

TEST(json, too_many_elements_of_an_array_of_tables_are_refused)
{
    std::string line = R"({"message":"srv6_cfg_query_trastat_rec","f1":{"f0":[{})";
    for (int i = 1; i < 128; ++i)
        line += ",{}";
    EXPECT_EQ(error_of(line + "]}}"), "accepted");
    EXPECT_EQ(error_of(line + ",{}]}}"), "f1.f0: has 129 objects; give at most 128");
}

TEST(json, deep_nesting_is_refused_before_it_hurts)
{
    const std::string deep = "object: is nested deeper than any message; see 'vorl describe'";
    EXPECT_EQ(error_of(std::string(17, '[')), deep);
    EXPECT_EQ(error_of(std::string(1000000, '[')), deep);
    EXPECT_EQ(error_of(R"({"f0":)" + std::string(1000000, '[')), deep);
}

TEST(json, long_texts_are_cut_in_errors)
{
    const std::string error = error_of(R"({"message":")" + std::string(100000, 'x') + "\"}");
    EXPECT_EQ(error, "message: \"" + std::string(160, 'x') +
                         "...\" is no message; 'vorl list' shows them "
                         "all");
}
