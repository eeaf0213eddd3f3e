// Starts the receiving and the sending process, and prints a table of what was exchanged.
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>

#include "tools/demo/child.h"
#include "tools/demo/roles.h"

namespace vorl::demo {
namespace {

/// A directory of its own for the bus, gone with this.
class bus_directory {
  public:
    bus_directory()
    {
        std::string path = std::filesystem::temp_directory_path() / "vorl-demo-XXXXXX";
        if (mkdtemp(path.data()) == nullptr)
            fail("cannot make " + path + ": " + std::strerror(errno));
        path_ = path;
        setenv("VORL_BUS_DIR", path_.c_str(), 1);
    }
    ~bus_directory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    bus_directory(const bus_directory &) = delete;
    bus_directory &operator=(const bus_directory &) = delete;

  private:
    std::string path_;
};

struct row {
    std::uint64_t sent = 0;
    std::uint64_t received = 0;
    std::uint64_t bytes = 0;
    std::uint64_t mismatches = 0;

    bool is_seen() const { return sent != 0 || received != 0; }
};

std::map<std::string, row> exchange(const programs &by, const std::string &file)
{
    const bus_directory directory;
    std::map<std::string, row> rows;
    std::string line;
    std::string name;

    child receiving(by.receiver, "--receive", file);
    if (!receiving.read_line(line) || line != "ready")
        fail("the receiving process did not start; see above");
    child sending(by.sender, "--send", file);
    while (sending.read_line(line)) {
        std::istringstream words(line);
        words >> name;
        words >> rows[name].sent;
    }
    const bool all_sent = sending.succeeded();
    receiving.end_input();
    while (receiving.read_line(line)) {
        std::istringstream words(line);
        words >> name;
        row &of_type = rows[name];
        words >> of_type.received >> of_type.bytes >> of_type.mismatches;
    }
    if (!receiving.succeeded() || !all_sent)
        fail("a process failed; see above");
    return rows;
}

/// The table and its last line. False: something differs, is missing or came twice.
bool show(std::map<std::string, row> &rows, double seconds)
{
    static constexpr int width = 36;
    std::printf("%-*s  %8s  %8s  %10s  %10s\n", width, "message", "sent", "received", "bytes",
                "mismatches");
    row total;
    std::size_t types = 0;
    std::string missing;
    bool all_arrived = true;
    each_message([&](const message &m) {
        const row &of_type = rows[name_of(m)];
        std::printf("%-*s  %8" PRIu64 "  %8" PRIu64 "  %10" PRIu64 "  %10" PRIu64 "\n", width,
                    name_of(m), of_type.sent, of_type.received, of_type.bytes, of_type.mismatches);
        if (of_type.is_seen())
            ++types;
        else
            missing.append(missing.empty() ? "" : ", ").append(name_of(m));
        all_arrived = all_arrived && of_type.sent == of_type.received;
        total.sent += of_type.sent;
        total.received += of_type.received;
        total.bytes += of_type.bytes;
        total.mismatches += of_type.mismatches;
    });
    std::printf("total: %zu types, %" PRIu64 " objects, %" PRIu64 " bytes, %" PRIu64
                " mismatches, %.2f seconds\n",
                types, total.received, total.bytes, total.mismatches, seconds);
    std::fflush(stdout);
    if (!all_arrived)
        std::fprintf(stderr, "vorl_demo: %" PRIu64 " objects sent, but %" PRIu64 " received\n",
                     total.sent, total.received);
    if (!missing.empty())
        std::fprintf(stderr, "vorl_demo: the file has no object of %s; add a line with each\n",
                     missing.c_str());
    return all_arrived && missing.empty() && total.mismatches == 0;
}

} // namespace

int exchange_all(const programs &by, const std::string &file)
{
    const auto start = std::chrono::steady_clock::now();
    std::map<std::string, row> rows = exchange(by, file);
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    return show(rows, passed.count()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace vorl::demo
