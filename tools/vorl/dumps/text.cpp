#include "tools/vorl/dumps/text.h"

#include "tools/vorl/dumps/addressed_frames.h"
#include "tools/vorl/dumps/c_array.h"
#include "tools/vorl/dumps/gdb.h"
#include "tools/vorl/dumps/plain_frames.h"

namespace vorl::dumps {
namespace {

/// Two digits a byte of the largest frame, and what may stand around them.
std::uint64_t longest_line(const reading &to) { return 2 * to.options().largest_frame + 4096; }

/// The next line, without its end and the blanks before that; false at the end of the text.
bool next_line(std::istream &in, std::string &line, std::size_t number, const reading &to)
{
    std::streambuf &from = *in.rdbuf();
    const std::uint64_t most = longest_line(to);
    line.clear();
    int c = from.sbumpc();
    if (c == std::istream::traits_type::eof())
        return false;
    for (; c != '\n' && c != std::istream::traits_type::eof(); c = from.sbumpc()) {
        if (line.size() == most)
            to.refuse(number, "is longer than the digits of the largest frame; give lines of text, "
                              "or say --binary");
        line += static_cast<char>(c);
    }
    line.erase(line.find_last_not_of(" \t\r") + 1);
    return true;
}

class text_reader {
  public:
    explicit text_reader(reading &to)
        : to_(to), form_(to.options().form), plain_(to), addressed_(to), gdb_(to), arrays_(to)
    {}

    void add(std::size_t number, const std::string &line)
    {
        if (arrays_.is_open()) {
            arrays_.add(number, line);
        } else if (line.empty() || line.front() == '#') {
            plain_.gap();
            gdb_.finish();
        } else {
            try {
                add_line(number, line);
            } catch (const bad_line &error) {
                to_.refuse(number, error.what());
            }
        }
    }

    void finish()
    {
        arrays_.finish();
        addressed_.finish();
        gdb_.finish();
        plain_.finish();
    }

  private:
    bool accepts(dump_form form) const { return form_ == dump_form::automatic || form_ == form; }

    void add_line(std::size_t number, const std::string &line)
    {
        if (accepts(dump_form::gdb) && gdb_.take(number, line)) {
            addressed_.finish();
            plain_.gap();
        } else if (addressed_.take(form_, number, line)) {
            gdb_.finish();
            plain_.gap();
        } else {
            addressed_.finish();
            gdb_.finish();
            add_other(number, line);
        }
    }

    void add_other(std::size_t number, const std::string &line)
    {
        const bool is_string = line.find_first_not_of(" \t") == line.find('"');
        if (accepts(dump_form::c_string) && is_string) {
            plain_.add(dump_form::c_string, number, read_c_string_line(line));
        } else if (form_ == dump_form::base64 ||
                   (form_ == dump_form::automatic && is_base64(line))) {
            plain_.add(dump_form::base64, number, read_base64_line(line));
        } else if (form_ == dump_form::c_array ||
                   (form_ == dump_form::automatic && c_arrays::may_begin(line))) {
            plain_.gap();
            arrays_.add(number, line);
        } else if (line == "*") {
            throw bad_line("stands for lines that no address counts; print the bytes by od -v, or "
                           "with addresses");
        } else if (accepts(dump_form::hex)) {
            plain_.add(dump_form::hex, number, read_hex_line(line));
        } else {
            throw bad_line("is no line of the form that --form names; leave --form out, and forms "
                           "are recognised");
        }
    }

    /// Asked before arrays: a line of base64 may open with what opens a comment.
    bool is_base64(std::string_view line) const
    {
        return plain_.goes_on_with(dump_form::base64) ? has_base64_only(line)
                                                      : is_base64_alone(line);
    }

    reading &to_;
    const dump_form form_;
    plain_frames plain_;
    addressed_frames addressed_;
    gdb_frames gdb_;
    c_arrays arrays_;
};

} // namespace

void read_text(std::istream &in, reading &to)
{
    text_reader reader(to);
    std::string line;
    for (std::size_t number = 1; next_line(in, line, number, to); ++number)
        reader.add(number, line);
    reader.finish();
}

} // namespace vorl::dumps
