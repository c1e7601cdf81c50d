// A dialogue on the console: tied prompts, checked input and skipped lines.
#include <iomanip>
#include <iostream>
#include <limits>
#include <string>

template <class T>
T asked(const std::string& question) {
  T answer{};
  while (!(std::cout << question << ": ", std::cin >> answer)) {
    if (std::cin.eof()) {
      std::cerr << "end of input\n";
      std::exit(3);
    }
    std::cin.clear();
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    std::cout << "again, please\n";
  }
  return answer;
}

int main() {
  std::ios_base::sync_with_stdio(false);
  double sum = 0;
  for (int n = asked<int>("how many"); n > 0; --n) sum += asked<double>("one");
  std::cout << "sum " << std::fixed << std::setprecision(1) << sum << '\n';
  std::string name;
  std::getline(std::cin >> std::ws, name);
  std::cout << "hello, " << std::quoted(name) << std::endl;
  std::cin.putback(static_cast<char>(std::cin.get()));
  char text[8];
  std::cin.getline(text, sizeof text);
  std::cout << text << std::cin.gcount() << std::cin.fail() << '\n';
  std::cin.clear();
  std::cout << std::cin.rdbuf();
  asked<char>("more");
}
