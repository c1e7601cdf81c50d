// Writes from the constructor and the destructor of a static object, and when
// what contains it is unloaded. Included by two units of a program and by a
// shared object, each with a NAME.
#include <nalo/iostream>

namespace {

const struct static_object {
  static_object() { nalo::cout << NAME " begins\n"; }
  ~static_object() { nalo::wcout << NAME " ends\n"; }
} object;

// As late as can be: what is pending in a static library has been written.
[[gnu::destructor(101)]] void unload() { nalo::cout << NAME " is unloaded\n"; }

}  // namespace
