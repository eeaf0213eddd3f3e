// Frames out of bytes as people have them: text of many forms, packet captures, and the bytes
// themselves.
//
//   read_frames.cpp     the door: what the first bytes say the input is
//   reading.*           where frames, notes and errors go; --skip and the bounds
//   text.*              a line of text: of which form is it
//   hex, base64, c_string (plain_line.*): a line that is bytes and nothing else
//   plain_frames.*      the frames of such lines: one a line, or one wrapped over several
//   frame_start.*       how a frame begins, and whether it is whole
//   addressed_line.*, addressed_frames.*   the dumps of xxd, hexdump and od
//   gdb.*               what gdb's x command prints
//   c_array.*           arrays as C has them
//   capture.*           pcap files, and pcapng files by capture/
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

#include "capture/frame.h"

namespace vorl {

using capture::bytes;

/// "FILE:LINE: what is wrong; what to do".
class dump_error : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class dump_form : std::uint8_t {
    automatic, ///< recognised: a capture or bytes by how the input begins, text line by line
    hex,       ///< 04000000 d4ff; 04:00; 0x04, 0x00; what xxd -p and od -An -tx1 print
    xxd,       ///< 00000000: 0400 0000  ....   of xxd and tcpdump -X
    hexdump,   ///< 00000000  04 00 00 00  |....|   of hexdump -C; 16-bit words of hexdump
    od,        ///< 000000 04 00 00 00   of od -tx1, with addresses of any kind; words of od -tx2
    gdb,       ///< 0x7ffe4a30: 0x04 0x00   of x/xb, x/xh, x/xw, x/xg
    c_array,   ///< unsigned char frame[] = { 0x04, 0, 0 };
    c_string,  ///< "\x04\x00"
    base64,
    pcap,   ///< pcap or pcapng: a frame a packet
    binary, ///< the input is one frame
};

/// Of lines of hex digits, base64 and strings. The other forms say themselves where a frame ends.
///
/// Automatic: each line is a frame, unless lines look like one frame that a tool wrapped. They do when
///   - the second line begins no other frame, and is not longer than the first; and
///   - the first is as long as tools make lines: 30 bytes (xxd -p), 16 bytes (od -An -tx1), 57 or 48
///     bytes (base64, openssl); or it begins as a frame does and does not hold that frame to its end.
/// The lines behind go on with that frame, up to one that is shorter than the first, an empty line,
/// a comment, or a line that begins another frame. A frame begins with 04 00 00 00 and a negative
/// soffset, or, packed, with 4 plus the length of its vtable and that length (docs/format.md). So do
/// tables within a frame. Therefore a line that begins so begins another frame only if the lines before
/// it are whole, or are no frame, or have the same first six bytes. Packed bytes of several lines are
/// never taken for whole.
///
/// Always: a line that ends in a comma, a colon, or a backslash behind a string goes on in the next.
enum class dump_layout : std::uint8_t { automatic, frame_a_line, one_frame };

struct dump_options {
    dump_form form = dump_form::automatic;
    dump_layout layout = dump_layout::automatic;
    std::uint64_t skip = 0; ///< bytes of headers before each frame, which are taken off
    /// What __unpack takes. Tests lower it.
    std::uint64_t largest_frame = 0x7FFFFFFF;
    /// Of a capture that says what its frames are (docs/capture.md): called with that right before each
    /// of them is given.
    std::function<void(const capture::frame_facts &)> about = {};
};

/// `place` is where the frame starts: "FILE:LINE: ", "FILE: packet N: " or "FILE: ".
using take_frame = std::function<void(const std::string &place, const bytes &frame)>;

struct frames_read {
    std::uint64_t taken = 0;
    std::uint64_t refused = 0; ///< shorter than --skip; `notes` says which
};

/// Calls take for each frame of the input that errors call `name`. Empty lines of text and lines that
/// open with # are skipped. `notes` gets a line, "vorl: FILE: ...", for a reading that may not be what
/// was meant, and for each frame that is refused. Throws dump_error.
frames_read read_frames(std::istream &in, const std::string &name, const dump_options &options,
                        const take_frame &take, std::ostream &notes);

} // namespace vorl
