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

bool get(std::fstream& file, int at, std::string& name, int& balance) {
  file.seekg(at * record_size, std::ios::beg);
  return static_cast<bool>(file >> name >> balance);
}

int main() {
  std::fstream file("accounts", std::ios::in | std::ios::out | std::ios::trunc);
  put(file, 0, "ada", 100);
  put(file, 1, "brian", -5);
  put(file, 2, "grace", 99999);
  std::string name;
  int balance = 0;
  for (int at : {2, 0, 1}) {
    if (get(file, at, name, balance)) put(file, at, name, balance + 1);
  }
  put(file, 5, "late", 1);  // a hole before it
  std::cout << file.tellp() << ' ' << get(file, 7, name, balance) << '\n';
  file.clear();
  for (int at = 0; at < 3; ++at) {
    std::cout << std::boolalpha << get(file, at, name, balance) << ' ' << name
              << ' ' << balance << '\n';
  }
  const std::fstream::pos_type here = file.tellg();
  file.seekg(here - std::streamoff{3});
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
  char taken[5] = {};
  text.read(taken, 4);
  text.seekp(0, std::ios::end) << '!';
  std::cout << taken << ' ' << text.str() << ' ' << text.tellg() << ' '
            << text.tellp() << '\n';
  std::ostringstream ends("one", std::ios::ate);
  ends << " two";
  std::ostringstream over("three");
  over << "T";
  std::cout << ends.str() << ' ' << over.str() << '\n';
}
