// A table of sales, read by getline, summed by region and printed in columns.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

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
             << std::setprecision(2) << s.price << '\n';
}

int main() {
  std::ofstream("sales.csv") << "region,count,price\nnorth,3,12.50\nsouth,10,"
                             << 7.25 << "\nnorth,1,1e3\n,5,0.125\nwest,-2,9.9\n"
                             << "south,four,1.0\nlast,7,3.5";
  std::ifstream table("sales.csv");
  std::string columns;
  std::getline(table, columns);
  std::cout << columns << std::endl;
  std::map<std::string, sale> sums;
  for (sale s; table.peek() != EOF;) {
    if (table >> s) {
      sale& sum = sums[s.region];
      sum = {s.region, sum.count + s.count, sum.price + s.count * s.price};
    } else {
      std::cerr << "not a sale of " << s.region << '\n';
      table.clear(table.rdstate() & ~std::ios::failbit);
    }
  }
  for (const auto& [region, sum] : sums) std::cout << sum;
  std::cout << std::boolalpha << table.eof() << ' ' << table.bad() << '\n';
}
