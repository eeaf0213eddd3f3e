// sends/TYPE: a thousand frames in one send beside a thousand sends.
#include "bench/contenders.h"
#include "bench/groups.h"

namespace vorl::bench {

void register_sends(std::vector<registered> &groups)
{
    for (const std::string_view type : small_types) {
        const std::string name(type);
        const auto fill = [name](group &g, const settings &) {
            constexpr uint32_t count = 1000;
            const vorl::message &message = message_named(name.c_str());
            const message_functions functions = functions_of(message);
            const auto &records = g.keep<record_set>(message, pattern::dense, count);
            g.add("send", count,
                  [send = functions.sendsingle, records = records.view()](uint64_t i) {
                      send(1, records.at(i), 0, 0);
                  });
            g.add(
                "send_batch", 1,
                [send = functions.sendbatch, records = records.view()](uint64_t) {
                    send(1, records.at(0), count, 0);
                },
                count);
        };
        groups.push_back({"sends/" + name, state::warm, fill});
    }
}

} // namespace vorl::bench
