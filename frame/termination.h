// The ends of run units and of the runtime, and core files.
#pragma once

#include <cstdint>

extern "C" {

void RunUnitTerm(uint32_t reason, uint32_t status);
void TermCobolRte(uint32_t reason);
void zvk_fini(void);

int zvkMakeCore(void);          // 1 if a core file was made
int _zvkCore(void);             // as ZVKDUMP, 0 under a monitor
void zvkNoMoreCores(void);      // soft core limit to 0

}  // extern "C"
