// append_facts MAJOR.MINOR FILE DESCRIPTION...: writes the rows that FILE, messages.inc, is to
// hold. New messages get a row of that version; other rows come out as the descriptions are now,
// and ./dev regen refuses what changes one.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>

#include "tests/facts/rows.h"

namespace {

std::string content_of(const char *path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error(std::string(path) + ": cannot be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

void write(const char *version, const char *path, const std::vector<std::string> &descriptions)
{
    const std::string file = content_of(path);
    const std::vector<vorl::test::row> rows = vorl::test::rows_of(file);
    if (rows.empty())
        throw std::runtime_error(std::string(path) + ": has no row");
    const std::string_view text(version);
    const std::string since = std::string(text.substr(0, text.find('.'))) + ", " +
                              std::string(text.substr(text.find('.') + 1));
    std::string result = file.substr(0, file.find(rows.front().text));
    for (const vorl::test::described_message &m : vorl::test::read_descriptions(descriptions)) {
        const auto had = std::find_if(rows.begin(), rows.end(), [&m](const vorl::test::row &r) {
            return r.message == m.name;
        });
        result += fact_row(m, had == rows.end() ? since : had->since);
    }
    result += file.substr(file.find(rows.back().text) + rows.back().text.size());
    std::ofstream to(path, std::ios::binary);
    to << result;
    if (!to.flush())
        throw std::runtime_error(std::string(path) + ": cannot be written");
}

} // namespace

int main(int count, char **arguments)
{
    if (count < 4) {
        std::fputs("usage: append_facts MAJOR.MINOR FILE DESCRIPTION...\n", stderr);
        return 2;
    }
    try {
        std::vector<std::string> descriptions;
        std::transform(arguments + 3, arguments + count, std::back_inserter(descriptions),
                       content_of);
        write(arguments[1], arguments[2], descriptions);
        return 0;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "append_facts: %s\n", e.what());
        return 1;
    }
}
