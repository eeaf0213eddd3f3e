#include "tools/vorl/labels_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "tools/vorl/json_lines.h"

namespace vorl {
namespace {

constexpr std::size_t most_warnings = 10;

void warn(const inspect::labels_file &read, const std::string &file)
{
    const std::size_t shown = std::min(read.problems.size(), most_warnings);
    for (std::size_t i = 0; i < shown; ++i)
        std::fprintf(stderr, "%s\n", to_text(read.problems[i], file).c_str());
    if (shown < read.problems.size())
        std::fprintf(stderr, "%s: %zu more; 'vorl labels check' shows them all\n", file.c_str(),
                     read.problems.size() - shown);
}

} // namespace

inspect::labels_file read_labels_file(const std::string &name)
{
    json::input_file file(name);
    // One byte more than is taken tells that there are more.
    std::string text(inspect::longest_labels_file + 1, '\0');
    file.stream().read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.stream().gcount()));
    if (file.stream().bad())
        throw std::runtime_error(file.name() + ": cannot be read to its end");
    return inspect::read_labels(std::move(text));
}

std::string to_text(const inspect::labels_problem &problem, const std::string &file)
{
    return file + ":" + std::to_string(problem.line) + ": " + problem.what;
}

chosen_labels::chosen_labels(const std::string &file)
{
    const char *const of_environment = std::getenv("VORL_LABELS");
    const std::string name =
        !file.empty() || of_environment == nullptr ? file : std::string(of_environment);
    if (name.empty())
        return;
    if (name == "-")
        throw std::runtime_error(
            "labels: standard input is for what they label; give the name of a file");
    inspect::labels_file read = read_labels_file(name);
    warn(read, name);
    labels_ = std::move(read.right);
}

} // namespace vorl
