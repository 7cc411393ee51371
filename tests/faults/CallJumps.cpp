// A jump through each slot of CallRedirections.cpp, for functions that product code calls by their plain name. This
// file contains nothing but the jumps: they name their section themselves, and the compiler does not have to know it.
#include "tests/faults/ProductCalls.h"

__asm__(".text\n");

#define FAULTS_JUMP(name, errors, book) \
  __asm__(".globl faults_jump_" #name "\nfaults_jump_" #name ":\n\tjmp *faults_slot_" #name "(%rip)\n");
FAULTS_IMPORTED_CALLS(FAULTS_JUMP)
