// What every form needs while an input is read: where frames, notes and errors go, and the bounds.
#pragma once

#include <span>

#include "tools/vorl/dumps/read_frames.h"

namespace vorl::dumps {

/// What is wrong with a line, "what; what to do"; whoever knows the place adds it.
class bad_line : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class reading {
  public:
    reading(std::string name, const dump_options &options, const take_frame &take,
            std::ostream &notes)
        : name_(std::move(name)), options_(options), take_(take), notes_(notes)
    {}
    reading(const reading &) = delete;
    reading &operator=(const reading &) = delete;

    const dump_options &options() const { return options_; }
    frames_read count() const { return count_; }

    /// "FILE: ".
    std::string place() const { return name_ + ": "; }
    /// "FILE:LINE: ".
    std::string place(std::size_t line) const { return name_ + ":" + std::to_string(line) + ": "; }

    /// Throws dump_error.
    [[noreturn]] void refuse(std::size_t line, const std::string &what) const
    {
        throw dump_error(place(line) + what);
    }

    /// "vorl: FILE: what".
    void note(const std::string &what);

    /// Refuses a frame that becomes too large, at `place`.
    void append(bytes &frame, std::span<const std::uint8_t> more, const std::string &place) const;

    /// Takes the headers off, and gives the frame away.
    /// `facts`: what a capture says of it.
    void deliver(const std::string &place, bytes frame,
                 const capture::frame_facts *facts = nullptr);

    /// A frame that is not given: "PLACE: why; what to do".
    void leave_out(const std::string &place_and_why);

    /// A packet of which a capture holds less than there was.
    void note_cut(std::uint64_t packet, std::uint64_t held, std::uint64_t had);

  private:
    const std::string name_;
    const dump_options &options_;
    const take_frame &take_;
    std::ostream &notes_;
    frames_read count_;
};

} // namespace vorl::dumps
