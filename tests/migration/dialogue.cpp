// A dialogue on the console: prompts through the tie, numbers checked, lines
// skipped, and errors beside the output.
#include <iomanip>
#include <iostream>
#include <limits>
#include <string>

template <class T>
T asked(const std::string& question) {
  for (;;) {
    std::cout << question << ": ";
    T answer;
    if (std::cin >> answer) return answer;
    if (std::cin.eof()) {
      std::cerr << "end of input\n";
      std::exit(3);
    }
    std::cin.clear();
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    std::cout << "again, please\n";
  }
}

int main() {
  std::ios_base::sync_with_stdio(false);
  const int count = asked<int>("how many");
  double sum = 0;
  for (int i = 0; i < count; ++i) sum += asked<double>("number");
  std::cout << "sum " << std::fixed << std::setprecision(1) << sum << '\n';
  std::cin >> std::ws;
  std::string name;
  std::getline(std::cin, name);
  std::cout << "hello, " << std::quoted(name) << std::endl;
  char initial = 0;
  std::cin.get(initial);
  std::cin.putback(initial);
  char text[8];
  std::cin.getline(text, sizeof text);
  std::cout << text << ' ' << std::cin.gcount() << ' ' << std::cin.fail()
            << '\n';
  std::cin.clear();
  std::cout << std::cin.rdbuf();
  asked<char>("more");
}
