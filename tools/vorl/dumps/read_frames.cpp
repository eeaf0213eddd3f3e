#include "tools/vorl/dumps/read_frames.h"

#include <algorithm>
#include <istream>

#include "tools/vorl/dumps/capture.h"
#include "tools/vorl/dumps/from_the_start.h"
#include "tools/vorl/dumps/reading.h"
#include "tools/vorl/dumps/text.h"

namespace vorl {
namespace {

using namespace dumps;

void read_binary(std::istream &in, reading &to)
{
    bytes frame;
    bytes block(65536);
    do {
        in.read(reinterpret_cast<char *>(block.data()), static_cast<std::streamsize>(block.size()));
        to.append(frame, {block.data(), static_cast<std::size_t>(in.gcount())}, to.place());
    } while (in);
    if (!frame.empty())
        to.deliver(to.place(), std::move(frame));
}

/// A message opens with its root offset, a small number of four bytes, so with a zero among them.
/// Text has none.
bool is_binary(std::string_view first)
{
    return first.substr(0, 4).find('\0') != std::string_view::npos;
}

void read_recognised(std::istream &in, std::string_view first, reading &to)
{
    if (is_pcapng(first)) {
        read_pcapng(in, to);
    } else if (is_pcap(first)) {
        read_pcap(in, to);
    } else if (first.starts_with("\xff\xfe") || first.starts_with("\xfe\xff")) {
        throw dump_error(to.place() + "is UTF-16 text, or bytes; make it UTF-8 by iconv -f UTF-16 "
                                      "-t UTF-8, or say --binary");
    } else if (is_binary(first)) {
        to.note("is read as the bytes of one frame, as it is no text; --binary says so");
        read_binary(in, to);
    } else {
        read_text(in, to);
    }
}

void read_form(std::istream &in, std::string_view first, dump_form form, reading &to)
{
    switch (form) {
    case dump_form::automatic: read_recognised(in, first, to); break;
    case dump_form::pcap: is_pcapng(first) ? read_pcapng(in, to) : read_pcap(in, to); break;
    case dump_form::binary: read_binary(in, to); break;
    default: read_text(in, to);
    }
}

} // namespace

frames_read read_frames(std::istream &in, const std::string &name, const dump_options &options,
                        const take_frame &take, std::ostream &notes)
{
    reading to(name, options, take, notes);
    std::string first(capture_magic, '\0');
    in.read(first.data(), static_cast<std::streamsize>(first.size()));
    first.resize(static_cast<std::size_t>(in.gcount()));
    if (options.form != dump_form::binary && options.form != dump_form::pcap &&
        first.starts_with("\xef\xbb\xbf")) // of UTF-8 text, at its very start
        first.erase(0, 3);
    from_the_start buffer(first, *in.rdbuf());
    std::istream all(&buffer);
    try {
        read_form(all, first, options.form, to);
    } catch (const std::ios_base::failure &) {
        all.setstate(std::ios_base::badbit);
    }
    if (in.bad() || all.bad())
        throw dump_error(to.place() + "cannot be read to its end");
    return to.count();
}

} // namespace vorl
