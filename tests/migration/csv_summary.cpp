// A table of sales, read with getline, summed by region and printed in columns.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

struct sale {
  std::string region;
  int count = 0;
  double price = 0;
};

std::istream& operator>>(std::istream& in, sale& s) {
  std::string line;
  if (!std::getline(in, line)) return in;
  std::istringstream fields(line);
  if (!std::getline(fields, s.region, ',') || !(fields >> s.count) ||
      fields.get() != ',' || !(fields >> s.price)) {
    in.setstate(std::ios::failbit);
  }
  return in;
}

std::ostream& operator<<(std::ostream& out, const sale& s) {
  return out << std::left << std::setw(10) << s.region << std::right
             << std::setw(6) << s.count << std::setw(12) << std::fixed
             << std::setprecision(2) << s.price;
}

void write_table(const std::string& path) {
  std::ofstream table(path);
  table << "region,count,price\n"
        << "north,3,12.50\nsouth,10,7.25\nnorth,1,1e3\n,5,0.125\n"
        << "west,-2,99.99\nsouth,four,1.0\nlast,7,3.5";
  if (!table) throw std::runtime_error("cannot write " + path);
}

int main() {
  const std::string path = "sales.csv";
  write_table(path);
  std::ifstream table(path);
  std::string header;
  std::getline(table, header);
  std::cout << "columns: " << header << std::endl;

  std::map<std::string, sale> sums;
  std::vector<std::string> bad;
  for (int number = 2; table.peek() != EOF; ++number) {
    sale s;
    if (table >> s) {
      sale& sum = sums[s.region];
      sum.region = s.region;
      sum.count += s.count;
      sum.price += s.count * s.price;
    } else {
      std::ostringstream message;
      message << path << ':' << number << ": not a sale";
      bad.push_back(message.str());
      table.clear(table.rdstate() & ~std::ios::failbit);
    }
  }
  for (const auto& [region, sum] : sums) std::cout << sum << '\n';
  for (const auto& message : bad) std::cerr << message << '\n';
  std::cout << std::boolalpha << table.eof() << ' ' << table.bad() << '\n';
  std::ifstream missing("no such file");
  std::cout << "missing: " << missing.is_open() << missing.fail() << '\n';
  return bad.size() == 1 ? 0 : 1;
}
