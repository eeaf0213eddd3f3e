#include "tools/vorl/json_lines.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace vorl::json {

input_file::input_file(const std::string &name)
    : name_(name == "-" ? "<stdin>" : name), stream_(name == "-" ? &std::cin : &file_)
{
    if (name == "-")
        return;
    std::error_code ignored;
    if (std::filesystem::is_directory(name, ignored))
        throw std::runtime_error(name + ": is a directory; give a file, or - for standard input");
    errno = 0;
    file_.open(name, std::ios::binary);
    if (!file_)
        throw std::runtime_error(name + ": cannot be opened (" + std::strerror(errno) +
                                 "); give a readable file, or - for standard input");
}

bool is_object_line(std::string &line)
{
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line.find_first_not_of(" \t") != std::string::npos && line[0] != '#';
}

std::optional<record> line_reader::next()
{
    while (std::getline(stream_, text_)) {
        ++line_;
        if (!is_object_line(text_))
            continue;
        try {
            return parse_record(text_, names_);
        } catch (const input_error &error) {
            throw input_error(place(line_) + error.what());
        }
    }
    if (stream_.bad())
        throw std::runtime_error(name_ + ": cannot be read to its end");
    return std::nullopt;
}

std::string line_reader::place(std::size_t line) const
{
    return name_ + ":" + std::to_string(line) + ": ";
}

} // namespace vorl::json
