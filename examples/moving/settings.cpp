// A configuration file, rewritten through a temporary file.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

// Copies the settings and doubles those that are numbers.
void rewrite(std::istream& in, std::ostream& out) {
  for (std::string line; std::getline(in, line);) {
    const auto equals = line.find('=');
    if (line[0] == '#' || equals == std::string::npos) {
      out << line << '\n';
      continue;
    }
    std::istringstream value(line.substr(equals + 1));
    out << line.substr(0, equals + 1);
    double number = 0;
    const bool is_number = value >> number && (value >> std::ws).eof();
    (is_number ? out << number * 2 : out << value.str()) << std::endl;
  }
}

int main() {
  const std::filesystem::path path = "app.conf";
  std::ofstream(path) << "# settings\n\n[net]\nport = 8080\nhost=example.org\n"
                      << "timeout = 2.5\nlevel = 3 of 5\nmask= -17 \n";
  std::ifstream old_file(path);
  std::ofstream new_file(path.string() + ".new", std::ios::trunc);
  rewrite(old_file, new_file);
  new_file.close();
  old_file.close();
  std::cout << path << std::boolalpha << ' ' << new_file.good() << '\n';
  std::rename("app.conf.new", "app.conf");

  std::fstream both(path, std::ios::in | std::ios::out | std::ios::app);
  both << "[end]\n";
  both.seekg(0);
  std::stringstream text;
  text << both.rdbuf();
  std::cout << text.str() << text.str().size() << '\n';
}
