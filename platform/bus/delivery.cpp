#include "platform/bus/delivery.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/bus/registry.h"
#include "platform/bus/report.h"

namespace vorl::bus {

record_area::record_area()
{
    const auto guard = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *mapped =
        mmap(nullptr, capacity + guard, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::system_error(errno, std::generic_category());
    mapped_size_ = capacity + guard;
    start_ = static_cast<uint8_t *>(mapped);
    mprotect(start_ + capacity, guard, PROT_NONE);
}

record_area::~record_area() { munmap(start_, mapped_size_); }

uint8_t *record_area::place(size_t size)
{
    const size_t rounded = (size + 7) & ~size_t{7};
    uint8_t *const at = start_ + capacity - rounded;
    memset(at, 0, rounded);
    return at;
}

void delivery::report_unknown(frame_head head)
{
    // A sender that makes up identifiers gets neither our memory nor all of standard error.
    constexpr size_t most_reported = 1000;
    if (reported_.size() == most_reported || !reported_.insert(head.msg_id).second)
        return;
    report_at(dest_,
              "frame of unknown type 0x%08X (%u bytes) dropped, as will be all others "
              "of this type: nobody registered it",
              head.msg_id, head.length);
    if (reported_.size() == most_reported)
        report_at(dest_, "%zu unknown types; no further ones are reported", most_reported);
}

bool delivery::deliver(frame_head head, const uint8_t *frame, vorl_dev_handler handler, void *user)
{
    message_type type;
    if (!find_type(head.msg_id, type)) {
        ++unknown;
        report_unknown(head);
        return false;
    }
    // __unpack tells the size of its record on every path, but needs room first, and asking it
    // without a buffer would log. So the first record of a type gets all room there is. Zeroed, for
    // an __unpack that refuses its frame may leave the record as it was.
    const auto known = record_sizes_.find(head.msg_id);
    const bool is_first = known == record_sizes_.end();
    uint8_t *const record = area_.place(is_first ? record_area::capacity : known->second);
    const uint32_t size = type.unpack(frame, static_cast<int32_t>(head.length), record);
    if (size > record_area::capacity) {
        ++unknown;
        report_at(dest_, "frame of type 0x%08X dropped: its record of %u bytes is too long",
                  head.msg_id, size);
        return false;
    }
    if (is_first)
        record_sizes_[head.msg_id] = size;
    if (handler != nullptr)
        handler(user, head.msg_id, record, size, frame, head.length);
    type.release(record);
    ++delivered;
    return true;
}

} // namespace vorl::bus
