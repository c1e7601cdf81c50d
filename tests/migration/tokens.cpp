// Sums of products, words and numbers from string streams, and where they fail.
#include <iostream>
#include <sstream>
#include <string>

class parser {
 public:
  explicit parser(const std::string& text) : in_(text) {}

  double sum() {
    double value = product();
    for (char op; in_ >> op;) {
      if (op != '+' && op != '-') {
        in_.putback(op);
        return value;
      }
      value += op == '+' ? product() : -product();
    }
    in_.clear(in_.rdstate() & ~std::ios_base::failbit);
    return value;
  }
  std::string rest() {
    std::ostringstream message;
    in_.clear();
    message << " at " << in_.tellg() << ": " << in_.rdbuf();
    return message.str();
  }

 private:
  double product() {
    double value = factor();
    while (!in_.eof() && (in_ >> std::ws).peek() == '*') {
      value = in_.get() == '*' ? value * factor() : 0;
    }
    return value;
  }
  double factor() {
    double value = 0;
    if ((in_ >> std::ws).peek() == '(') {
      value = in_.ignore() ? sum() : 0;
      in_.ignore();
    } else if (!(in_ >> value)) {
      std::cout << "no number, ";
    }
    return value;
  }

  std::istringstream in_;
};

int main() {
  for (const char* text : {"1 + 2*3", "(1+2) *3 - 4", "2 * (3", "1 +", "7 7",
                           "1e2*-2", "", "((2.5))*2"}) {
    parser parse(text);
    std::cout << text << " = " << parse.sum() << parse.rest() << '\n';
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
