// expect: a frame has one length: the message holds no vector
#include <stddef.h>

#include "serial/fast/forms.h"

struct record_of_bytes {
    uint32_t f0_count;
    uint8_t *f0;
};
constexpr vorl::slot bytes_slots[] = {
#ifdef VORL_MAKE_IT_GOOD
    {.shape = vorl::slot_shape::scalar, .width = 4, .record_at = 0},
#else
    {.shape = vorl::slot_shape::byte_vector,
     .width = 1,
     .record_at = offsetof(record_of_bytes, f0),
     .count_at = 0},
#endif
};
constexpr vorl::message bytes_message = {.names = VORL_NAMES("bytes"),
                                         .name_length = 5,
                                         .msg_id = 1,
                                         .owner = vorl::package::srv6,
                                         .record_size = sizeof(record_of_bytes),
                                         .slots = bytes_slots};
static_assert(vorl::frame_form<bytes_message>::size > 0);
