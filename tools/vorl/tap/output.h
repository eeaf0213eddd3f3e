// Frames written, as a capture or as lines of JSON.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "capture/frame_filter.h"
#include "capture/sources.h"
#include "inspect/labels.h"

namespace vorl::tap {

class output {
  public:
    output() = default;
    output(const output &) = delete;
    output &operator=(const output &) = delete;
    virtual ~output() = default;

    /// `described`: what the frame's source says of messages; null: nothing.
    virtual void add(const capture::frame &f, const capture::process_facts &from,
                     const capture::verdict &judged,
                     const std::map<std::uint32_t, capture::description> *described) = 0;
    /// Behind the last frame, of each process once.
    virtual void count(const capture::process_facts &of, const capture::counters &counted) = 0;
};

/// A file that is written, or standard output for "-". Throws std::runtime_error, what and what to do,
/// when it cannot be made or written.
class output_file {
  public:
    explicit output_file(const std::string &name);
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    void write(const void *from, std::size_t size);
    /// Whatever was written is there for others.
    void flush();
    bool is_terminal() const;

  private:
    [[noreturn]] void refuse() const;

    std::string name_;
    std::FILE *file_;
};

/// Both need the file and the labels (null: none) until they go.
std::unique_ptr<output> make_capture_output(output_file &to, const inspect::labels *names);
std::unique_ptr<output> make_json_output(output_file &to, const inspect::labels *names,
                                         bool leaves_out_commands);

} // namespace vorl::tap
