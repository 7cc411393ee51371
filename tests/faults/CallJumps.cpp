// A jump through each slot of CallRedirections.cpp, for the functions that product code calls by their name alone.
// Nothing but the jumps is in this file: they say which section they go into, and the compiler need not know.
#include "tests/faults/ProductCalls.h"

__asm__(".text\n");

#define FAULTS_JUMP(name, errors, book) \
  __asm__(".globl faults_jump_" #name "\nfaults_jump_" #name ":\n\tjmp *faults_slot_" #name "(%rip)\n");
FAULTS_IMPORTED_CALLS(FAULTS_JUMP)
