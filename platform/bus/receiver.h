/*
 * The development bus's receiving side: what the router's bus does inside itself. The library calls
 * the four VORL_ functions of runtime/bus.h; a receiving program on a workstation calls these.
 * Plain C; the library never does.
 *
 * A receiver owns a destination identifier on this machine. Sending processes reach it through a
 * Unix-domain socket <directory>/<destination in decimal>.sock, where the directory is
 * $VORL_BUS_DIR or else /tmp/vorl-bus-<uid>, made with mode 0700 when it is missing; a locked
 * <destination>.lock beside it marks a live receiver. Frames of one send are accepted all together
 * or not at all, and a frame that was accepted (the sender saw 0) is delivered, in the order of
 * acceptance per sender, unless the receiving process dies.
 *
 * VORL_SendMsg delivers to `dest`. VORL_SendToMsg delivers to the destination that the low 32 bits
 * of `to` name, instead of `dest`; the high 32 bits mean nothing here. Functions registered by
 * VORL_RegIDLResorceCleanFuncHook are called once, at exit.
 *
 * Threads: one receiver may be fed by any number of senders; VORL_DevReceive is for one thread at a
 * time a receiver, and neither it nor VORL_DevReceiverClose is for the receiver's own handler. A
 * handler may send. A forked child has none of its parent's receivers (both functions do nothing
 * there) and sends over connections of its own.
 *
 * Environment. A value that cannot be is an error: a send then returns VORL_DEV_SETTING.
 *   VORL_BUS_TIMEOUT_MS   how long a send waits for a receiver that hangs, 1 to 86400000, a day;
 *                         10000 when it is not set. The send then returns VORL_DEV_IO with
 *                         ETIMEDOUT in errno
 *   VORL_BUS_FAIL=n       the process's n-th send returns VORL_DEV_NO_PEER and sends nothing
 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * What VORL_SendMsg and VORL_SendToMsg of this bus return beside 0. 0xFFFFFFFF is the library's own
 * and never the bus's.
 */
enum {
    VORL_DEV_OK = 0,

    /* Nobody receives at the destination, or it went away before it accepted. */
    VORL_DEV_NO_PEER = 1,

    /* The receiver has no room for the frames of this send; nothing of it was accepted. */
    VORL_DEV_QUEUE_FULL = 2,

    /* No frames, a descriptor without bytes, or more bytes than 2^30 or the receiver's whole queue;
     * nothing was accepted. */
    VORL_DEV_BAD_FRAME = 3,

    /* The socket failed; errno tells why. Whether the frames were accepted is not known. */
    VORL_DEV_IO = 4,

    /* Registration: a null hook, or an identifier that another type holds. */
    VORL_DEV_REFUSED = 5,

    /* A variable VORL_BUS_... has a value that cannot be, or the bus's directory cannot be used;
     * standard error says which, once. Nothing was sent. */
    VORL_DEV_SETTING = 6
};

typedef struct vorl_dev_receiver vorl_dev_receiver;

/*
 * One delivered frame: its record, filled by the registered __unpack, valid until the handler
 * returns; the bus then passes it to the registered _free__unpacked. `frame` and `frame_length` are
 * the bytes it was read from. The record is zeroed first, so where __unpack refused the frame,
 * which it tells the log alone, it is zero as far as __unpack did not come. Records have at most
 * 65536 bytes; a frame whose __unpack names more is treated as one of unknown type.
 */
typedef void (*vorl_dev_handler)(void *user, uint32_t msg_id, const void *record,
                                 uint32_t record_size, const void *frame, uint32_t frame_length);

/*
 * Counters of a receiver, for reports: frames accepted, delivered, of unknown type; and sends cut
 * short, whose sender went away in the middle.
 */
typedef struct vorl_dev_counters {
    uint64_t accepted;
    uint64_t delivered;
    uint64_t unknown;
    uint64_t cut_short;
} vorl_dev_counters;

/*
 * Starts to receive at `dest`. `queue_bytes` bounds the bytes of frames accepted and not yet
 * delivered (0: 64 MiB). Null with a message on standard error when the destination is taken by a
 * live receiver or the socket cannot be made.
 */
vorl_dev_receiver *VORL_DevReceiverOpen(uint32_t dest, uint64_t queue_bytes);

/*
 * Waits up to `timeout_ms` (-1: for ever) for frames, delivers those that are there, and returns
 * their number; 0 when the time passed. A frame of an identifier that nobody registered is counted
 * and dropped, the first of each identifier reported on standard error, up to 1000 identifiers; it
 * does not end the wait.
 * With a null handler records are released unseen.
 */
uint32_t VORL_DevReceive(vorl_dev_receiver *receiver, int32_t timeout_ms, vorl_dev_handler handler,
                         void *user);

void VORL_DevCounters(vorl_dev_receiver *receiver, vorl_dev_counters *counters);

/*
 * Stops receiving: senders see VORL_DEV_NO_PEER from here on. Frames accepted and not delivered are
 * delivered first.
 */
void VORL_DevReceiverClose(vorl_dev_receiver *receiver, vorl_dev_handler handler, void *user);

#ifdef __cplusplus
}
#endif
