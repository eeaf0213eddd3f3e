/*
 * Preloaded, it stands before the bus and damages one frame on its way, the first of 206 bytes of
 * srv6_localsid_fwd_update: a bit of the byte at 0x98 is turned round. So refused.pcapng was made
 * (make_captures.sh). The sender's own bytes stay as they are.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdint.h>
#include <string.h>

struct frame_desc {
    const void *data;
    uint32_t msg_id;
    uint32_t length;
};

enum { message = 0xD501B69B, length = 206, at = 0x98, bit = 0x40, most = 64 };

/* What is sent instead: the same frames, but for the damaged one. */
static struct frame_desc sent[most];
static unsigned char damaged[length];

static const struct frame_desc *damage(const struct frame_desc *descs, uint32_t count)
{
    static int is_done = 0;
    uint32_t i;
    if (is_done || count > most)
        return descs;
    memcpy(sent, descs, count * sizeof *sent); /* descriptors need not be aligned */
    for (i = 0; i < count && !is_done; ++i) {
        if (sent[i].msg_id != message || sent[i].length != length)
            continue;
        is_done = 1;
        memcpy(damaged, sent[i].data, length);
        damaged[at] ^= bit;
        sent[i].data = damaged;
    }
    return sent;
}

uint32_t VORL_SendMsg(uint32_t dest, const struct frame_desc *descs, uint32_t count);
uint32_t VORL_SendToMsg(uint32_t dest, const struct frame_desc *descs, uint32_t count, uint64_t to);

uint32_t VORL_SendMsg(uint32_t dest, const struct frame_desc *descs, uint32_t count)
{
    uint32_t (*bus)(uint32_t, const struct frame_desc *, uint32_t);
    *(void **)&bus = dlsym(RTLD_NEXT, "VORL_SendMsg");
    return bus(dest, damage(descs, count), count);
}

uint32_t VORL_SendToMsg(uint32_t dest, const struct frame_desc *descs, uint32_t count, uint64_t to)
{
    uint32_t (*bus)(uint32_t, const struct frame_desc *, uint32_t, uint64_t);
    *(void **)&bus = dlsym(RTLD_NEXT, "VORL_SendToMsg");
    return bus(dest, damage(descs, count), count, to);
}
