// A program for the program cache's controls, loaded by dynamic CALL; it
// needs nothing of the library.
extern "C" __attribute__((visibility("default"))) int XPLAIN(void) { return 7; }
