// A plugin that brings its own copy of the library along.
#include <nalo/locale>

extern "C" void release(nalo::locale);

void release(nalo::locale) {}
