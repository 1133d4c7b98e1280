// Concatenated names, internal side: the record's dump for traces.
#pragma once

#include "kvr2/filemodule.h"

// Prints the record to stdout.
void zvkConcatDump(ConcatRecord* record);
