// What the processes of the demo have in common, and what each does.
//
// The first process starts the two others from its own program and shows the table. One receives
// and compares every record with that of the file, member by member; one sends, taking turns among
// the four send functions. Each reports on its standard output, which the first process reads:
//   receiving   "ready", then for each type "NAME received bytes mismatches"
//   sending     for each type "NAME sent"
// The receiving process goes on until its standard input ends, which is when sending is over.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "tools/vorl/json_lines.h"

namespace vorl::demo {

using json::record;

/// Where the one sends and the other receives.
inline constexpr std::uint32_t dest = 1;

[[noreturn]] inline void fail(const std::string &what)
{
    throw std::runtime_error("vorl_demo: " + what);
}

inline std::vector<record> load(const std::string &path)
{
    json::input_file file(path);
    json::line_reader lines(file);
    std::vector<record> objects;
    while (std::optional<record> next = lines.next())
        objects.push_back(std::move(*next));
    return objects;
}

template <class Visitor>
void each_message(Visitor &&visit)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages)
            visit(info.data);
    }
}

/// The programs of the two processes: this one, built for this machine or for another.
struct programs {
    std::string receiver;
    std::string sender;
};

// The processes. Each returns the program's status.

int receive_all(const std::string &file);
int send_all(const std::string &file);
int exchange_all(const programs &by, const std::string &file);

} // namespace vorl::demo
