/* The marks of a program that runs under qemu-user with the plugin qemu_plugin.c: system calls of a number that no kernel
   has. The plugin sees them; to the program they fail and do nothing. */
#pragma once

#define VORL_MARK_SYSCALL 0x564F524C

/* The call's one argument. */
#define VORL_MARK_BEGIN 1
#define VORL_MARK_END 2
