// SPDX-License-Identifier: GPL-3.0-or-later
// A library of the agent as programs know it: its C calls under its own name, each a jump through the table that the
// one library behind all of them offers (table.c). So a program that loads several of them binds each call once,
// and the code, the C++ library's part and the settings that were read are there once.
#define CALL(name) DOOR(name, __COUNTER__)
#define DOOR(name, place) DOOR_AT(name, place)
#define TEXT_OF(name) TEXT_OF_EXPANDED(name)
#define TEXT_OF_EXPANDED(name) #name

#if defined(__x86_64__) && defined(__LP64__)
#define JUMP(place) "endbr64\n\tmovq " TEXT_OF(ZEL_TABLE) "@GOTPCREL(%rip), %r11\n\tjmp *8*" #place "(%r11)"
#elif defined(__aarch64__) && defined(__LP64__)
#define JUMP(place) \
    "hint 34\n\tadrp x16, :got:" TEXT_OF(ZEL_TABLE) "\n\tldr x16, [x16, :got_lo12:" TEXT_OF(ZEL_TABLE) "]\n\t" \
    "ldr x16, [x16, 8*" #place "]\n\tbr x16"
#else
#error "how this processor jumps through a table is not written yet"
#endif

#define DOOR_AT(name, place)                                                                \
    __asm__(".text\n\t.balign 16\n\t.globl " #name "\n\t.type " #name ", %function\n" #name \
            ":\n\t" JUMP(place) "\n\t.size " #name ", . - " #name);

extern void (*const ZEL_TABLE[])(void);
#include ZEL_CALLS
