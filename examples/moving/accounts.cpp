// Accounts in a CSV file to which each run adds, with amounts as Germans write
// them.
#include <cctype>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>

struct german : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

std::string trimmed(std::string text, const std::locale& loc) {
  while (!text.empty() && std::isspace(text.back(), loc)) text.pop_back();
  if (!text.empty()) text[0] = std::toupper(text[0], loc);
  return text;
}

void add(const char* path, const std::string& name, double amount) {
  std::ofstream out(path, std::ios::app);
  if (!out) throw std::ios_base::failure("cannot open " + std::string(path));
  if (out.tellp() == std::streampos(0)) out << "name;amount\n";
  out << name << ';' << std::fixed << amount << '\n';
}

void print(const char* path, const std::locale& loc) {
  std::ifstream in(path);
  std::string line, name;
  std::getline(in, line);
  std::cout.imbue(loc);
  std::cout << std::fixed << std::setprecision(2);
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    double amount = 0;
    std::getline(fields, name, ';');
    fields >> amount;
    std::cout << std::setw(20) << name << std::setw(16) << amount << ' '
              << (fields.rdbuf()->in_avail() == 0) << '\n';
  }
}

int main() {
  try {
    const std::locale loc(std::locale::classic(), new german);
    add("accounts.csv", trimmed("savings \t", loc), 1234567.5);
    add("accounts.csv", "the other one", -89);
    print("accounts.csv", loc);
    add("no/such/folder", "", 0);
  } catch (const std::exception& error) {
    std::cout << std::string_view(error.what(), 26) << '\n';
  }
}
