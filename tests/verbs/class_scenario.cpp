// NUMERIC on zoned items with trailing signs of each form, plain and
// strict, printed as one digit per item: run with and without the EBCDIC
// convention of the decimal mode word, which is read once a process.
#include <stdio.h>

#include <initializer_list>

#include "kvr2/kvr2.h"

int main() {
    const char* items[] = {"12{", "12}", "12J", "12A", "12R", "123", "12p", "12\xC3"};
    for (uint32_t strict : {0u, ZVK_ZONED_STRICT}) {
        for (const char* s : items)
            putchar('0' + _zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING | strict, reinterpret_cast<const uint8_t*>(s), 3));
        putchar('\n');
    }
    return 0;
}
