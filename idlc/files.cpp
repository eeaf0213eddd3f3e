#include "files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace idlc {
namespace {

namespace fs = std::filesystem;

using open_file = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

/// False: the file cannot be read, errno says why. Reads no more than `longest` bytes and one.
bool read_some(const std::string &path, std::size_t longest, std::string &text)
{
    const open_file in(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!in)
        return false;
    char block[1 << 16];
    while (text.size() <= longest) {
        const std::size_t want = std::min(sizeof block, longest + 1 - text.size());
        const std::size_t got = std::fread(block, 1, want, in.get());
        text.append(block, got);
        if (got < want)
            break;
    }
    return std::ferror(in.get()) == 0;
}

} // namespace

std::string read_file(const std::string &path, std::size_t longest)
{
    std::string text;
    if (!read_some(path, longest, text))
        throw file_error(path, std::string("cannot be read, ") + std::strerror(errno) +
                                   "; name a file that can");
    if (text.size() > longest)
        throw file_error(path, "is longer than " + std::to_string(longest >> 20) +
                                   " MiB; name another file, or split it");
    return text;
}

source read_description(const std::string &path)
{
    return {path, read_file(path, longest_description)};
}

bool has_text(const std::string &path, const std::string &text)
{
    std::string standing;
    return read_some(path, text.size(), standing) && standing == text;
}

bool write_file(const std::string &path, const std::string &text)
{
    open_file out(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!out)
        return false;
    const bool is_written = std::fwrite(text.data(), 1, text.size(), out.get()) == text.size();
    return std::fclose(out.release()) == 0 && is_written;
}

std::vector<std::string> descriptions_in(const std::string &path)
{
    if (!fs::is_directory(path))
        return {path};
    std::vector<std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file() && entry.path().extension() == ".idl")
            files.push_back(entry.path().string());
    }
    if (files.empty())
        throw file_error(path, "holds no description; name a directory that does");
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace idlc
