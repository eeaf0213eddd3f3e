/* A plugin of qemu-user: counts the instructions that the program executes between two marks (qemu_marks.h) and writes a
   line a pair of them, the count, to FILE:

       qemu-aarch64 -plugin qemu_plugin.so,out=FILE PROGRAM

   Every instruction adds one when it is executed, so that counts are exact. Programs with several threads would lose some:
   the additions are not atomic. */
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "qemu_marks.h"

/* What is used here of version 1 of qemu's plugin interface. Debian packages qemu-user without the header that declares it,
   include/qemu/qemu-plugin.h in qemu's sources (7.2); https://www.qemu.org/docs/master/devel/tcg-plugins.html describes it. */
typedef uint64_t qemu_plugin_id_t;
struct qemu_info;
struct qemu_plugin_tb;   /* a block of instructions that qemu translates at once */
struct qemu_plugin_insn; /* one of them */
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, void (*on_block)(qemu_plugin_id_t, struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t id,
                                          void (*on_call)(qemu_plugin_id_t, unsigned cpu, int64_t number, uint64_t, uint64_t,
                                                          uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *block, size_t index);
void qemu_plugin_register_vcpu_insn_exec_inline(struct qemu_plugin_insn *instruction, enum qemu_plugin_op operation,
                                                void *number, uint64_t operand);

/* qemu looks for these two. */
#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info *info, int count, char **arguments);

static FILE *out;
static uint64_t executed;
static uint64_t executed_at_begin;

static void count_block(qemu_plugin_id_t id, struct qemu_plugin_tb *block)
{
    (void)id;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i)
        qemu_plugin_register_vcpu_insn_exec_inline(qemu_plugin_tb_get_insn(block, i), QEMU_PLUGIN_INLINE_ADD_U64, &executed, 1);
}

static void look_for_mark(qemu_plugin_id_t id, unsigned cpu, int64_t number, uint64_t mark, uint64_t b, uint64_t c, uint64_t d,
                          uint64_t e, uint64_t f, uint64_t g, uint64_t h)
{
    (void)id, (void)cpu, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g, (void)h;
    if (number != VORL_MARK_SYSCALL)
        return;
    if (mark == VORL_MARK_BEGIN)
        executed_at_begin = executed;
    else if (mark == VORL_MARK_END)
        fprintf(out, "%" PRIu64 "\n", executed - executed_at_begin);
}

int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info *info, int count, char **arguments)
{
    (void)info;
    if (count != 1 || strncmp(arguments[0], "out=", 4) != 0) {
        fputs("qemu_plugin.so: takes one argument, the file to write counts to: -plugin qemu_plugin.so,out=FILE\n", stderr);
        return 1;
    }
    out = fopen(arguments[0] + 4, "w");
    if (!out) {
        perror(arguments[0] + 4);
        return 1;
    }
    setvbuf(out, NULL, _IOLBF, BUFSIZ); /* nothing closes it */
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_vcpu_syscall_cb(id, look_for_mark);
    return 0;
}
