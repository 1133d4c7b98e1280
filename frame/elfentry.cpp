// The library run as a program: it says what it is and leaves.

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "frame/version.h"

extern "C" {

// The ELF entry (named to the linker by -e) and the check it makes.
void zvkElfEntry(void);
void zvkRefuseSubroutine(const char* executable);

// An interpreter entry makes the shared object executable.
__attribute__((section(".interp"), used)) const char zvkInterp[] = "/lib64/ld-linux-x86-64.so.2";

static const char* baseName(const char* path) {
    const char* s = path ? strrchr(path, '/') : nullptr;
    return s ? s + 1 : (path ? path : "");
}

// Entered with the stack as the kernel leaves it, not as a call does.
__attribute__((force_align_arg_pointer, noreturn, used)) void zvkElfEntry(void) {
    fprintf(stderr, "\n%s:\nCongratulations, you have found an easter-egg!\n", baseName(program_invocation_name));
    fprintf(stderr, "%s\n", kvr2Banner);
    for (const char* v : kvr2Versions) fprintf(stderr, "\t%s\n", v);
    fflush(stderr);
    _exit(0);
}

// A program linked as a subroutine and started directly is refused unless
// it is one of the library's own tools.
void zvkRefuseSubroutine(const char* executable) {
    const char* b = baseName(executable);
    if (strncmp(b, "lib", 3) == 0 || strncmp(b, "zvk", 3) == 0 || strncmp(b, "objf_reader_", 12) == 0) return;
    fprintf(stderr,
            "\nError: You called/invoked a program (%s) that was linked as a subroutine (-e<entry>).\n"
            "       Please adjust your call to use the proper entry point name.\n"
            "       This program can not be invoked directly.\n",
            b);
    _exit(1);
}

}  // extern "C"
