// The items of an input, one after the other, whatever it is: a capture, a dump, or lines of JSON.
#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "inspect/labels.h"
#include "tools/vorl/diff/item.h"
#include "tools/vorl/dumps/read_frames.h"
#include "tools/vorl/frame_file.h"
#include "tools/vorl/json_lines.h"

namespace vorl::diff {

struct input_options {
    dump_options form;
    identifier_or_none given; ///< the message of frames that do not say it
    const inspect::labels *names = nullptr;
};

/// Readers of dumps give frames as they come, and not when they are asked; so each has a thread, which runs
/// only while next() waits for it. Nothing is read by two threads at a time.
class input {
  public:
    /// Throws unreadable when the file cannot be opened. The options have to outlive this.
    input(const std::string &name, const input_options &options);
    ~input();
    input(const input &) = delete;
    input &operator=(const input &) = delete;

    /// Nothing at the end. Throws message_not_named.
    std::optional<item> next();

    const std::string &name() const { return file_.name(); }
    /// Something of it could not be read, which was said.
    bool is_damaged() const { return is_damaged_; }
    /// What is wrong with it is such that it ended early.
    bool is_cut() const { return is_cut_; }

  private:
    struct stop {};

    void run();
    void read();
    void read_dump(std::istream &from);
    void read_lines(std::istream &from);
    void add_frame(const std::string &place, const bytes &frame,
                   const std::optional<capture::frame_facts> &facts);
    void give(item &&i);

    json::input_file file_;
    const input_options &options_;
    std::deque<item> read_; ///< and not given yet
    std::uint64_t read_size_ = 0;
    bool is_damaged_ = false;
    bool is_cut_ = false;
    std::uint64_t unnamed_ = 0; ///< frames of which nothing says the message
    std::uint64_t named_ = 0;
    std::string first_unnamed_; ///< its place
    std::exception_ptr failed_;

    std::mutex mutex_; ///< of all above, which one of the two threads has at a time
    std::condition_variable changed_;
    bool is_reading_ = false; ///< it is the other thread's turn
    bool is_over_ = false;
    bool is_unwanted_ = false;
    std::thread reader_;
};

} // namespace vorl::diff
