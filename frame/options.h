// Runtime options from COBRTOPT.
#pragma once

#include <cstddef>

extern "C" {

void zvkParseOptions(void);
// The keywords COBRTOPT knows, in the order of their table.
size_t zvkOptionKeywordCount(void);
const char* zvkOptionKeyword(size_t i);

}  // extern "C"
