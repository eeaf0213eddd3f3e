// vorl_demo FILE: two processes exchange every object of a file over the development bus.
//
// The first process starts the two others from its own program and shows the table. One receives
// and compares every record with that of the file, member by member; one sends, taking turns among
// the four send functions. Each reports on its standard output, which the first process reads:
//   receiving   "ready", then for each type "NAME received bytes mismatches"
//   sending     for each type "NAME sent"
// The receiving process goes on until its standard input ends, which is when sending is over.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "catalogue/functions.h"
#include "platform/bus/receiver.h"
#include "tools/vorl/json_lines.h"

extern char **environ; // NOLINT: POSIX says so

namespace {

using vorl::message;
using vorl::catalogue::message_info;
using vorl::catalogue::package_info;
using vorl::json::record;
using steady = std::chrono::steady_clock;

constexpr std::uint32_t dest = 1;
constexpr std::uint32_t longest_batch = 8;
constexpr std::uint32_t mismatches_shown = 10;
constexpr auto queue_patience = std::chrono::seconds(10);

[[noreturn]] void fail(const std::string &what) { throw std::runtime_error("vorl_demo: " + what); }

std::vector<record> load(const std::string &path)
{
    vorl::json::input_file file(path);
    vorl::json::line_reader lines(file);
    std::vector<record> objects;
    while (std::optional<record> next = lines.next())
        objects.push_back(std::move(*next));
    return objects;
}

template <class Visitor>
void each_message(Visitor &&visit)
{
    for (const package_info *package : vorl::catalogue::packages) {
        for (const message_info &info : package->messages)
            visit(info.data);
    }
}

// ---- The receiving process

class comparison {
  public:
    explicit comparison(const std::vector<record> &objects)
    {
        for (const record &object : objects)
            types_[object.type().msg_id].expected.push_back(&object);
    }

    void take(std::uint32_t msg_id, const void *received, std::uint32_t frame_length)
    {
        type_state &type = types_[msg_id];
        ++type.received;
        type.bytes += frame_length;
        // One sender: the objects of a type arrive in the file's order.
        if (type.expected.empty()) {
            mismatch(type, msg_id, "more received than sent");
            return;
        }
        const record &sent = *type.expected.front();
        type.expected.pop_front();
        const std::string difference =
            vorl::json::first_difference(sent.type(), sent.data(), received);
        if (!difference.empty())
            mismatch(type, msg_id, difference + " differs from what was sent");
    }

    void report() const
    {
        each_message([this](const message &m) {
            const auto found = types_.find(m.msg_id);
            if (found != types_.end())
                std::printf("%s %" PRIu64 " %" PRIu64 " %" PRIu64 "\n", name_of(m),
                            found->second.received, found->second.bytes, found->second.mismatches);
        });
    }

  private:
    struct type_state {
        std::deque<const record *> expected;
        std::uint64_t received = 0;
        std::uint64_t bytes = 0;
        std::uint64_t mismatches = 0;
    };

    void mismatch(type_state &type, std::uint32_t msg_id, const std::string &what)
    {
        ++type.mismatches;
        if (shown_++ >= mismatches_shown)
            return;
        const message_info *info = vorl::catalogue::find_message(msg_id);
        std::fprintf(stderr, "vorl_demo: %s, object %" PRIu64 " of its type: %s\n",
                     info == nullptr ? "an unknown message" : name_of(info->data), type.received,
                     what.c_str());
    }

    std::map<std::uint32_t, type_state> types_;
    std::uint32_t shown_ = 0;
};

bool input_has_ended()
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

int receive_all(const std::string &file)
{
    const std::vector<record> objects = load(file);
    comparison result(objects);
    for (const package_info *package : vorl::catalogue::packages) {
        if (functions_of(*package, RTLD_DEFAULT).recv_init() != 0)
            fail(std::string("the bus refused package ") + package->name);
    }
    vorl_dev_receiver *receiver = VORL_DevReceiverOpen(dest, 0);
    if (receiver == nullptr)
        fail("cannot receive; see above");
    const vorl_dev_handler handler = [](void *user, std::uint32_t msg_id, const void *received,
                                        std::uint32_t, const void *, std::uint32_t frame_length) {
        static_cast<comparison *>(user)->take(msg_id, received, frame_length);
    };
    std::puts("ready");
    std::fflush(stdout);
    static constexpr std::int32_t wait_ms = 20;
    while (!input_has_ended())
        VORL_DevReceive(receiver, wait_ms, handler, &result);
    VORL_DevReceiverClose(receiver, handler, &result);
    result.report();
    return 0;
}

// ---- The sending process

enum class send_function : std::uint8_t { sendsingle, sendbatch, sendmsg, sendtomsg };
constexpr std::uint32_t send_functions = 4;

std::uint32_t call(send_function function, const message &type,
                   const vorl::json::record_array &records)
{
    const void *data = records.data();
    const auto functions = vorl::catalogue::functions_of(type, RTLD_DEFAULT);
    switch (function) {
    case send_function::sendsingle: return functions.sendsingle(dest, data, 0, 0);
    case send_function::sendbatch: return functions.sendbatch(dest, data, records.count(), 0);
    case send_function::sendmsg: return functions.sendmsg(dest, data, records.count());
    case send_function::sendtomsg:
        // On this bus a destination's handle is its identifier.
        return functions.sendtomsg(dest, data, records.count(), dest);
    }
    return VORL_DEV_IO;
}

void send_records(send_function function, const message &type,
                  const vorl::json::record_array &records)
{
    const auto deadline = steady::now() + queue_patience;
    for (;;) {
        const std::uint32_t code = call(function, type, records);
        if (code == 0)
            return;
        if (code != VORL_DEV_QUEUE_FULL || steady::now() >= deadline)
            fail(std::string(name_of(type)) + " was refused with code " + std::to_string(code));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// A line a second once it has taken one.
class progress {
  public:
    void show(std::size_t done, std::size_t all)
    {
        if (steady::now() < next_)
            return;
        next_ += std::chrono::seconds(1);
        std::fprintf(stderr, "vorl_demo: %zu of %zu objects sent\n", done, all);
    }

  private:
    steady::time_point next_ = steady::now() + std::chrono::seconds(1);
};

int send_all(const std::string &file)
{
    const std::vector<record> objects = load(file);
    for (const package_info *package : vorl::catalogue::packages) {
        if (functions_of(*package, RTLD_DEFAULT).send_init() != 0)
            fail(std::string("the bus refused package ") + package->name);
    }
    std::map<std::string, std::uint64_t> sent;
    progress shown;
    std::uint32_t turn = 0;
    for (std::size_t at = 0; at < objects.size();) {
        const auto function = static_cast<send_function>(turn++ % send_functions);
        const message &type = objects[at].type();
        const std::uint32_t most = function == send_function::sendsingle ? 1 : longest_batch;
        vorl::json::record_array records;
        while (at < objects.size() && &objects[at].type() == &type && records.count() < most)
            records.push_back(objects[at++]);
        send_records(function, type, records);
        sent[name_of(type)] += records.count();
        shown.show(at, objects.size());
    }
    for (const auto &[name, count] : sent)
        std::printf("%s %" PRIu64 "\n", name.c_str(), count);
    return 0;
}

// ---- The process that starts them

class child {
  public:
    /// Its standard output comes to us; its standard input lasts until end_input.
    child(const std::string &program, const std::string &role, const std::string &file)
    {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0)
            fail(std::string("no pipe: ") + std::strerror(errno));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        std::array<std::string, 3> words = {program, role, file};
        std::array<char *, 4> arguments = {words[0].data(), words[1].data(), words[2].data(),
                                           nullptr};
        const int error =
            posix_spawnp(&pid_, program.c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = fdopen(out[0], "r");
        if (error != 0)
            fail("cannot start " + program + " " + role + ": " + std::strerror(error));
    }
    ~child()
    {
        end_input();
        if (output_ != nullptr)
            std::fclose(output_);
        if (pid_ > 0)
            waitpid(pid_, nullptr, 0);
    }
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    /// False at the end of its output.
    bool read_line(std::string &line)
    {
        line.clear();
        int c = 0;
        while ((c = std::fgetc(output_)) != EOF && c != '\n')
            line += static_cast<char>(c);
        return c != EOF;
    }

    void end_input()
    {
        if (input_ >= 0)
            close(input_);
        input_ = -1;
    }

    bool succeeded()
    {
        int status = 0;
        const bool ended = waitpid(pid_, &status, 0) == pid_;
        pid_ = -1;
        return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    std::FILE *output_ = nullptr;
};

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

/// The programs of the two processes: this one, built for this machine or for another.
struct programs {
    std::string receiver;
    std::string sender;
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

int run(const programs &by, const std::string &file)
{
    const auto start = steady::now();
    std::map<std::string, row> rows = exchange(by, file);
    const std::chrono::duration<double> passed = steady::now() - start;
    return show(rows, passed.count()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool is_help = words == std::vector<std::string>{"--help"};
    programs by = {argv[0], argv[0]};
    for (; words.size() > 2; words.erase(words.begin(), words.begin() + 2)) {
        if (words[0] == "--receiver")
            by.receiver = words[1];
        else if (words[0] == "--sender")
            by.sender = words[1];
        else
            break;
    }
    try {
        if (words.size() == 2 && words[0] == "--receive")
            return receive_all(words[1]);
        if (words.size() == 2 && words[0] == "--send")
            return send_all(words[1]);
        if (words.size() == 1 && !words[0].starts_with("-"))
            return run(by, words[0]);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    std::fputs("Usage: vorl_demo [--receiver PROGRAM] [--sender PROGRAM] FILE.jsonl\n"
               "Exchanges every object of FILE between two processes over the development bus, and "
               "shows what came of it. PROGRAM is another build of vorl_demo to run one of them.\n",
               stderr);
    return is_help ? EXIT_SUCCESS : 2;
}
