/*
 * Entry points and data of libkvr2_64r.so, as compiled COBOL programs and
 * hosts call them.  Each subsystem keeps its declarations in its own header
 * (kvr2/<subsystem>.h); this one includes them all.
 */
#ifndef KVR2_KVR2_H
#define KVR2_KVR2_H

#include "kvr2/records.h"
#include "kvr2/rununit.h"
#include "kvr2/messages.h"
#include "kvr2/classcmp.h"
#include "kvr2/unstring.h"
#include "kvr2/search.h"
#include "kvr2/edit.h"
#include "kvr2/inspect.h"
#include "kvr2/intrinsics.h"
#include "kvr2/programs.h"
#include "kvr2/signals.h"
#include "kvr2/storage.h"
#include "kvr2/codepage.h"
#include "kvr2/console.h"
#include "kvr2/decimal.h"
#include "kvr2/decimal_muldiv.h"
#include "kvr2/filemodule.h"
#include "kvr2/sort.h"

#endif
