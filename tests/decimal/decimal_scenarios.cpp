// Scenario programs for decimal arithmetic, run by decimal_env_test in
// processes of their own: the mode word is read from the environment once
// per process, and a division by zero goes on to the end of a COBOL main
// program.  They call the entry points as compiled code does and mark
// each step on stderr, so that the test can tell which step raised which
// message.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cobol.h"
#include "kvr2/kvr2.h"

using cobol::Program;

namespace {

void mark(const char* step) {
    fflush(stdout);
    fprintf(stderr, "--%s\n", step);
    fflush(stderr);
}
void show(const char* what, const void* p, int n) {
    printf("%s=", what);
    for (int i = 0; i < n; ++i) printf("%02x", static_cast<const unsigned char*>(p)[i]);
    printf("\n");
    fflush(stdout);
}

// One step per mode bit that can be seen from outside.
int probe() {
    unsigned char bad[2] = {0x1A, 0x2C}, one[1] = {0x1C}, dst[2];
    mark("add");  // arithmetic validation: bit 0x001 clear
    _zvkcBCD_ADD_Pckd(bad, one, dst, 3, 1, 3);
    show("add", dst, 2);
    mark("equ");  // comparison validation: bit 0x040
    printf("equ=%d\n", _zvkcBCD_EQU_Pckd(bad, one, 1, 3));
    mark("cpy");  // copy validation: bit 0x010
    _zvkcBCD_Cpy_Pckd(bad, dst, 3, 3);
    unsigned char us[3] = {'1', '2', 'J'}, usOut[3];
    mark("us");  // bits 0x004 and 0x008
    _zvkcBCD_CONV_ZndUS_To_ZndUS(us, usOut, 3, 3);
    show("us", usOut, 3);
    unsigned char m100[2] = {0x10, 0x0D}, z[2];
    mark("negzero");  // bit 0x002
    _zvkcBCD_Cpy_Pckd(m100, z, 2, 3);
    show("negzero", z, 2);
    unsigned char p[2] = {0x12, 0x3D}, to[3];
    mark("letter");  // bit 0x080
    _zvkcBCD_CONV_Pckd_To_ZndTO(p, to, 3, 3);
    show("letter", to, 3);
    mark("end");
    return 0;
}

// The environment is read at the first call, never again.
int reread() {
    unsigned char zero[1] = {0x0C}, bad[2] = {0x1A, 0x2C}, dst[2];
    _zvkcBCD_NOT_Pckd(zero, 1);
    setenv("COBOL_BCD_NOVALIDATE", "1", 1);
    mark("add");
    _zvkcBCD_ADD_Pckd(bad, bad, dst, 3, 3, 3);
    mark("end");
    return 0;
}

// Debug dumps of an arithmetic, a comparison and a conversion entry.
int dump() {
    static unsigned char a[3] = {0x01, 0x23, 0x4C}, b[2] = {0x56, 0x7D}, d[3];
    static unsigned char zo[5];
    printf("a=%p b=%p d=%p zo=%p\n", (void*)a, (void*)b, (void*)d, (void*)zo);
    fflush(stdout);
    _zvkcBCD_ADD_Pckd(a, b, d, 5, 3, 4);
    _zvkcBCD_LES_Pckd(a, b, 3, 4);
    _zvkcBCD_CONV_Pckd_To_ZndTO(b, zo, 5, 3);
    return 0;
}

void body() {}

// DIVIDE, DIVIDE REMAINDER and MOD by a zero divisor, packed and zoned:
// each raises 902 and the program goes on with what the division left.
int divzero() {
    static Program pgm("DIVZERO", reinterpret_cast<void*>(&body));
    COBOL_MAIN(pgm, {
        unsigned char seven[1] = {0x7C}, zero[2] = {0x00, 0x0C}, q[2], r[2];
        mark("div");
        _zvkcBCD_DIV_Pckd(seven, zero, q, 3, 3, 1);
        show("div", q, 2);
        mark("divr");
        printf("divr=%d\n", _zvkcBCD_DIVR_Pckd(seven, zero, q, r, 3, 3, 3, 1));
        show("divrq", q, 2);
        show("divrr", r, 2);
        mark("mod");
        _zvkcBCD_MOD_Pckd(seven, zero, r, 3, 3, 1);
        show("mod", r, 2);
        unsigned char zs[2] = {'4', '2'}, zz[3] = {'0', '0', '0'}, zq[3];
        mark("divznd");
        _zvkcBCD_DIV_Znd(zs, zz, zq, 3, 3, 2);
        show("divznd", zq, 3);
        mark("zerobyzero");
        _zvkcBCD_DIV_Pckd(zero, zero, q, 3, 3, 3);
        show("zerobyzero", q, 2);
        mark("end");
    });
    return 0;
}

// Debug dumps of a multiplication, a division with remainder and shifts.
int muldivDump() {
    static unsigned char a[2] = {0x12, 0x3C}, b[1] = {0x4D}, d[3], r[2];
    static unsigned char z[4] = {'1', '2', '3', '4'}, zo[4];
    printf("a=%p b=%p d=%p r=%p z=%p zo=%p\n", (void*)a, (void*)b, (void*)d, (void*)r, (void*)z, (void*)zo);
    fflush(stdout);
    _zvkcBCD_MPY_Pckd(a, b, d, 5, 1, 3);
    _zvkcBCD_DIVR_Pckd(a, b, d, r, 3, 5, 1, 3);
    _zvkcBCD_SHFD_Pckd_RightRnd(a, d, 5, 3, 1);
    _zvkcBCD_SHFD_ZndLO_Left(z, zo, 4, 4, 2);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    if (!strcmp(argv[1], "probe")) return probe();
    if (!strcmp(argv[1], "reread")) return reread();
    if (!strcmp(argv[1], "dump")) return dump();
    if (!strcmp(argv[1], "divzero")) return divzero();
    if (!strcmp(argv[1], "muldivdump")) return muldivDump();
    return 2;
}
