// Writes when a static object is constructed and destroyed, and when the
// program or shared object that contains it, which is called NAME, is unloaded.
#include <nalo/iostream>

namespace {

const struct static_object {
  static_object() { nalo::cout << NAME " begins\n"; }
  ~static_object() { nalo::wcout << NAME " ends\n"; }
} object;

// The last destructor, after those of a static library.
[[gnu::destructor(101)]] void unload() { nalo::cout << NAME " is unloaded\n"; }

}  // namespace
