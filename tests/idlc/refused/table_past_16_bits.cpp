// expect: idlc refuses such a description
#include "serial/layout.h"

#ifdef VORL_MAKE_IT_GOOD
inline constexpr uint32_t count = 65523; // 4 + 8 + 65523 is 65535
#else
inline constexpr uint32_t count = 65524;
#endif
struct record_of_array {
    uint8_t f0[count];
};
struct array_message {
    using record = record_of_array;
    static constexpr char name[] = "array";
    using slots = vorl::slot_list<vorl::array<uint8_t, count, offsetof(record, f0)>>;
};
static_assert(vorl::frame_layout<array_message>::length > 0);
