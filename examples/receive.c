/* receive DEST COUNT: receives COUNT messages of package srv6 at a destination of this machine. */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>

#include <srv6.h>

#include "receiver.h"

/* The record is this handler's until it returns; then the bus releases it. */
static void print(void *user, uint32_t msg_id, const void *record, uint32_t record_size,
                  const void *frame, uint32_t frame_length)
{
    (void)user, (void)frame;
    printf("msg_id 0x%08X, record of %u bytes, frame of %u\n", msg_id, record_size, frame_length);
    if (msg_id == srv6_localsid_fwd_msg_id) {
        const srv6_localsid_fwd *sid = record;
        char address[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, sid->f5, address, sizeof address);
        printf("  f0 = %u, f5 = %s, f6 = %u\n", sid->f0, address, sid->f6);
    }
}

int main(int argc, char **argv)
{
    if (argc != 3)
        return fputs("usage: receive DEST COUNT\n", stderr), 2;
    uint32_t refused = srv6_recv_init(); /* from here on the bus knows the messages */
    if (refused != 0)
        return fprintf(stderr, "srv6_recv_init: the bus returned %u\n", refused), 1;
    vorl_dev_receiver *receiver = VORL_DevReceiverOpen((uint32_t)strtoul(argv[1], NULL, 0), 0);
    if (receiver == NULL)
        return 1; /* it has said why */
    for (long left = atol(argv[2]); left > 0;)
        left -= VORL_DevReceive(receiver, -1, print, NULL);
    VORL_DevReceiverClose(receiver, print, NULL);
    return 0;
}
