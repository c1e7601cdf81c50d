// Records of a fixed size, changed in place in a file open for both.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

constexpr std::streamoff record_size = 16;

void put(std::fstream& file, int at, const std::string& name, int balance) {
  file.seekp(at * record_size);
  file << std::left << std::setw(9) << name << std::right << std::setw(6)
       << balance << '\n';
}

int main() {
  std::fstream file("accounts", std::ios::in | std::ios::out | std::ios::trunc);
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
  file.open("accounts", std::ios::in | std::ios::ate);
  std::cout << file.tellg() << ' ' << file.is_open() << '\n';
  file << "refused";
  std::cout << file.good() << '\n';

  std::stringstream text("0123456789", std::ios::in | std::ios::out);
  text.seekp(3) << "abc";
  text.seekg(2);
  text.seekp(0, std::ios::end) << '!';
  std::cout << text.str() << text.tellg() << text.tellp() << '\n';
}
