// expect: a frame has one length: the message holds no vector
#include "serial/layout.h"

struct record_of_bytes {
    uint32_t f0_count;
    uint8_t *f0;
};
struct bytes_message {
    using record = record_of_bytes;
    static constexpr char name[] = "bytes";
#ifdef VORL_MAKE_IT_GOOD
    using slots = vorl::slot_list<vorl::scalar<uint32_t, offsetof(record, f0_count)>>;
#else
    using slots =
        vorl::slot_list<vorl::byte_vector<offsetof(record, f0_count), offsetof(record, f0)>>;
#endif
};
static_assert(vorl::frame_layout<bytes_message>::length > 0);
