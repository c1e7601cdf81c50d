#include <nalo/iostream>

#include <cstdlib>

int main() {
  std::atexit([] { nalo::wcout << L"at exit: \u00E4\n"; });
  int number = 0;
  nalo::cin >> number;
  nalo::cout << "read " << number;
  nalo::cerr << ", then ";
  nalo::clog << "logged";
  nalo::cerr << ".\n";
}
