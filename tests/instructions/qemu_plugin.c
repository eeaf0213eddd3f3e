/* A plugin of qemu-user: counts the instructions that the program executes between two marks (qemu_marks.h) and writes a
   line a pair of them, the count, to FILE:

       qemu-aarch64 -plugin qemu_plugin.so,out=FILE PROGRAM

   Every instruction adds one when it is executed, so that counts are exact. Programs with several threads would lose some:
   the additions are not atomic.

   With trace=TRACE behind it, the instructions themselves go to TRACE, as they were executed: 4 bytes each, and 4 zeros,
   which are no instruction that can be executed, at the end of each pair of marks. */
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

void qemu_plugin_register_vcpu_insn_exec_cb(struct qemu_plugin_insn *instruction, void (*on_execution)(unsigned cpu, void *data),
                                            int registers, void *data);
const void *qemu_plugin_insn_data(const struct qemu_plugin_insn *instruction);

/* qemu looks for these two. */
#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info *info, int count, char **arguments);

static FILE *out;
static uint64_t executed;
static uint64_t executed_at_begin;
static FILE *trace; /* null where there is none */
static int is_traced;

static void trace_word(uint32_t word)
{
    fwrite(&word, sizeof word, 1, trace);
}

static void trace_instruction(unsigned cpu, void *word)
{
    (void)cpu;
    if (is_traced)
        trace_word((uint32_t)(uintptr_t)word);
}

static void add_to_trace(struct qemu_plugin_insn *instruction)
{
    uint32_t word;
    memcpy(&word, qemu_plugin_insn_data(instruction), sizeof word);
    qemu_plugin_register_vcpu_insn_exec_cb(instruction, trace_instruction, 0, (void *)(uintptr_t)word);
}

static void count_block(qemu_plugin_id_t id, struct qemu_plugin_tb *block)
{
    (void)id;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i) {
        struct qemu_plugin_insn *instruction = qemu_plugin_tb_get_insn(block, i);
        qemu_plugin_register_vcpu_insn_exec_inline(instruction, QEMU_PLUGIN_INLINE_ADD_U64, &executed, 1);
        if (trace)
            add_to_trace(instruction);
    }
}

static void look_for_mark(qemu_plugin_id_t id, unsigned cpu, int64_t number, uint64_t mark, uint64_t b, uint64_t c, uint64_t d,
                          uint64_t e, uint64_t f, uint64_t g, uint64_t h)
{
    (void)id, (void)cpu, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g, (void)h;
    if (number != VORL_MARK_SYSCALL)
        return;
    if (mark == VORL_MARK_BEGIN) {
        executed_at_begin = executed;
        is_traced = trace != NULL;
    } else if (mark == VORL_MARK_END) {
        fprintf(out, "%" PRIu64 "\n", executed - executed_at_begin);
        if (is_traced) {
            trace_word(0);
            fflush(trace); /* nothing closes it */
        }
        is_traced = 0;
    }
}

/* The file of an argument NAME=FILE; null where it is another argument, or cannot be opened. */
static FILE *file_of(const char *argument, const char *name)
{
    size_t length = strlen(name);
    if (strncmp(argument, name, length) != 0)
        return NULL;
    FILE *file = fopen(argument + length, "w");
    if (!file)
        perror(argument + length);
    return file;
}

int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info *info, int count, char **arguments)
{
    (void)info;
    if (count >= 1)
        out = file_of(arguments[0], "out=");
    if (count == 2)
        trace = file_of(arguments[1], "trace=");
    if (!out || count > 2 || (count == 2 && !trace)) {
        fputs("qemu_plugin.so: takes the file to write counts to, and one for the instructions if they are wanted: "
              "-plugin qemu_plugin.so,out=FILE[,trace=FILE]\n", stderr);
        return 1;
    }
    setvbuf(out, NULL, _IOLBF, BUFSIZ); /* nothing closes it */
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_vcpu_syscall_cb(id, look_for_mark);
    return 0;
}
