// Every form of dump, of the frames and the packed bytes of every message.
#include <gtest/gtest.h>

#include <algorithm>

#include "inspect/encode.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"
#include "tests/tools/dumps/reading.h"
#include "tests/tools/dumps/writers.h"

using namespace vorl;
using namespace vorl::test;

namespace {

/// Calls visit(name, bytes) for the frame and the packed bytes of each message, of a record without
/// zeros and of a record of zeros.
template <class Visitor>
void each_encoding(Visitor &&visit)
{
    std::size_t messages = 0;
    for (const auto &[info, fact] : all_messages()) {
        sample full(*info, 1, 2);
        const std::vector<std::uint64_t> zeros((info->record_size + 7) / 8);
        for (const void *record :
             {static_cast<const void *>(full.record()), static_cast<const void *>(zeros.data())}) {
            visit(name_of(*info), inspect::encode(*info, record, inspect::encoding::frame));
            visit(name_of(*info), inspect::encode(*info, record, inspect::encoding::packed));
        }
        ++messages;
    }
    EXPECT_EQ(messages, counts::messages);
}

/// That a dump of each is read as one frame, from its first line on, both when its form is recognised
/// and when it is named.
void every_message_is_read(dump_form form, const std::function<std::string(const bytes &)> &write)
{
    each_encoding([&](const char *name, const bytes &whole) {
        const std::string text = write(whole);
        for (const dump_form given : {dump_form::automatic, form}) {
            const reading_outcome read = read_dump(text, {.form = given});
            ASSERT_EQ(read.error, "") << name << '\n' << text;
            ASSERT_TRUE(read.found == (frames{{"F:1: ", hex_of(whole)}})) << name << '\n' << text;
        }
    });
}

} // namespace

TEST(dump_forms, digits_in_one_line)
{
    every_message_is_read(dump_form::hex, [](const bytes &b) { return xxd_plain(b, 0); });
    const auto separated = [](const char *between) {
        return [between](const bytes &b) { return to_hex(b.data(), b.size(), between) + '\n'; };
    };
    for (const char *between : {" ", ":", ", 0x"})
        every_message_is_read(dump_form::hex, separated(between));
}

TEST(dump_forms, digits_wrapped_by_xxd)
{
    every_message_is_read(dump_form::hex, [](const bytes &b) { return xxd_plain(b, 30); });
}

TEST(dump_forms, digits_wrapped_by_od) { every_message_is_read(dump_form::hex, od_alone); }

TEST(dump_forms, xxd) { every_message_is_read(dump_form::xxd, test::xxd); }

TEST(dump_forms, hexdump_canonical)
{
    every_message_is_read(dump_form::hexdump, hexdump_canonical);
}

TEST(dump_forms, words_of_hexdump_and_of_od)
{
    every_message_is_read(dump_form::hexdump,
                          [](const bytes &b) { return dump_words(b, "%07zx"); });
    every_message_is_read(dump_form::od, [](const bytes &b) { return dump_words(b, "%07zo"); });
    every_message_is_read(dump_form::od, [](const bytes &b) { return dump_words(b, "%07zu"); });
}

TEST(dump_forms, od_with_addresses_of_each_radix)
{
    for (const char *address : {"%07zo", "%07zu", "%06zx"})
        every_message_is_read(dump_form::od,
                              [address](const bytes &b) { return od_bytes(b, address); });
}

TEST(dump_forms, gdb)
{
    for (const bool with_symbol : {false, true}) {
        for (const std::size_t word : {1U, 2U, 4U, 8U}) {
            each_encoding([&](const char *name, const bytes &whole) {
                bytes padded = whole;
                padded.resize((whole.size() + word - 1) / word * word);
                for (const dump_form given : {dump_form::automatic, dump_form::gdb}) {
                    const reading_outcome read =
                        read_dump(test::gdb(padded, word, with_symbol), {.form = given});
                    ASSERT_TRUE(read.found == (frames{{"F:1: ", hex_of(padded)}}))
                        << name << ' ' << read.error;
                }
            });
        }
    }
}

TEST(dump_forms, c_arrays)
{
    every_message_is_read(dump_form::hex, [](const bytes &b) { return c_array(b, false); });
    each_encoding([&](const char *name, const bytes &whole) {
        for (const dump_form given : {dump_form::automatic, dump_form::c_array}) {
            const reading_outcome xxd = read_dump(c_array(whole, true), {.form = given});
            ASSERT_TRUE(xxd.found == (frames{{"F:1: ", hex_of(whole)}})) << name << xxd.error;
            const reading_outcome shark = read_dump(wireshark_array(whole), {.form = given});
            ASSERT_TRUE(shark.found == (frames{{"F:2: ", hex_of(whole)}})) << name << shark.error;
        }
    });
}

TEST(dump_forms, strings_of_wireshark)
{
    every_message_is_read(dump_form::c_string, wireshark_string);
}

TEST(dump_forms, base64_wrapped_or_not)
{
    for (const std::size_t width : {0U, 76U, 64U}) // not, base64, openssl
        every_message_is_read(dump_form::base64,
                              [width](const bytes &b) { return test::base64(b, width); });
}

TEST(dump_forms, the_bytes_themselves)
{
    each_encoding([](const char *name, const bytes &whole) {
        for (const dump_form given : {dump_form::automatic, dump_form::binary}) {
            const reading_outcome read =
                read_dump(std::string(whole.begin(), whole.end()), {.form = given});
            ASSERT_TRUE(read.found == (frames{{"F: ", hex_of(whole)}})) << name << read.error;
            ASSERT_EQ(read.notes, given == dump_form::binary
                                      ? ""
                                      : "vorl: F: is read as the bytes of one frame, as it is no "
                                        "text; --binary says so\n");
        }
    });
}

// What opens each form is no accident of one message: all in one text, each dump behind the other.
TEST(dump_forms, all_messages_in_one_text)
{
    const std::function<std::string(const bytes &)> writers[] = {
        [](const bytes &b) { return xxd_plain(b, 0); },
        [](const bytes &b) { return xxd_plain(b, 30) + '\n'; },
        test::xxd,
        hexdump_canonical,
        [](const bytes &b) { return od_bytes(b, "%07zo"); },
        [](const bytes &b) { return test::gdb(b, 1, true) + '\n'; },
        [](const bytes &b) { return c_array(b, true); },
        wireshark_string,
        [](const bytes &b) { return test::base64(b, 0); },
    };
    for (const auto &write : writers) {
        std::string text;
        frames expected;
        each_encoding([&](const char *, const bytes &whole) {
            const auto lines = std::count(text.begin(), text.end(), '\n');
            expected.emplace_back("F:" + std::to_string(lines + 1) + ": ", hex_of(whole));
            text += write(whole);
        });
        const reading_outcome read = read_dump(text);
        EXPECT_EQ(read.error, "");
        ASSERT_EQ(read.found.size(), expected.size());
        EXPECT_TRUE(read.found == expected) << text.substr(0, 400);
    }
}
