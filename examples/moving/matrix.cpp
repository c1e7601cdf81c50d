// Matrices read and written through iterators and streams passed by reference.
#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using row = std::vector<double>;
using matrix = std::vector<row>;

std::istream& operator>>(std::istream& in, matrix& m) {
  m.clear();
  for (std::string line; std::getline(in, line) && !line.empty();) {
    std::istringstream numbers(line);
    m.emplace_back(std::istream_iterator<double>(numbers),
                   std::istream_iterator<double>());
    if (!numbers.eof()) throw std::invalid_argument("not a number: " + line);
  }
  if (m.empty()) in.setstate(std::ios::failbit);
  return in;
}

std::ostream& operator<<(std::ostream& out, const matrix& m) {
  const std::ios_base::fmtflags flags = out.flags(std::ios_base::showpos);
  const std::streamsize precision = out.precision(4);
  for (const row& r : m) {
    std::copy(r.begin(), r.end(), std::ostream_iterator<double>(out, " "));
    out << '\n';
  }
  out.precision(precision);
  out.flags(flags);
  return out;
}

int main() {
  std::ofstream("in.mat") << "1 2.5 -3e-2\n4 5 1e10\n\n7 8\n9 x\n";
  std::ifstream in("in.mat");
  matrix m;
  const auto read = [&] {
    try {
      in >> m;
    } catch (const std::invalid_argument& error) {
      std::cerr << error.what() << '\n';
    }
  };
  read();
  std::ofstream out("out.mat");
  out << std::setprecision(17) << m << m[0][2];
  std::cout << m << m[0][2] << '\n';
  read();
  read();
  std::cout << in.fail() << in.eof() << '\n';

  std::ifstream again("in.mat");
  const std::string text((std::istreambuf_iterator<char>(again)),
                         std::istreambuf_iterator<char>());
  std::replace_copy(text.begin(), text.end(),
                    std::ostreambuf_iterator<char>(std::cout), '\n', '|');
  std::cout << text.size() << '\n';
}
