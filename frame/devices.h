// Binding of the device names to streams, for the console verbs and the
// frame's message and dump writers.
#pragma once

#include <cstdint>
#include <cstdio>

extern "C" {

// Binds one device stream (letters A, D, I, M, O, P) from the environment
// on first use.
FILE* openDeviceStream(uint8_t letter);

// The file name an output device's variable stands for: COBOUTDIR in
// front, and a value ending in "%" completed with the default word, the
// program's name, a time stamp, the zone and the process id.  Returns a
// static buffer, valid until the next call.
const char* expandOutputName(const char* value, int32_t fresh, const char* defaultWord);

// Flushes a stream and its file to the disk: before a core file, a
// traceback or an ending, so that nothing written is lost.
void zvkSyncStream(FILE* stream);

// Appends s to the command line cmd (size bytes in all), quoted for the
// shell, for the external commands the frame runs.
void zvkAppendQuoted(char* cmd, size_t size, const char* s);

// Closes the device streams bound to files of their own.
void zvkDeviceStreamsRelease(void);

}  // extern "C"
