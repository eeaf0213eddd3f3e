// vorl encode, vorl decode.
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "inspect/encode.h"
#include "inspect/explain.h"
#include "inspect/hex.h"
#include "tools/vorl/commands.h"
#include "inspect/decoded_record.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/frame_file.h"
#include "tools/vorl/json_lines.h"
#include "tools/vorl/labels_file.h"
#include "tools/vorl/progress.h"

namespace vorl::commands {
namespace {

void write_out(const void *data, std::size_t size)
{
    if (std::fwrite(data, 1, size, stdout) != size)
        throw std::runtime_error("vorl: standard output cannot be written");
}

/// False: refused. `place` is "FILE:LINE: ".
bool decode_frame(const decode_options &options, const inspect::labels *labels, const message &m,
                  const bytes &frame, const std::string &place)
{
    // First without the records: bytes that are refused take no memory for those before the fault.
    std::optional<inspect::damage> why = inspect::first_damage(m, frame);
    decoded_record record(m);
    if (!why)
        why = record.read(frame);
    if (why) {
        std::cerr << place << name_of(m) << ": refused at " << to_text(*why)
                  << "; vorl explain shows the bytes\n";
        return false;
    }
    json::write_record(m, record.data(), options.sparse ? json::zeros::omit : json::zeros::write,
                       labels, [](std::string_view part) { write_out(part.data(), part.size()); });
    write_out("\n", 1);
    return true;
}

} // namespace

int encode(const encode_options &options)
{
    const chosen_labels labels(options.labels);
    json::input_file file(options.file);
    json::line_reader lines(file, labels.get());
    bytes only; // of --binary, where nothing would tell one object from the next
    bool have_one = false;
    progress shown("objects encoded");
    while (const std::optional<json::record> record = lines.next()) {
        const message &m = record->type();
        const bytes encoded =
            inspect::encode(m, record->data(),
                            options.packed ? inspect::encoding::packed : inspect::encoding::frame);
        if (encoded.empty())
            throw std::runtime_error(lines.place(lines.line()) + name_of(m) +
                                     ": takes more bytes than 32 bits can say; give a smaller "
                                     "object");
        if (options.binary) {
            if (have_one)
                throw std::runtime_error(lines.place(lines.line()) + name_of(m) +
                                         ": is a second object; give --binary one object, or take "
                                         "--hex");
            only = encoded;
            have_one = true;
        } else {
            const std::string line = to_hex(encoded.data(), encoded.size()) + '\n';
            write_out(line.data(), line.size());
        }
        shown.step();
    }
    if (have_one)
        write_out(only.data(), only.size());
    return 0;
}

int decode(const decode_options &options)
{
    if (options.explain)
        return explain({.message = options.message,
                        .form = options.form,
                        .labels = options.labels,
                        .file = options.file});
    identifier_or_none given;
    if (!options.message.empty())
        given = find_message_or_throw(options.message).data.msg_id;
    const chosen_labels labels(options.labels);
    const bool all_accepted = each_frame(
        options.file, options.form, {given},
        [&](const std::string &place, const bytes &frame, identifier_or_none its) {
            return decode_frame(options, labels.get(), message_of(its, place), frame, place);
        });
    return all_accepted ? 0 : 1;
}

} // namespace vorl::commands
