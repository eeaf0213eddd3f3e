/* send DEST: sends two local SIDs, in one call, to a destination of this machine. */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <srv6.h>

#include "receiver.h"

/* What a send or an initialisation returned. */
static const char *why(uint32_t result)
{
    switch (result) {
    case VORL_DEV_NO_PEER: return "nobody receives at the destination";
    case VORL_DEV_QUEUE_FULL: return "the receiver has no room; try again later";
    case UINT32_MAX: return "the library had no memory, or was given no record";
    default: return "the bus refused it; receiver.h lists its results";
    }
}

/* An address is sixteen bytes, in the order of the address, whatever the member's type. */
static void set_address(uint32_t member[4], const char *text)
{
    struct in6_addr address = {0};
    inet_pton(AF_INET6, text, &address);
    memcpy(member, &address, sizeof address);
}

int main(int argc, char **argv)
{
    if (argc != 2)
        return fputs("usage: send DEST\n", stderr), 2;
    srv6_localsid_fwd sids[2] = {{.f0 = 1, .f6 = 48}, {.f0 = 2, .f6 = 64}};
    set_address(sids[0].f5, "2001:db8::");
    set_address(sids[1].f5, "2001:db9::");
    uint32_t result = srv6_send_init();
    if (result == 0)
        result = srv6_localsid_fwd__sendmsg((uint32_t)strtoul(argv[1], NULL, 0), sids, 2);
    if (result != 0)
        return fprintf(stderr, "send: 0x%X: %s\n", result, why(result)), 1;
    return 0;
}
