// A file of JSON objects, one a line. Empty lines, and lines whose first character is #, are
// skipped.
#pragma once

#include <fstream>
#include <istream>
#include <optional>
#include <string>
#include <utility>

#include "tools/vorl/json_record.h"

namespace vorl::json {

/// A file, or standard input for "-".
class input_file {
  public:
    /// Throws std::runtime_error, "NAME: why not".
    explicit input_file(const std::string &name);

    std::istream &stream() { return *stream_; }
    const std::string &name() const { return name_; }

  private:
    std::string name_;
    std::ifstream file_;
    std::istream *stream_;
};

/// False: the line is empty or a comment. Takes off what some editors put at the end of lines.
bool is_object_line(std::string &line);

class line_reader {
  public:
    /// `name` is what errors call the text. The labels, if there are any, must outlive this.
    line_reader(std::istream &text, std::string name, const inspect::labels *names = nullptr)
        : stream_(text), name_(std::move(name)), names_(names)
    {}
    explicit line_reader(input_file &file, const inspect::labels *names = nullptr)
        : line_reader(file.stream(), file.name(), names)
    {}

    /// The next record; nothing at the end of the file. Throws input_error, "FILE:LINE: MEMBER:
    /// what is wrong; what to do"; the next call goes on with the line behind.
    std::optional<record> next();

    /// Of the record read last.
    std::size_t line() const { return line_; }
    const std::string &text() const { return text_; }
    /// "FILE:LINE: ".
    std::string place(std::size_t line) const;

  private:
    std::istream &stream_;
    std::string name_;
    const inspect::labels *names_;
    std::size_t line_ = 0;
    std::string text_;
};

} // namespace vorl::json
