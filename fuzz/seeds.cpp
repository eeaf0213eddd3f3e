// Writes the seed corpora: frames and packed bytes of every message, as the reference makes them,
// and what the tool and the bus make of the same. With --check, compares instead: exit status 1
// when a file is missing, differs, or is not one of them.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "capture/description.h"
#include "capture/pcapng_write.h"
#include "fuzz/bus_stream.h"
#include "fuzz/message_input.h"
#include "inspect/hex.h"
#include "inspect/log_lines.h"
#include "tests/tools/dumps/writers.h"
#include "tools/vorl/json_record.h"

namespace vorl::fuzz {
namespace {

namespace fs = std::filesystem;
using corpus = std::map<std::string, bytes>; ///< by path

/// Frames past this are stored for the targets of messages alone, and once.
constexpr std::size_t long_frame = 2048;

bytes bytes_of(const std::string &text) { return {text.begin(), text.end()}; }

void add_message_seeds(std::uint8_t index, const message &m, const test::sample &record, corpus &to)
{
    const auto add = [&](const std::string &name, std::uint8_t flags, const bytes &content) {
        bytes input{index, flags, 0xEE};
        input.insert(input.end(), content.begin(), content.end());
        to["messages/" + std::string(name_of(m)) + name] = input;
    };
    if (is_fixed_size(m))
        add(".frame", pack_bit, reference::frame(m, record.data(), order::little));
    if (catalogue::frame_length(m) <= long_frame) {
        add(".packed", pack_bit, reference::pack(m, record.data(), order::little));
        add(".packed_big", pack_bit | big_bit, reference::pack(m, record.data(), order::big));
    } else {
        add(".packed", pack_bit, reference::pack(m, test::sample::zeros(m).data(), order::little));
    }
}

void add_text_seeds(const message &m, const test::sample &record, const bytes &sent, corpus &to)
{
    const std::string stem = "vorl_inputs/" + std::string(name_of(m));
    to[stem + ".json"] =
        bytes_of("json\n" + json::format_record(m, record.data(), json::zeros::omit) + '\n');
    to[stem + ".hex"] =
        bytes_of("hex " + std::string(name_of(m)) + '\n' + to_hex(sent.data(), sent.size()) + '\n');
}

/// The forms of text that the seeds of single messages do not have.
void add_text_forms(corpus &to)
{
    to["vorl_inputs/comments_and_bad_lines.json"] =
        bytes_of("json\n# a comment\n\n{\"message\":\"srv6_vrf_class_data\",\"f0\":1}\r\n"
                 "{\"message\":\"srv6_vrf_class_data\",\"f0\":-1}\n[1,[2,{\"a\":null}]]\n"
                 "{\"message\":\"srv6_none\"}\n{\"f0\":1.5e3,\"f0\":true}\n\"\\u00e9\\ud800\"\n");
}

/// A frame in every form, recognised, and for each form that has one an array of lines.
void add_dumps(const bytes &frame, corpus &to)
{
    const std::string automatic(3, '\0');
    const auto add = [&](const char *name, const std::string &text) {
        to[std::string("dumps/") + name] = bytes_of(automatic + text);
    };
    add("hex", test::xxd_plain(frame, 0));
    add("hex_wrapped", test::xxd_plain(frame, 30));
    add("xxd", test::xxd(frame));
    add("hexdump", test::hexdump_canonical(frame) + "*\n");
    add("words", test::dump_words(frame, "%07zx"));
    add("od", test::od_bytes(frame, "%07zo"));
    add("od_alone", test::od_alone(frame));
    add("gdb_bytes", test::gdb(frame, 1, true));
    add("gdb_words", "(gdb) x/8xw &frame\n" + test::gdb(frame, 4, false));
    add("c_array", test::c_array(frame, true));
    add("c_array_of_wireshark", test::wireshark_array(frame));
    add("c_array_alone", test::c_array(frame, false));
    add("c_string", test::wireshark_string(frame));
    add("base64", test::base64(frame, 76));
    add("binary", std::string(frame.begin(), frame.end()));
    add("two_lines_that_stand_for_more", "00000000: 04  .\n*\n01000000: 04  .\n");
    add("pcap",
        std::string("\xd4\xc3\xb2\xa1\x02\0\x04\0\0\0\0\0\0\0\0\0\0\0\x04\0\x01\0\0\0", 24) +
            std::string("\x01\0\0\0\0\0\0\0\x04\0\0\0\x04\0\0\0\x04\0\0\0", 20));
}

/// Every text of the log that has an example, from every place, as different writers put it.
void add_log_seeds(corpus &to)
{
    int facts = 0;
    for (const inspect::log_entry &entry : inspect::log_entries()) {
        for (const inspect::log_place &place : entry.places) {
            const std::string line = std::to_string(place.line + (place.plus_slot ? 1 : 0));
            const std::string function = std::string("srv6_common_fwd_update") + place.function;
            const std::string text = entry.example;
            const auto add = [&](const char *form, const std::string &log) {
                // The first byte is the size of the pieces.
                to["log_lines/" + line + form] = bytes_of("\x10" + log);
            };
            add(".plain", "before\n" + function + ":" + line + " " + text + "\nbehind\n");
            add(".text", text);
            add(".json", "{\"CODE_FUNC\":\"" + function + "\",\"CODE_LINE\":\"" + line +
                             "\",\"MESSAGE\":\"\\u001b[31m" + text + "\\u001b[0m\"}\n");
            std::string numbers;
            for (const char c : text)
                numbers += (numbers.empty() ? "" : ",") + std::to_string(c);
            add(".numbers", "{\"MESSAGE\":[" + numbers + "],\"CODE_FUNC\":\"" + function + "\"}\n");
            add(".coloured", "\033[1mNov 20 10:00:21\033[0m r1 fwd[20]: " + function + "(" + line +
                                 ") [ZEL\033[31mKO" + text.substr(6) + "\r\n" + text);
        }
        for (const inspect::log_fact &fact : entry.facts)
            to["log_lines/fact_" + std::to_string(facts++)] =
                bytes_of(std::string("\x03") + fact.example + "\n");
    }
    to["log_lines/almost"] = bytes_of("\x05[ZELKO]:New text(1)\n[ZELKO]:Table offset(6");
}

/// Labels in each form, with an object for them, and labels with which something is wrong.
void add_labels_seeds(corpus &to)
{
    const auto add = [&to](const std::string &name, const std::string &labels,
                           const std::string &members) {
        to["labels/" + name] =
            bytes_of("version = 1\n[srv6_localsid_fwd]\n" + labels +
                     "\n\x1C{\"message\":\"srv6_localsid_fwd\"," + members + "}\n");
    };
    add("names", R"(f0 = { name = "number" })", R"("number":7,"f1":2)");
    add("dec", R"(f5 = { form = "dec" })", R"("f5":[1,2,3,4])");
    add("hex", R"(f5 = { form = "hex" })", R"("f5":["0x00000001",2,3,4])");
    add("ipv4", R"(f0 = { form = "ipv4" })", R"("f0":"192.0.2.1")");
    add("ipv6", R"(f5 = { form = "ipv6" })", R"("f5":"2001:db8::1")");
    add("prefix", R"(f5 = { form = "prefix", length = "f6" })", R"("f5":"2001:db8::/48")");
    add("sid", R"(f5 = { form = "sid", locator = 48, function = 16 })",
        R"-("f5":"2001:db8:a001:1:: (locator 2001:db8:a001::/48, function 0x1)")-");
    add("date", R"(f0 = { form = "time", unit = "s" })", R"("f0":"2026-11-21T20:44:40Z")");
    add("duration", R"(f0 = { form = "time", unit = "ms", since = "start" })",
        R"("f0":"3d 02:15:40.125")");
    add("enum", R"(f6 = { form = "enum", values = { 1 = "ipv4", 0x2 = "ipv6" } })",
        R"("f6":"ipv6")");
    add("flags", R"(f9 = { form = "flags", bits = { 0 = "psp", 1 = "usp" } })",
        R"("f9":["psp","0x4"])");
    add("unit", R"(f6 = { name = "length", form = "unit", unit = "bits" })",
        R"("length":"48 bits")");
    add("wrong", "f13 = {}\nf1 = { nmae = 1 }\nf2 = { form = \"ip6\" }\nf3.a.b.c = [ { d = 1.5 } ]",
        R"("f0":-1)");
    to["labels/mac"] = bytes_of("version = 1\n[srv6_cfg_query_trastat_item]\nf6.form = \"mac\"\n"
                                "\x1C{\"message\":\"srv6_cfg_query_trastat_item\","
                                "\"f6\":\"00:00:5e:00:53:01\"}\n");
    to["labels/no_toml"] = bytes_of("version = 1\n[srv6_localsid_fwd\n");
}

/// Captures with all that there is in one, and changes to rings.
void add_capture_seeds(corpus &to)
{
    bytes text;
    capture::pcapng_writer writer(
        [&text](std::span<const std::uint8_t> block) {
            text.insert(text.end(), block.begin(), block.end());
        },
        "seeds");
    const std::uint32_t from = writer.add_interface({4711, "router"});
    to["captures/empty"] = text;
    capture::frame f;
    f.facts.known = 31;
    f.facts.process = 4711;
    f.facts.identifier = 0xB7B345A9;
    f.facts.length = 5;
    f.kept = {1, 2, 3, 4, 5};
    writer.describe(
        from, 1,
        to_packet(capture::describe(*catalogue::find_message("srv6_localsid_fwd"), nullptr)));
    writer.add(from, f);
    to["captures/one"] = text;
    f.facts.way = capture::direction::received;
    f.facts.length = 100;
    writer.add(from, f);
    writer.count(from, 2, {3, 1, 0, 2});
    to["captures/cut_and_counted"] = text;
    to["rings/whole"] = {};
    // Version, size, head, a commit word, a byte of a frame.
    to["rings/header"] = {8, 0, 0, 1, 2};
    to["rings/size"] = {18, 0, 0, 1, 2};
    to["rings/head"] = {0, 8, 0, 3, 0xFF};
    to["rings/entry"] = {0, 0, 1, 8, 0, 70, 0, 1, 1, 0};
}

corpus seeds()
{
    corpus all;
    test::random_source random(20);
    std::uint8_t index = 0;
    std::vector<sent_frame>
        of_package; // three to a send, so that sends of several frames are there
    for (const message *m : test::all_messages()) {
        const test::sample record = test::sample::random(*m, random, 2);
        const bytes sent = is_fixed_size(*m) ? reference::frame(*m, record.data(), order::little)
                                             : reference::pack(*m, record.data(), order::little);
        if (std::string_view(name_of(*m)) == "srv6_localsid_fwd")
            add_dumps(sent, all);
        add_message_seeds(index++, *m, record, all);
        if (sent.size() > long_frame)
            continue;
        add_text_seeds(*m, record, sent, all);
        of_package.push_back({m->msg_id, sent});
        if (of_package.size() == 3) {
            bytes stream{0};
            append_send(stream, of_package);
            append_send(stream, {of_package.back()});
            all["bus_stream/" + std::string(name_of(*m))] = stream;
            of_package.clear();
        }
    }
    bytes unknown{7};
    append_send(unknown, {{1, {1, 2, 3}}, {2, {4}}});
    append_send(unknown, {{3, bytes(5000)}});
    all["bus_stream/unknown_types_and_too_long"] = unknown;
    add_text_forms(all);
    add_log_seeds(all);
    add_labels_seeds(all);
    add_capture_seeds(all);
    return all;
}

bytes content_of(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// What is wrong with the files that stand there.
int compare(const corpus &expected, const fs::path &directory)
{
    int wrong = 0;
    const auto report = [&wrong](const std::string &path, const char *what) {
        std::fprintf(stderr, "%s: %s; run ./dev regen and commit the result\n", path.c_str(),
                     what);
        wrong = 1;
    };
    for (const auto &[path, content] : expected) {
        if (!fs::exists(directory / path))
            report(path, "is missing");
        else if (content_of(directory / path) != content)
            report(path, "is not what the messages give");
    }
    for (const auto &entry : fs::recursive_directory_iterator(directory)) {
        const std::string path = fs::relative(entry.path(), directory).string();
        if (entry.is_regular_file() && !expected.contains(path))
            report(path, "is no seed; findings go to fuzz/crashes");
    }
    return wrong;
}

int write(const corpus &all, const fs::path &directory)
{
    fs::remove_all(directory);
    for (const auto &[path, content] : all) {
        fs::create_directories((directory / path).parent_path());
        std::ofstream out(directory / path, std::ios::binary);
        out.write(reinterpret_cast<const char *>(content.data()),
                  static_cast<std::streamsize>(content.size()));
        if (!out.flush()) {
            std::fprintf(stderr, "%s: cannot be written\n", path.c_str());
            return 1;
        }
    }
    return 0;
}

} // namespace
} // namespace vorl::fuzz

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--check") == 0)
        return vorl::fuzz::compare(vorl::fuzz::seeds(), argv[2]);
    if (argc == 2 && argv[1][0] != '-')
        return vorl::fuzz::write(vorl::fuzz::seeds(), argv[1]);
    std::fprintf(stderr, "usage: %s [--check] DIRECTORY\n", argv[0]);
    return 2;
}
