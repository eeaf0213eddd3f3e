#include "bench/library.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/bus.h"

namespace vorl::bench {
namespace {

encodings *receiver;

} // namespace

void give_up(const char *what, const char *name)
{
    fprintf(stderr, "vorl_bench: %s %s\n", what, name);
    exit(1);
}

const message &message_named(const char *name)
{
    const catalogue::message_info *found = catalogue::find_message(name);
    if (found == nullptr)
        give_up("no message", name);
    return found->data;
}

encodings frames_of(const record_set &records)
{
    const message_functions functions = functions_of(records.type());
    encodings frames;
    receiver = &frames;
    on_frames = [](const frame_desc *descs, uint32_t count) {
        for (uint32_t i = 0; i < count; ++i)
            receiver->add(static_cast<const uint8_t *>(descs[i].data), descs[i].length);
    };
    for (uint32_t i = 0; i < records.count(); ++i) {
        if (functions.sendsingle(1, records.at(i), 0, 1) != 0)
            give_up("cannot send", name_of(records.type()));
    }
    receiver = nullptr;
    return frames;
}

encodings packed(const record_set &records)
{
    const message_functions functions = functions_of(records.type());
    encodings result;
    std::vector<uint8_t> buffer;
    for (uint32_t i = 0; i < records.count(); ++i) {
        uint32_t size = UINT32_MAX;
        functions.pack(records.at(i), nullptr, &size);
        buffer.resize(size);
        if (functions.pack(records.at(i), buffer.data(), &size) != 0)
            give_up("cannot pack", name_of(records.type()));
        result.add(buffer.data(), size);
    }
    return result;
}

void check_round_trip(const record_set &records, const encodings &encoded)
{
    const vorl::message &message = records.type();
    const message_functions functions = functions_of(message);
    std::vector<uint64_t> words(message.record_size / 8 + 1);
    for (uint32_t i = 0; i < records.count(); ++i) {
        functions.unpack(encoded.at(i), static_cast<int32_t>(encoded.length(i)), words.data());
        // Records with vectors hold addresses: those are compared by what they pack to.
        std::vector<uint8_t> buffer(encoded.length(i));
        uint32_t size = encoded.length(i);
        const bool same = is_fixed_size(message)
                              ? memcmp(words.data(), records.at(i), message.record_size) == 0
                              : functions.pack(words.data(), buffer.data(), &size) == 0 &&
                                    size == encoded.length(i) &&
                                    memcmp(buffer.data(), encoded.at(i), size) == 0;
        functions.free_unpacked(words.data());
        if (!same)
            give_up("a record came back changed:", name_of(message));
    }
}

} // namespace vorl::bench
