// expect: idlc refuses such a description
#include "serial/fast/forms.h"

#ifdef VORL_MAKE_IT_GOOD
inline constexpr uint32_t count = 65523; // 4 + 8 + 65523 is 65535
#else
inline constexpr uint32_t count = 65524;
#endif
constexpr vorl::slot array_slots[] = {
    {.shape = vorl::slot_shape::array, .width = 1, .count = count, .record_at = 0},
};
constexpr vorl::message array_message = {.names = VORL_NAMES("array"),
                                         .name_length = 5,
                                         .msg_id = 1,
                                         .owner = vorl::package::srv6,
                                         .record_size = count,
                                         .slots = array_slots};
static_assert(vorl::frame_form<array_message>::size > 0);
