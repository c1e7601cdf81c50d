// Records of a fixed size, changed in place in a file and dumped in
// hexadecimal.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <string>

constexpr std::streamoff record_size = 16;

void put(std::fstream& file, int at, const std::string& name, int balance) {
  file.seekp(at * record_size);
  file << std::left << std::setw(9) << name << std::right << std::setw(6)
       << balance << '\n';
}

void dump(std::istream& in) {
  char block[record_size];
  std::cout << std::hex << std::setfill('0');
  while (in.read(block, sizeof block) || in.gcount() > 0) {
    for (std::streamsize i = 0; i < in.gcount(); ++i) {
      std::cout << std::setw(2) << unsigned(block[i]) << ' ';
    }
    std::cout << std::endl;
  }
  std::cout << std::dec << std::setfill(' ');
}

int main() {
  std::fstream file("accounts", std::ios::in | std::ios::out | std::ios::trunc |
                                    std::ios::binary);
  put(file, 0, "ada", 100);
  put(file, 1, "brian", -5);
  put(file, 5, "late", 1);  // a hole before it
  std::string name;
  for (const int at : {1, 0, 7}) {
    int balance = 0;
    file.seekg(at * record_size, std::ios::beg);
    if (file >> name >> balance) put(file, at, name, balance + 1);
    std::cout << file.good() << ' ' << name << ' ' << balance << '\n';
  }
  file.clear();
  const std::fstream::pos_type here = file.tellg();
  file.seekg(here - 2 * record_size);
  std::getline(file, name);
  std::cout << here << ' ' << std::quoted(name) << '\n';
  file.close();
  file.open("accounts", std::ifstream::in | std::ifstream::ate);
  std::cout << file.tellg() << ' ' << file.is_open() << '\n';
  dump(file.seekg(-20, std::ios_base::end));
  file.clear();
  file.seekg(10).unget();
  std::cout << file.get() << ' ' << file.peek() << ' ' << file.tellg() << '\n';
  file << "refused";
  std::cout << file.good() << '\n';
}
