// The delayed functions, by their own names: each jumps to the real one, which loader.cpp finds at the first call.

.text

.macro stub name, index
    .globl \name
    .type \name, @function
\name:
    endbr64
    movq delayedTargets+8*\index(%rip), %r11
    testq %r11, %r11
    jz 1f
    jmp *%r11
1:  movl $\index, %r11d
    jmp findAndCall
    .size \name, . - \name
.endm

// Everything that may carry an argument is kept over the search.
findAndCall:
    pushq %rdi
    pushq %rsi
    pushq %rdx
    pushq %rcx
    pushq %r8
    pushq %r9
    pushq %rax
    subq $128, %rsp
    .irp number, 0, 1, 2, 3, 4, 5, 6, 7
    movups %xmm\number, 16*\number(%rsp)
    .endr
    movl %r11d, %edi
    call findDelayed
    movq %rax, %r11
    .irp number, 0, 1, 2, 3, 4, 5, 6, 7
    movups 16*\number(%rsp), %xmm\number
    .endr
    addq $128, %rsp
    popq %rax
    popq %r9
    popq %r8
    popq %rcx
    popq %rdx
    popq %rsi
    popq %rdi
    jmp *%r11

#define NUMBERED(name, index) stub name, index
#define DELAYED(library, name) NUMBERED(name, __COUNTER__)
#include "functions.inc"

.section .note.GNU-stack, "", @progbits
