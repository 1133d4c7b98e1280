// Relative files (to come).
#include "stl.h"
namespace stl {
int32_t openRelative(FCB* fcb, IPCB*, const FIB*) { return answer(fcb, 37, kFs2BadMode); }
bool closeRelative(FCB*) { return true; }
}  // namespace stl
