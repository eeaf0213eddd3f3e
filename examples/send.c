/* send DEST: sends two local SIDs, in one call, to a destination of this machine. */
#include <stdio.h>
#include <stdlib.h>

#include <srv6.h>

#include "platform/bus/receiver.h"

/* What a send or an initialisation returned. */
static const char *why(uint32_t result)
{
    switch (result) {
    case VORL_DEV_NO_PEER: return "nobody receives at the destination";
    case VORL_DEV_QUEUE_FULL: return "the receiver has no room; try again later";
    case UINT32_MAX: return "the library had no memory, or was given no record";
    default: return "the bus refused it; platform/bus/receiver.h lists its results";
    }
}

int main(int argc, char **argv)
{
    if (argc != 2)
        return fputs("usage: send DEST\n", stderr), 2;
    const srv6_localsid_fwd sids[2] = {{.f0 = 1, .f5 = {0x20010db8}, .f6 = 48},
                                       {.f0 = 2, .f5 = {0x20010db9}, .f6 = 64}};
    uint32_t result = srv6_send_init();
    if (result == 0)
        result = srv6_localsid_fwd__sendmsg((uint32_t)strtoul(argv[1], NULL, 0), sids, 2);
    if (result != 0)
        return fprintf(stderr, "send: 0x%X: %s\n", result, why(result)), 1;
    return 0;
}
