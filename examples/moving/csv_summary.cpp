// A table of sales, read by getline, summed by region and printed in columns.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

using namespace std;

struct sale {
  string region;
  int count = 0;
  double price = 0;
};

istream& operator>>(istream& in, sale& s) {
  string line;
  if (!getline(in, line)) return in;
  istringstream fields(line);
  if (!getline(fields, s.region, ',') || !(fields >> s.count) ||
      fields.get() != ',' || !(fields >> s.price)) {
    in.setstate(ios::failbit);
  }
  return in;
}

ostream& operator<<(ostream& out, const sale& s) {
  return out << left << setw(10) << s.region << right << setw(6) << s.count
             << setw(12) << fixed << setprecision(2) << s.price << '\n';
}

int main() {
  ofstream("sales.csv") << "region,count,price\nnorth,3,12.50\nsouth,10,"
                        << 7.25 << "\nnorth,1,1e3\n,5,0.125\nwest,-2,9.9\n"
                        << "south,four,1.0\nlast,7,3.5";
  ifstream table("sales.csv");
  string columns;
  getline(table, columns);
  cout << columns << endl;
  map<string, sale> sums;
  for (sale s; table.peek() != EOF;) {
    if (table >> s) {
      sale& sum = sums[s.region];
      sum = {s.region, sum.count + s.count, sum.price + s.count * s.price};
    } else {
      cerr << "not a sale of " << s.region << '\n';
      table.clear(table.rdstate() & ~ios::failbit);
    }
  }
  for (const auto& [region, sum] : sums) cout << sum;
  cout << boolalpha << table.eof() << ' ' << table.bad() << '\n';
}
