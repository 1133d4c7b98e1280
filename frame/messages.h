// The one route of every failure: numbered messages from the catalog.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "kvr2/messages.h"

extern "C" {

uint32_t zvkWriteMsg(uint32_t number, uint32_t control, ...);
uint32_t writeERRmsg(uint32_t number, uint32_t control, uint64_t reserved, va_list* args);
// Wraps the lines of text[0..length) in place to width columns; returns
// the new length.  Exposed for tests.
size_t zvkWrapLines(char* text, size_t length, size_t capacity, int width);

}  // extern "C"
