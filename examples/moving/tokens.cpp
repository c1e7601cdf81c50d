// Sums, words and numbers read from string streams, and where reading fails.
#include <iostream>
#include <sstream>
#include <string>

// Adds up the terms of a text, and shows where reading ends.
std::string sum(const std::string& text) {
  std::istringstream in(text);
  double value = 0, term = 0;
  for (char op = '+'; op != ';' && in >> term;) {
    value += op == '+' ? term : -term;
    if (in >> op && op == ';') in.putback(op);
  }
  std::ostringstream result;
  result << text << " = " << value << (in.eof() ? " ends" : " stops");
  in.clear();
  result << " at " << in.tellg() << ": " << in.rdbuf();
  return result.str();
}

int main() {
  for (const char* text :
       {"1 + 2", "1+2 - 4 ", "2;3", "1 +", "7 7", "1e2+-2", "", "-.5e", "x"}) {
    std::cout << sum(text) << '\n';
  }

  std::istringstream words("the quick\tbrown \n fox  12 0x1f 017 1,5 true");
  std::string word;
  for (int i = 0; i < 4 && words >> word; ++i) std::cout << '<' << word << '>';
  int a = 0, b = 0, c = 0, d = 0;
  words >> a >> std::hex >> b >> std::oct >> c >> std::dec >> d;
  char comma = 0;
  bool flag = false;
  words >> comma >> d >> std::boolalpha >> flag;
  std::cout << a << ' ' << b << ' ' << c << ' ' << comma << d << flag
            << words.eof() << words.fail() << '\n';
  words.clear();
  words.str("next text");
  words.width(3);
  words >> word;
  std::cout << word << ' ' << words.tellg() << ' ' << words.rdbuf()->in_avail();
  short small = 0;
  unsigned int wraps = 0;
  std::istringstream limits("99999 -1 nothing");
  std::cout << ' ' << (limits >> small).fail() << small;
  limits.clear();
  limits >> wraps >> small;
  std::cout << ' ' << wraps << limits.fail() << small << '\n';
}
