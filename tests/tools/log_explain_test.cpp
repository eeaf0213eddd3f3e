// Every line that the library writes, brought about here, is recognised whatever stands around it.
#include <gtest/gtest.h>

#include "inspect/log_around.h"
#include "inspect/log_explain.h"
#include "tests/facts/counts.h"
#include "tests/support/faulty_buffers.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"

using namespace vorl;
using inspect::explain_log_line;
using inspect::log_finding;

namespace vorl::test {
namespace {

void unpack(const message &m, const std::vector<std::uint8_t> &bytes)
{
    std::vector<std::uint8_t> out(m.record_size);
    functions_of(m).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data());
}

/// Makes the library log every text that it has for the message.
void provoke(const message &m)
{
    sample in(m);
    std::uint32_t length = 70000;
    functions_of(m).pack(in.record(), nullptr, &length);
    functions_of(m).unpack(&length, -7, nullptr);
    functions_of(m).unpack(nullptr, 68, &length);
    functions_of(m).unpack(&length, 3, &length);
    for (const fault kind : every_fault) {
        unpack(m, faulty_root(kind).bytes);
        for (std::uint32_t i = 0; i < m.slots.size; ++i) {
            if (m.slots[i].nested != nullptr)
                unpack(m, faulty_nested(m.slots[i], i, kind).bytes);
        }
    }
    const std::vector<std::uint8_t> bytes = packed(m, in.record());
    std::uint64_t vectors = 0;
    each_vector(m, in.record(), [&](const vorl::slot &, void *) {
        the_platform().fail_allocation_at = ++vectors;
        unpack(m, bytes);
    });
}

/// All that the library writes: 5 places of arguments and of each table, and memory.
std::vector<log_call> every_line()
{
    reset_platform();
    for (const known_message &m : all_messages())
        provoke(*m.info);
    return the_platform().logs;
}

std::string without_suffix(const std::string &function)
{
    for (const char *suffix : {"_unpack_non_root", "_unpack", "_pack"}) {
        if (function.ends_with(suffix))
            return function.substr(0, function.size() - std::string(suffix).size());
    }
    return function;
}

/// A line of the log as some platform's writer prints it; FUNCTION, LINE and TEXT are the call's.
std::string written(std::string form, const log_call &call)
{
    const std::pair<std::string, std::string> parts[] = {
        {"FUNCTION", call.function}, {"LINE", std::to_string(call.line)}, {"TEXT", call.text}};
    for (const auto &[name, value] : parts) {
        if (const std::size_t at = form.find(name); at != std::string::npos)
            form.replace(at, name.size(), value);
    }
    return form;
}

const char *const forms_that_name_the_function[] = {
    "FUNCTION TEXT",
    "ZELKO/ZELKO_VANTREL_SERIAL FUNCTION:LINE TEXT",
    "<11>1 2026-11-20T10:00:20Z r1 fwd 20 - - [2][22] FUNCTION(LINE) TEXT and more",
    "Nov 20 10:00:21 r1 fwd[1001]: LINE, FUNCTION, TEXT\r",
    "TEXT (in FUNCTION, line LINE)",
    R"({"PRIORITY":"4","MESSAGE":"\u001b[31m\"FUNCTION\":LINE\u001b[0m TEXT\n","_PID":"20"})",
    "\033[1;31mFUNCTION:LINE\033[0m TEXT\033[K",
    "Nov 20 10:00:21 r1 fwd[22]: #033[31mFUNCTION#033[0m:LINE TEXT",
};

TEST(log_explain, every_line_of_every_message_in_every_form)
{
    const std::vector<log_call> all = every_line();
    std::size_t memory = 0;
    for (const log_call &call : all) {
        for (const char *form : forms_that_name_the_function) {
            const std::string line = written(form, call);
            SCOPED_TRACE(line);
            const auto found = explain_log_line(line);
            ASSERT_EQ(found.size(), 1U);
            const log_finding &finding = found[0];
            ASSERT_NE(finding.entry, nullptr);
            EXPECT_EQ(finding.entry->kind, call.kind);
            EXPECT_EQ(finding.text, call.text);
            EXPECT_EQ(finding.function, call.function);
            EXPECT_FALSE(finding.is_one_of_two);
            ASSERT_NE(finding.of, nullptr);
            EXPECT_EQ(name_of(*finding.of), without_suffix(call.function));
            ASSERT_NE(finding.place, nullptr);
            EXPECT_EQ(finding.place->line + finding.slot.value_or(0), call.line);
            EXPECT_TRUE(finding.where.starts_with(call.function + ", line " +
                                                  std::to_string(call.line) + ": "))
                << finding.where;
            EXPECT_EQ(finding.numbers.size(), finding.entry->arguments.size());
            for (const std::string &text :
                 {finding.where, finding.checked, finding.then, finding.cause, finding.next})
                EXPECT_EQ(text.find_first_of("{}"), std::string::npos) << text;
            memory += finding.entry->kind == 12 ? 1 : 0;
        }
    }
    // Four of arguments and three of the root for each message, those of nested tables, and the
    // memory of each variable-size message.
    EXPECT_GT(all.size(), counts::messages * 7);
    EXPECT_EQ(memory / std::size(forms_that_name_the_function), 115U - 78 + 1);
}

TEST(log_explain, every_line_without_its_function_has_its_text)
{
    for (const log_call &call : every_line()) {
        for (const std::string &line :
             {call.text, "Nov 20 10:00:20 r1 fwd[20]: " + call.text,
              "\033[1m" + call.text.substr(0, 3) + "\033[0m" + call.text.substr(3),
              "{\"MESSAGE\":\"\\u005b" + call.text.substr(1) + "\"}"}) {
            SCOPED_TRACE(line);
            const auto found = explain_log_line(line);
            ASSERT_GE(found.size(), 1U);
            for (const log_finding &finding : found) {
                ASSERT_NE(finding.entry, nullptr);
                EXPECT_EQ(finding.text, call.text);
                EXPECT_EQ(finding.is_one_of_two, found.size() == 2);
            }
        }
    }
}

TEST(log_explain, a_text_that_journalctl_writes_as_the_numbers_of_its_bytes)
{
    for (const log_call &call : every_line()) {
        std::string numbers;
        for (const char c : "\033[31m" + call.text + "\033[0m")
            numbers += (numbers.empty() ? "" : ",") + std::to_string(c);
        const std::string line = "{\"CODE_FUNC\":\"" + call.function + "\",\"MESSAGE\":[" +
                                 numbers + "],\"_PID\":\"20\"}";
        const auto found = explain_log_line(line);
        ASSERT_EQ(found.size(), 1U) << line;
        EXPECT_EQ(found[0].text, call.text);
        EXPECT_EQ(found[0].function, call.function);
    }
}

TEST(log_explain, the_line_number_alone_tells_the_place)
{
    const auto found =
        explain_log_line("line 21: [ZELKO]:Vtable offset(34) is out of range(4 - 64)");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].where,
              "<message>_unpack_non_root, line 21: any other table: the root table of every other "
              "message, a nested table, an element.");
    // Neither a time, nor a process, nor the number of another text tells it.
    for (const char *line :
         {"Nov 21 10:11:21 fwd[21]: [ZELKO]:Vtable offset(34) is out of range(4 - 64)",
          "offline 21: [ZELKO]:Vtable offset(34) is out of range(4 - 64)",
          "line 12: [ZELKO]:Vtable offset(34) is out of range(4 - 64)"})
        EXPECT_EQ(explain_log_line(line)[0].place, nullptr) << line;
}

TEST(log_explain, what_is_almost_ours_gets_a_note)
{
    const std::string note = "not a text that this version writes";
    const std::pair<const char *, std::string> lines[] = {
        {"[ZELKO]", note},
        {"[ZELKO]:Table offset(65) is out of range(4 - 6", note},
        {"[ZELKO]:Table offset(65, 1) is out of range(4 - 68)", note},
        {"[ZELKO]:Table offset(065) is out of range(4 - 68)", note},
        {"[ZELKO]:Table offset(-1) is out of range(4 - 68)", note},
        {"[ZELKO]:Table offset(4294967296) is out of range(4 - 68)", note},
        {"[ZELKO]:Table offset() is out of range(4 - 68)", note},
        {"[ZELKO]:Param invalid(none, 1, null)", note},
        {"[ZELKO]:Param invalid(null, -2147483649, null)", note},
        {"[ZELKO]:Param invalid(null, -0, null)", note},
        {"[ZELKO]:Something new(1)", note},
        {"[ZELKO]:Table offset(64) is out of range(4 - 68)",
         note + ": a table at 64 is in range of 68 bytes"},
        {"[ZELKO]:Table offset(0) is out of range(4 - 3)",
         note + ": a table at 0 is in range of 3 bytes"},
        {"[ZELKO]:Vtable offset(65) is out of range(4 - 64)",
         note + ": this check is made of tables from 4 to 64, and 65 is none of them"},
        {"[ZELKO]:Vtable Len(64) is out of range(0 - 64)",
         note +
             ": this check is of a length from 5 to 65535 that is above the second number, which "
             "is 4 or more"},
        {"[ZELKO]:Param invalid(nonNull, 68, nonNull)",
         note + ": neither `buf` nor `out` is null, and a `len` of 68 is taken"},
    };
    for (const auto &[line, expected] : lines) {
        const auto found = explain_log_line(line);
        ASSERT_EQ(found.size(), 1U) << line;
        EXPECT_EQ(found[0].entry, nullptr) << line;
        EXPECT_EQ(found[0].note, expected);
    }
    for (const char *line : {"", "ZELKO", "ZELKO/ZELKO_VANTREL_SERIAL up",
                             "[zelko]:", "Table offset(65) is out of range(4 - 68)"})
        EXPECT_TRUE(explain_log_line(line).empty()) << line;
}

TEST(log_explain, several_texts_in_a_line_have_the_function_that_is_theirs)
{
    const auto found = explain_log_line(
        "srv6_class_item_unpack_non_root:20 [ZELKO]:Table offset(65) is out of range(4 - 68) "
        "srv6_iid_fwd_key_pack:1 [ZELKO]:Param invalid(null, 9, nonNull)");
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].function, "srv6_class_item_unpack_non_root");
    EXPECT_EQ(found[1].function, "srv6_iid_fwd_key_pack");
    EXPECT_EQ(found[0].at, 35U);
    EXPECT_EQ(found[1].at, 108U);
}

// The number tells which vector it is of, where a message has several.
TEST(log_explain, the_number_behind_a_function_is_its_line)
{
    for (const char *behind : {":1001", "(1001)", "() line:1001", ", 1001 [ZELKO]", "\", 1001"}) {
        const auto found =
            inspect::functions_around(std::string("srv6_class_item_unpack") + behind, "");
        ASSERT_EQ(found.size(), 1U);
        if (std::string(behind) == "() line:1001")
            EXPECT_EQ(inspect::line_number_around(behind, ""), 1001U);
        else
            EXPECT_EQ(found[0].line, 1001U) << behind;
    }
    EXPECT_EQ(inspect::functions_around("srv6_class_item_unpack 10ms", "").at(0).line,
              std::nullopt);
}

TEST(log_explain, of_several_functions_the_nearest_that_logs_the_text)
{
    const std::string text = "[ZELKO]:Table offset(65) is out of range(4 - 68)";
    const std::string item = "srv6_class_item_unpack_non_root ";
    const std::string key = "srv6_iid_fwd_key_unpack_non_root ";
    EXPECT_EQ(explain_log_line(item + key + text).at(0).function + " ", key);
    EXPECT_EQ(explain_log_line(item + "srv6_iid_fwd_key_pack " + text).at(0).function + " ", item);
    EXPECT_EQ(explain_log_line(text + " " + item + key).at(0).function + " ", item);
    EXPECT_EQ(explain_log_line("my_unpack x" + item + text).at(0).function, "");
    // What stands before a text belongs to it, and not to the next.
    EXPECT_EQ(explain_log_line(item + text + " " + text).at(1).function, "");
}

} // namespace
} // namespace vorl::test
