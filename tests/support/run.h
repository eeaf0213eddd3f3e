// Programs as a test runs them: in a directory of its own, with what they say and how they end.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vorl::test {

namespace fs = std::filesystem;

/// A fresh directory that goes with its content.
class scratch_directory {
  public:
    scratch_directory()
    {
        std::string name = (fs::temp_directory_path() / "vorl-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no scratch directory");
        path_ = name;
    }
    ~scratch_directory()
    {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    scratch_directory(const scratch_directory &) = delete;
    scratch_directory &operator=(const scratch_directory &) = delete;
    const fs::path &path() const { return path_; }

  private:
    fs::path path_;
};

inline std::string content(const fs::path &file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + file.string());
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

inline void write(const fs::path &file, const std::string &text)
{
    std::ofstream out(file, std::ios::binary);
    out << text;
    out.close();
    if (!out)
        throw std::runtime_error("cannot write " + file.string());
}

inline std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

struct outcome {
    int status; ///< exit status; 128 and the signal where one ended it
    std::string out;
    std::string err;
};

/// Runs a shell command with `directory` as the working directory.
inline outcome run(const fs::path &directory, const std::string &command)
{
    const scratch_directory said;
    const auto file = [&said](const char *name) { return (said.path() / name).string(); };
    const std::string line = "cd '" + directory.string() + "' && { " + command + "; } >'" +
                             file("out") + "' 2>'" + file("err") + "' </dev/null";
    const int ended = std::system(line.c_str());
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended), content(file("out")),
            content(file("err"))};
}

} // namespace vorl::test
