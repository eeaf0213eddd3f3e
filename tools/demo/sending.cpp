// The sending process: sends the file's objects, by each of the four functions in turn.
#include <dlfcn.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <thread>

#include "catalogue/functions.h"
#include "platform/bus/receiver.h"
#include "tools/demo/roles.h"

namespace vorl::demo {
namespace {

using steady = std::chrono::steady_clock;

constexpr std::uint32_t longest_batch = 8;
constexpr auto queue_patience = std::chrono::seconds(10);

enum class send_function : std::uint8_t { sendsingle, sendbatch, sendmsg, sendtomsg };
constexpr std::uint32_t send_functions = 4;

std::uint32_t call(send_function function, const message &type, const json::record_array &records)
{
    const void *data = records.data();
    const auto functions = catalogue::functions_of(type, RTLD_DEFAULT);
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

void send_records(send_function function, const message &type, const json::record_array &records)
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

} // namespace

int send_all(const std::string &file)
{
    const std::vector<record> objects = load(file);
    for (const catalogue::package_info *package : catalogue::packages) {
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
        json::record_array records;
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

} // namespace vorl::demo
