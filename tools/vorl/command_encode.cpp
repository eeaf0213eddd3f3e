// vorl encode, vorl decode.
#include <cstdio>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "tools/vorl/commands.h"
#include "tools/vorl/decoded_record.h"
#include "tools/vorl/explain.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/frame_capture.h"
#include "tools/vorl/hex.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/library_log.h"

namespace vorl::commands {
namespace {

void write_out(const void *data, std::size_t size)
{
    if (std::fwrite(data, 1, size, stdout) != size)
        throw std::runtime_error("vorl: standard output cannot be written");
}

/// False: refused. `place` is "FILE:LINE: ".
bool decode_frame(const decode_options &options, const catalogue::message_info &type,
                  const bytes &frame, const std::string &place)
{
    if (options.explain) {
        const auto why = explain(type, frame, &std::cout);
        std::cout.flush();
        if (why)
            std::cerr << place << type.name << ": refused at " << to_text(*why) << '\n';
        return !why;
    }
    const decoded_record record(type, frame);
    const std::vector<std::string> log = take_library_log();
    if (const auto why = explain(type, frame, nullptr)) {
        for (const std::string &line : log)
            std::cerr << place << "library log: " << line << '\n';
        std::cerr << place << type.name << ": refused at " << to_text(*why)
                  << "; --explain shows the bytes up to there\n";
        return false;
    }
    const std::string line =
        json::format_record(type, record.data(),
                            options.sparse ? json::zeros::omit : json::zeros::write) +
        '\n';
    write_out(line.data(), line.size());
    return true;
}

[[noreturn]] void refuse_nothing(const json::input_file &file)
{
    throw std::runtime_error(file.name() + ": holds nothing to decode; give the bytes of a frame");
}

} // namespace

int encode(const encode_options &options)
{
    json::input_file file(options.file);
    json::line_reader lines(file);
    bytes only; // of --binary, where nothing would tell one object from the next
    bool have_one = false;
    while (const std::optional<json::record> record = lines.next()) {
        const catalogue::message_info &type = record->type();
        const bytes encoded = options.packed ? pack_record(type, record->data())
                                             : capture_frame(type, record->data());
        if (encoded.empty())
            throw std::runtime_error(lines.place(lines.line()) + type.name +
                                     ": the library could not encode it; see that the object is "
                                     "not too large for memory");
        if (options.binary) {
            if (have_one)
                throw std::runtime_error(lines.place(lines.line()) + type.name +
                                         ": is a second object; give --binary one object, or take "
                                         "--hex");
            only = encoded;
            have_one = true;
        } else {
            const std::string line = to_hex(encoded.data(), encoded.size()) + '\n';
            write_out(line.data(), line.size());
        }
    }
    if (have_one)
        write_out(only.data(), only.size());
    return 0;
}

int decode(const decode_options &options)
{
    const catalogue::message_info &type = find_message_or_throw(options.message);
    json::input_file file(options.file);
    if (options.binary) {
        const bytes frame{std::istreambuf_iterator<char>(file.stream()), {}};
        if (frame.empty())
            refuse_nothing(file);
        return decode_frame(options, type, frame, file.name() + ": ") ? 0 : 1;
    }
    bool have_one = false;
    bool all_accepted = true;
    try {
        read_hex_frames(file.stream(), [&](std::size_t line, const bytes &frame) {
            have_one = true;
            const std::string place = file.name() + ":" + std::to_string(line) + ": ";
            all_accepted = decode_frame(options, type, frame, place) && all_accepted;
        });
    } catch (const hex_error &error) {
        throw std::runtime_error(file.name() + ":" + error.what());
    }
    if (!have_one)
        refuse_nothing(file);
    return all_accepted ? 0 : 1;
}

} // namespace vorl::commands
