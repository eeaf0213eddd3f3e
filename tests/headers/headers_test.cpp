// The public headers as a user has them: they compile alone and together, as C11 and as C++17, name
// every function in full, carry the descriptions' comments, and what they state of each message is
// what tests/facts says and what a C compiler lays out.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdint>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "tests/facts/counts.h"
#include "tests/support/run.h"

namespace {

using namespace vorl::test;

struct fact {
    std::string name;
    std::uint32_t msg_id;
    std::uint32_t record_size;
    std::uint32_t frame_length;
    std::string slots;
};
const fact facts[] = {
#define FACT(name, msg_id, record_size, frame_length, table_length, slots)                         \
    {#name, msg_id, record_size, frame_length, slots},
#include "tests/facts/messages.inc"
#undef FACT
};

const std::vector<std::string> package_names = {"srv6", "srv6_cfg", "srv6_sync"};

std::string source_of(const std::string &package, const std::string &ending)
{
    return content(fs::path(PROJECT_ROOT) / "idl" / package / (package + ending));
}

const std::string &all_headers()
{
    static const std::string text = [] {
        std::string all;
        for (const std::string &package : package_names)
            all += source_of(package, ".h");
        return all;
    }();
    return text;
}

std::size_t occurrences(const std::string &text, const std::string &what)
{
    std::size_t count = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

std::string replaced(std::string text, const std::string &what, const std::string &by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

std::string with_single_blanks(const std::string &text)
{
    return std::regex_replace(text, std::regex("\\s+"), " ");
}

std::string without_comments(std::string text)
{
    for (auto at = text.find("/*"); at != std::string::npos; at = text.find("/*", at))
        text.erase(at, text.find("*/", at) + 2 - at);
    return text;
}

// What the header states of a message.
struct stated_slot {
    std::string type;
    std::uint32_t record;
    std::string table; ///< as written; empty in a variable-size message
    std::string doc;
};
struct stated {
    std::string doc;
    std::string id_line;
    std::vector<stated_slot> slots;
};

// From the comment that opens with the message's name:
//
//   name, blank, documentation lines, blank, "msg_id ...", blank, "slot  wire type ...", a row a slot
stated stated_of(const std::string &name)
{
    const std::string &text = all_headers();
    const std::string opening = "\n/*\n * " + name + "\n *\n";
    const auto begin = text.find(opening);
    if (begin == std::string::npos)
        throw std::runtime_error("no comment on " + name);
    const auto end = text.find("\n */\n", begin);
    stated s;
    const bool has_table =
        text.substr(begin, end - begin).find("  record   table\n") != std::string::npos;
    bool in_rows = false;
    for (const std::string &line :
         lines_of(text.substr(begin + opening.size(), end - begin - opening.size()))) {
        if (line.rfind(" * msg_id ", 0) == 0) {
            s.id_line = line.substr(3);
        } else if (line.rfind(" *   slot  wire type", 0) == 0) {
            in_rows = true;
        } else if (in_rows) {
            static const std::regex with_table(
                R"( \*   +(\d+)  (\S(?: ?\S)*)  +(\d+) +(\d+)(?:   (.*))?)");
            static const std::regex without(R"( \*   +(\d+)  (\S(?: ?\S)*)  +(\d+)(?:   (.*))?)");
            std::smatch m;
            if (!std::regex_match(line, m, has_table ? with_table : without) ||
                m[1] != std::to_string(s.slots.size()))
                throw std::runtime_error("not the next row: " + line);
            s.slots.push_back({m[2], static_cast<std::uint32_t>(std::stoul(m[3])),
                               has_table ? m[4].str() : "", m[has_table ? 5 : 4]});
        } else if (line != " *") {
            s.doc += (s.doc.empty() ? "" : "\n") + line.substr(3);
        }
    }
    return s;
}

const std::string strict = " -Wall -Wextra -pedantic -Werror -fsyntax-only"
                           " -I '" PROJECT_ROOT "/idl/srv6' -I '" PROJECT_ROOT
                           "/idl/srv6_cfg' -I '" PROJECT_ROOT "/idl/srv6_sync' ";

void expect_compiles(const std::string &text)
{
    const scratch_directory scratch;
    write(scratch.path() / "user.c", text);
    write(scratch.path() / "user.cpp", text);
    std::vector<std::string> commands;
    for (const std::string compiler : {COMPILERS_C})
        commands.push_back(compiler + " -std=c11" + strict + "user.c");
    for (const std::string compiler : {COMPILERS_CXX})
        commands.push_back(compiler + " -std=c++17" + strict + "user.cpp");
    for (const std::string &command : commands) {
        const outcome o = run(scratch.path(), command);
        EXPECT_EQ(o.status, 0) << command << "\n" << o.err.substr(0, 2000);
        EXPECT_EQ(o.err, "") << command;
    }
}

TEST(header, compiles_alone)
{
    for (const std::string &package : package_names) {
        const std::string include = "#include \"" + package + ".h\"\n";
        expect_compiles(include);
        expect_compiles(include + include);
    }
}

TEST(header, compiles_beside_the_others_in_any_order)
{
    expect_compiles("#include \"srv6.h\"\n#include \"srv6_cfg.h\"\n#include \"srv6_sync.h\"\n");
    expect_compiles("#include \"srv6_sync.h\"\n#include \"srv6_cfg.h\"\n#include \"srv6.h\"\n");
}

// Someone searches for srv6_bsid_fwd_key__sendmsg and finds it, with its arguments.
TEST(header, spells_out_the_prototype_of_every_function)
{
    const std::string text = with_single_blanks(all_headers());
    std::vector<std::string> prototypes;
    for (const fact &f : facts) {
        const std::string &n = f.name;
        for (const std::string prototype :
             {"uint32_t %__pack(const % *in, void *buf, uint32_t *inout_len);",
              "uint32_t %__unpack(const void *buf, int32_t len, void *out);",
              "void %_free__unpacked(void *rec);",
              "uint32_t %__sendsingle(uint32_t dest, const % *rec, uint32_t ignored, uint64_t to);",
              "uint32_t %__sendbatch(uint32_t dest, const % *recs, uint32_t count, uint64_t to);",
              "uint32_t %__sendmsg(uint32_t dest, const % *recs, uint32_t count);",
              "uint32_t %__sendtomsg(uint32_t dest, const % *recs, uint32_t count, uint64_t to);"})
            prototypes.push_back(replaced(prototype, "%", n));
    }
    for (const std::string &package : package_names) {
        prototypes.push_back("uint32_t " + package + "_recv_init(void);");
        prototypes.push_back("uint32_t " + package + "_send_init(void);");
        prototypes.push_back("void " + package + "__send_resource_clean(void);");
    }
    ASSERT_EQ(prototypes.size(), counts::exports);
    for (const std::string &prototype : prototypes)
        EXPECT_EQ(occurrences(text, prototype), 1U) << prototype;
    // And there is no other.
    const std::string code = without_comments(all_headers());
    EXPECT_EQ(occurrences(code, ");"), counts::exports);
    // The name and what precedes it stand on one line, for grep.
    for (const fact &f : facts) {
        for (const char *function : {"__pack", "__unpack", "_free__unpacked", "__sendsingle",
                                     "__sendbatch", "__sendmsg", "__sendtomsg"})
            EXPECT_EQ(occurrences(code, " " + f.name + function + "("), 1U) << f.name << function;
    }
}

TEST(header, states_of_each_message_what_is_so)
{
    EXPECT_EQ(std::size(facts), counts::messages);
    EXPECT_EQ(occurrences(all_headers(), "\n * msg_id 0x"), counts::messages);
    for (const fact &f : facts) {
        const stated s = stated_of(f.name);
        char expected[160];
        std::snprintf(expected, sizeof expected,
                      "msg_id 0x%08" PRIX32 " (%" PRIu32 "); record %" PRIu32 " bytes; frame ",
                      f.msg_id, f.msg_id, f.record_size);
        EXPECT_EQ(s.id_line,
                  expected + (f.frame_length == 0
                                  ? std::string("of variable size: the bytes of __pack")
                                  : std::to_string(f.frame_length) + " bytes, fixed size"));
        char define[160];
        std::snprintf(define, sizeof define, "\n#define %s_msg_id UINT32_C(0x%08" PRIX32 ")\n",
                      f.name.c_str(), f.msg_id);
        EXPECT_EQ(occurrences(all_headers(), define), 1U) << define;
        std::string slots;
        for (const stated_slot &slot : s.slots)
            slots += (slots.empty() ? "" : " ") +
                     replaced(replaced(slot.type, "table ", "table:"), ", ", ",") + "@" +
                     (slot.table.empty() ? "0" : slot.table);
        EXPECT_EQ(slots, f.slots) << f.name;
    }
}

TEST(header, opens_with_the_contract)
{
    for (const std::string &package : package_names) {
        const std::string text = source_of(package, ".h");
        const std::string contract = text.substr(0, text.find("#pragma once"));
        for (const char *function :
             {"M__pack(", "M__unpack(", "M_free__unpacked(", "M__sendsingle(", "M__sendbatch(",
              "M__sendmsg(", "M__sendtomsg("})
            EXPECT_EQ(occurrences(contract,
                                  std::string(" *   ") +
                                      (std::string(function) == "M_free__unpacked(" ? "void "
                                                                                    : "uint32_t ") +
                                      function),
                      1U)
                << function;
        EXPECT_EQ(occurrences(contract, package + "_recv_init"), 1U);
    }
}

// Reads the descriptions by lines, as they are written: the comment of a message above it, that of
// a slot behind it.
TEST(header, carries_the_comments_of_the_descriptions)
{
    const std::regex message_line(R"(message (\w+) \{)");
    const std::regex slot_line(R"(\s+\S.*\bf(\d+);\s*(?:///<\s*(.*))?)");
    const std::regex cost_line(
        R"(\n__unpack allocates at most \d+ bytes for every 4 bytes of buf, whatever they hold\.$)");
    std::size_t messages = 0;
    std::size_t costs = 0;
    std::size_t slot_comments = 0;
    for (const std::string &package : package_names) {
        std::string doc;
        stated current;
        for (const std::string &line : lines_of(source_of(package, ".idl"))) {
            std::smatch m;
            if (line.rfind("/// ", 0) == 0) {
                doc += (doc.empty() ? "" : "\n") + line.substr(4);
            } else if (std::regex_match(line, m, message_line)) {
                current = stated_of(m[1]);
                EXPECT_NE(doc, "") << m[1];
                // What idlc adds of its own (codec's hostile_cost tests have the figures).
                costs += std::regex_search(current.doc, cost_line);
                EXPECT_EQ(std::regex_replace(current.doc, cost_line, ""), doc) << m[1];
                doc.clear();
                ++messages;
            } else if (std::regex_match(line, m, slot_line)) {
                EXPECT_EQ(current.slots.at(std::stoul(m[1])).doc, m[2]) << line;
                slot_comments += m[2].length() != 0;
            }
        }
    }
    EXPECT_EQ(messages, counts::messages);
    EXPECT_EQ(costs, 37U);
    EXPECT_GT(slot_comments, 100U);
}

// Every number of the header's tables, put to a compiler.
TEST(header, describes_the_records_that_compilers_lay_out)
{
    std::string user = "#include <stddef.h>\n"
                       "#include \"srv6.h\"\n#include \"srv6_cfg.h\"\n#include \"srv6_sync.h\"\n"
                       "#ifdef __cplusplus\n#define HOLDS(what) static_assert(what, #what)\n"
                       "#else\n#define HOLDS(what) _Static_assert(what, #what)\n#endif\n";
    const auto holds = [&user](const std::string &what, std::uint64_t value) {
        user += "HOLDS(" + what + " == " + std::to_string(value) + "u);\n";
    };
    const std::map<std::string, std::uint64_t> widths = {
        {"uint8", 1}, {"uint16", 2}, {"uint32", 4}, {"uint64", 8}};
    std::size_t offsets = 0;
    for (const fact &f : facts) {
        holds("sizeof(" + f.name + ")", f.record_size);
        holds(f.name + "_msg_id", f.msg_id);
        const stated s = stated_of(f.name);
        for (std::size_t i = 0; i < s.slots.size(); ++i) {
            const stated_slot &slot = s.slots[i];
            const std::string member = "f" + std::to_string(i);
            const std::string whole = "((" + f.name + " *)0)->" + member;
            const auto offset_is = [&](const std::string &of, std::uint64_t value) {
                holds("offsetof(" + f.name + ", " + of + ")", value);
                ++offsets;
            };
            std::smatch m;
            if (slot.type.rfind("vector<", 0) == 0) {
                offset_is(member + "_count", slot.record);
                offset_is(member, (slot.record + 4 + 7) / 8 * 8);
                holds("sizeof(" + whole + "_count)", 4);
                holds("sizeof(" + whole + ")", 8);
                const bool bytes = slot.type == "vector<uint8>";
                const std::string element =
                    bytes ? "uint8_t" : slot.type.substr(13, slot.type.size() - 14);
                holds("sizeof(*" + whole + ") - sizeof(" + element + ")", 0);
                continue;
            }
            offset_is(member, slot.record);
            if (widths.count(slot.type) != 0) {
                holds("sizeof(" + whole + ")", widths.at(slot.type));
            } else if (std::regex_match(slot.type, m, std::regex(R"(array<(\w+), (\d+)>)"))) {
                holds("sizeof(" + whole + ")", widths.at(m[1]) * std::stoul(m[2]));
                holds("sizeof(" + whole + "[0])", widths.at(m[1]));
            } else if (std::regex_match(slot.type, m, std::regex(R"(array<table (\w+), (\d+)>)"))) {
                holds("sizeof(" + whole + ") / sizeof(" + m[1].str() + ")", std::stoul(m[2]));
            } else {
                ASSERT_TRUE(std::regex_match(slot.type, m, std::regex(R"(table (\w+))")))
                    << slot.type;
                holds("sizeof(" + whole + ") - sizeof(" + m[1].str() + ")", 0);
            }
        }
    }
    EXPECT_GT(offsets, 600U);
    expect_compiles(user);
}

} // namespace
