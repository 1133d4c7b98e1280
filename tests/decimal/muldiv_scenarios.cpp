// Scenario programs for multiplication, division and scaling, run by
// muldiv_env_test in processes of their own: a COBOL main program that
// divides by zero in every form and goes on, and the debug dumps.

#include <stdio.h>
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
int dump() {
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
    if (!strcmp(argv[1], "divzero")) return divzero();
    if (!strcmp(argv[1], "dump")) return dump();
    return 2;
}
