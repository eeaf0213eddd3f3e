// vectors/TYPE: unpacking an update or a delete of four elements, with its release, beside an
// allocation and a release of such a block alone, and beside a copy of the packed bytes.
#include <cstdlib>

#include "bench/contenders.h"
#include "bench/groups.h"

namespace vorl::bench {
namespace {

constexpr uint32_t elements = 4;

/// The vector of a message that has one, of tables, and no other slot with memory; else null.
const vorl::slot *only_vector(const vorl::message &message)
{
    const vorl::slot *found = nullptr;
    for (const vorl::slot &slot : message.slots) {
        if (slot.shape == slot_shape::scalar)
            continue;
        if (slot.shape != slot_shape::table_vector || found != nullptr)
            return nullptr;
        found = &slot;
    }
    return found;
}

void fill(group &g, const vorl::message &message, size_t block_size)
{
    const auto &records = g.keep<record_set>(message, pattern::dense, few_of(message), elements);
    const auto &bytes = g.keep<encodings>(packed(records));
    check_round_trip(records, bytes);
    const auto &to = g.keep<ring>(std::max<size_t>(bytes.longest(), message.record_size));
    add_unpack(g, "unpack", records, bytes, to);
    g.add("allocator", bytes.count(),
          [take = opaque(&malloc), give_back = opaque(&free), block_size](uint64_t) {
              give_back(take(block_size));
          });
    add_copies(g, "copy", bytes, to);
}

} // namespace

void register_vectors(std::vector<registered> &groups)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        for (const catalogue::message_info &info : package->messages) {
            const std::string name = name_of(info.data);
            const vorl::slot *vector = only_vector(info.data);
            if (vector == nullptr || !(name.ends_with("_update") || name.ends_with("_delete")))
                continue;
            const size_t block_size = size_t{elements} * vector->nested->record_size;
            groups.push_back(
                {"vectors/" + name, state::warm, [&info, block_size](group &g, const settings &) {
                     fill(g, info.data, block_size);
                 }});
        }
    }
}

} // namespace vorl::bench
