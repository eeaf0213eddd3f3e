/*
 * The development bus's receiving side: what the router's bus does inside itself. The library calls the four VORL_
 * functions of runtime/bus.h; a receiving program on a workstation calls these. Plain C; the library never does.
 *
 * A receiver owns a destination identifier on this machine. Sending processes reach it through a Unix-domain socket
 * <directory>/<destination in decimal>.sock, where the directory is $VORL_BUS_DIR or else /tmp/vorl-bus-<uid>, made with
 * mode 0700 when it is missing. Frames of one send are accepted all together or not at all, and a frame that was accepted
 * (the sender saw 0) is delivered, in the order of acceptance per sender, unless the receiving process dies.
 *
 * Threads: one receiver may be fed by any number of senders; VORL_DevReceive is for one thread at a time a receiver.
 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What VORL_SendMsg and VORL_SendToMsg of this bus return beside 0. 0xFFFFFFFF is the library's own and never the bus's. */
enum {
    VORL_DEV_OK = 0,
    VORL_DEV_NO_PEER = 1,      /* nobody receives at the destination, or it went away before it accepted */
    VORL_DEV_QUEUE_FULL = 2,   /* the receiver has no room for the frames of this send; nothing of it was accepted */
    VORL_DEV_BAD_FRAME = 3,    /* a descriptor without bytes, or longer than the receiver takes */
    VORL_DEV_IO = 4,           /* the socket failed; errno tells why. Whether the frames were accepted is not known */
    VORL_DEV_REFUSED = 5       /* registration: a null hook, or an identifier that another type holds */
};

typedef struct vorl_dev_receiver vorl_dev_receiver;

/*
 * One delivered frame: its record, filled by the registered __unpack, valid until the handler returns; the bus then passes it
 * to the registered _free__unpacked. `frame` and `frame_length` are the bytes it was read from.
 */
typedef void (*vorl_dev_handler)(void *user, uint32_t msg_id, const void *record, uint32_t record_size,
                                 const void *frame, uint32_t frame_length);

/* Counters of a receiver, for reports: frames accepted, delivered, of unknown type, cut short on the wire. */
typedef struct vorl_dev_counters {
    uint64_t accepted;
    uint64_t delivered;
    uint64_t unknown;
    uint64_t cut_short;
} vorl_dev_counters;

/*
 * Starts to receive at `dest`. `queue_bytes` bounds the frames accepted and not yet delivered (0: 64 MiB). Null with a
 * message on standard error when the destination is taken by a live process or the socket cannot be made.
 */
vorl_dev_receiver *VORL_DevReceiverOpen(uint32_t dest, uint64_t queue_bytes);

/*
 * Waits up to `timeout_ms` (-1: for ever) for frames, delivers those that are there, and returns their number; 0 when the
 * time passed. A frame of an identifier that nobody registered is reported on standard error, counted and dropped.
 */
uint32_t VORL_DevReceive(vorl_dev_receiver *receiver, int32_t timeout_ms, vorl_dev_handler handler, void *user);

void VORL_DevCounters(vorl_dev_receiver *receiver, vorl_dev_counters *counters);

/* Stops receiving: senders see VORL_DEV_NO_PEER from here on. Frames accepted and not delivered are delivered first. */
void VORL_DevReceiverClose(vorl_dev_receiver *receiver, vorl_dev_handler handler, void *user);

#ifdef __cplusplus
}
#endif
