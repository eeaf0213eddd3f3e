// The mutator of the targets that read messages.
#include <algorithm>

#include "fuzz/mutator.h"

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t max_size, unsigned seed)
{
    using namespace vorl::fuzz;
    if (max_size < head_size)
        return size;
    choice random(seed);
    std::fill(data + std::min(size, head_size), data + head_size, std::uint8_t{0});
    size = std::max(size, head_size);
    switch (random() % 64) {
    case 0: data[0] = static_cast<std::uint8_t>(random()); break; // the bytes of another message
    case 1: data[1] = static_cast<std::uint8_t>(random()); break;
    case 2: data[2] = static_cast<std::uint8_t>(random()); break;
    default: break;
    }
    const bool is_fresh = random() % 128 == 0;
    if (is_fresh) {
        data[0] = static_cast<std::uint8_t>(random());
        data[1] = static_cast<std::uint8_t>(data[1] ^ (random() % 2 == 0 ? big_bit : 0));
    }
    const message_input input = *message_input_of(data, size);
    bytes content = is_fresh ? fresh_content(*input.message, input.byte_order, random)
                             : bytes(input.content.begin(), input.content.end());
    const std::size_t room = max_size - head_size;
    for (std::uint64_t changes = 1 + random() % 3; changes != 0; --changes)
        change(*input.message, input.byte_order, content, room, random);
    content.resize(std::min(content.size(), room));
    std::copy(content.begin(), content.end(), data + head_size);
    return head_size + content.size();
}
