// Internal interface of the file subsystem: the module rows, the slots of a
// closed file, and registration.
#pragma once

#include <cstdint>

#include "kvr2/filemodule.h"

extern "C" {

// ---- file systems and their modules ----
constexpr int kFileSystemRows = 14;   // codes 0 to 13
constexpr uint8_t kCodeSniff = 12;    // "plx": the file decides
constexpr uint8_t kCodeDefault = 13;  // no prefix: the FCB's default
constexpr uint8_t kCodeLineSequential = 4;
// The code of a prefix (3 characters, any case; "jgt", "qvr", "nat"...),
// 0 when no file system has it.
uint8_t zvkFileSystemCode(const char* prefix);
// The canonical prefix of a code ("???" for 13, "" for 0).
const char* zvkFileSystemPrefix(uint8_t code);
// The module of a code, or null (codes 0, 12, 13).
const char* zvkFileSystemModule(uint8_t code);
// The operation table and _IO_Init of a code's module, loading it on first
// use; false (status 96) when it cannot be loaded or has no _IO_Init.
bool zvkFileModule(uint8_t code, void*** table, zvkIoInit* init);
// True while table is the operation table of a loaded module.
bool zvkFileModuleLoaded(void** table);
void zvkUnloadModules(void);

// A name that begins with a file-system prefix and "-": the prefix's
// length (3 or more), else 0.
size_t zvkFilePrefixLength(const char* name, size_t length);

// ---- the slots of a closed file ----
// FIB at 48, default code and prefix, open = _zvkGenericOpen, close and
// the verbs their error routines, useProc = _zvkCallUseProc.
void zvkFileInitSlots(FCB* fcb, FIB* fib);

// ---- registration and the end of a run unit ----
void zvkRegisterFileList(int32_t count, FCB** fcbs, FIB** fibs, PCB* pcb);
void zvkCloseFile(FCB* fcb, IPCB* element, bool resetOnly);
// Traces of OPEN and CLOSE under VFS_DEBUG_OPEN.
bool zvkDebugOpen(void);

}  // extern "C"
