// What only the standard's types know how to print, and a type of the
// program's own beside them.
#include <bitset>
#include <complex>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

namespace geometry {

template <class T>
struct box {
  T width, height;
};

template <class Char, class Traits, class T>
std::basic_ostream<Char, Traits>& operator<<(
    std::basic_ostream<Char, Traits>& out, const box<T>& b) {
  return out << b.width << 'x' << b.height;
}

struct id {  // prints through its conversion
  operator const char*() const { return "id-7"; }
};

enum class color : char { red = 'r' };
enum plain { one = 1 };

}  // namespace geometry

int main() {
  std::ostringstream out;
  out << std::make_error_code(std::errc::no_such_file_or_directory) << ' '
      << std::setprecision(3) << std::complex<double>(1.23456, -2) << ' '
      << std::setw(12) << std::bitset<8>(0xA5) << '|' << std::left
      << std::setw(10) << std::filesystem::path("a b") << '|' << std::right
      << std::unique_ptr<int>() << '\n';
  out << geometry::box<int>{3, 4} << ' ' << geometry::id() << ' '
      << static_cast<char>(geometry::color::red) << geometry::one << ' '
      << std::string_view("view") << ' ' << std::string("string") << ' '
      << static_cast<unsigned char>('u') << static_cast<signed char>('s') << ' '
      << reinterpret_cast<const unsigned char*>("bytes") << ' ' << true
      << std::boolalpha << false << ' ' << 1.0F << ' ' << 2.5L << '\n';
  out << std::hex << std::uppercase << std::showbase << short{-1} << ' ' << -1
      << ' ' << 255UL << std::dec << ' ' << 100000000LL << std::fixed << ' '
      << 0.1 << ' ' << std::hexfloat << 1.5 << std::defaultfloat << ' ' << 1e100
      << std::showpoint << ' ' << 2.0 << '\n';
  std::cout << out.str();

  std::istringstream in("(1.5,-2) 10110 \"a \\\"quoted\\\" text\" plain");
  std::complex<double> number;
  std::bitset<4> bits;
  std::string quoted, word;
  in >> number >> bits >> std::ws;
  std::cout << number.imag() << ' ' << bits.to_ulong() << ' '
            << static_cast<char>(in.peek());
  in.ignore() >> std::ws >> std::quoted(quoted) >> word;
  std::cout << quoted << '|' << word << '|' << in.eof() << '\n';
}
