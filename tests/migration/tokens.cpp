// A calculator: tokens and numbers from string streams, errors with positions.
#include <cctype>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

class parser {
 public:
  explicit parser(const std::string& text) : in_(text) {}

  double result() {
    const double value = sum();
    in_ >> std::ws;
    if (!in_.eof()) fail("the end");
    return value;
  }

 private:
  double sum() {
    double value = product();
    for (char op; in_ >> op;) {
      if (op == '+') {
        value += product();
      } else if (op == '-') {
        value -= product();
      } else {
        in_.putback(op);
        return value;
      }
    }
    in_.clear(in_.rdstate() & ~std::ios_base::failbit);
    return value;
  }
  double product() {
    double value = factor();
    while (!in_.eof() &&
           ((in_ >> std::ws).peek() == '*' || in_.peek() == '/')) {
      value = in_.get() == '*' ? value * factor() : value / factor();
    }
    return value;
  }
  double factor() {
    in_ >> std::ws;
    if (in_.peek() == '(') {
      in_.ignore();
      const double value = sum();
      if ((in_ >> std::ws).get() != ')') fail("')'");
      return value;
    }
    double value = 0;
    if (!(in_ >> value)) fail("a number");
    return value;
  }
  [[noreturn]] void fail(const std::string& expected) {
    in_.clear();
    std::ostringstream message;
    message << "expected " << expected << " at " << in_.tellg();
    throw std::runtime_error(message.str());
  }

  std::istringstream in_;
};

int main() {
  for (const char* text : {"1 + 2*3", "(1+2) *3 - 4/8", "2 * (3", "1 +", "7 7",
                           "1e2*-2", "", "((2.5))*2"}) {
    try {
      std::cout << text << " = " << parser(text).result() << '\n';
    } catch (const std::exception& error) {
      std::cout << text << ": " << error.what() << '\n';
    }
  }

  std::istringstream words("the quick\tbrown \n fox  12 0x1f 017 1,5 true");
  std::vector<std::string> taken;
  std::string word;
  for (int i = 0; i < 4 && words >> word; ++i) taken.push_back(word);
  for (const auto& w : taken) std::cout << '<' << w << '>';
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
  std::cout << word << ' ' << words.tellg() << ' ' << words.rdbuf()->in_avail()
            << ' ' << words.str() << '\n';
  short small = 0;
  unsigned int wraps = 0;
  std::istringstream limits("99999 -1 nothing");
  limits >> small;
  std::cout << small << limits.fail();
  limits.clear();
  limits >> wraps;
  std::cout << ' ' << wraps << limits.fail();
  limits >> small;
  std::cout << ' ' << small << limits.fail() << limits.gcount() << '\n';
}
