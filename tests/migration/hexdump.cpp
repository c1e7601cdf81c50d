// A file of bytes, written and read in blocks, and dumped in hexadecimal.
#include <cctype>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <string>

void dump(std::istream& in, std::ostream& out) {
  char block[16];
  for (unsigned long at = 0; in.read(block, sizeof block) || in.gcount() > 0;
       at += sizeof block) {
    out << std::setw(6) << std::setfill('0') << std::hex << at << ' ';
    std::string text;
    for (std::streamsize i = 0; i < in.gcount(); ++i) {
      const unsigned char ch = static_cast<unsigned char>(block[i]);
      out << ' ' << std::setw(2) << unsigned{ch};
      text += std::isprint(ch) != 0 ? block[i] : '.';
    }
    const auto gap = static_cast<int>(3 * (16 - in.gcount())) + 2;
    out << std::dec << std::setfill(' ') << std::setw(gap) << "" << text
        << '\n';
  }
}

int main() {
  std::string bytes;
  for (int i = 0; i < 600; ++i) bytes.push_back(static_cast<char>(i * 7));
  std::ofstream out("bytes.bin", std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.put('\n').put('\r').flush()) return 1;

  std::ifstream file("bytes.bin", std::ifstream::in | std::ifstream::binary);
  file.seekg(0, std::ios::end);
  const std::streamoff size = file.tellg();
  file.seekg(0);
  std::cout << size << " bytes\n";
  dump(file, std::cout);
  file.clear();
  file.seekg(-4, std::ios_base::end);
  const std::streamsize some = file.readsome(bytes.data(), 2);
  file.read(bytes.data() + some, 6);
  std::cout << some << ' ' << file.gcount() << ' ' << file.eof() << '\n';
  file.clear();
  file.seekg(10).unget();
  std::cout << file.get() << ' ' << file.peek() << ' ' << file.tellg() << '\n';
  file.ignore(1000, '\n');
  std::cout << file.gcount() << ' ' << file.get() << '\n';
}
