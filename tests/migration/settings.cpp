// A configuration file, rewritten through a temporary one, sections kept.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

template <class T>
std::optional<T> parsed(const std::string& text) {
  std::istringstream in(text);
  T value{};
  if (!(in >> value)) return std::nullopt;
  in >> std::ws;
  return in.eof() ? std::optional<T>(value) : std::nullopt;
}

// Copies the settings and doubles every number.
int rewrite(std::istream& in, std::ostream& out) {
  int changed = 0;
  for (std::string line; std::getline(in, line);) {
    const auto equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos) {
      out << line << '\n';
      continue;
    }
    const std::string key = trimmed(line.substr(0, equals));
    const std::string value = trimmed(line.substr(equals + 1));
    out << key << " = ";
    if (const auto number = parsed<long>(value)) {
      out << *number * 2;
      ++changed;
    } else if (const auto real = parsed<double>(value)) {
      out << *real * 2;
      ++changed;
    } else {
      out << value;
    }
    out << '\n';
  }
  return changed;
}

int main() {
  const std::filesystem::path path = "app.conf";
  {
    std::ofstream file(path);
    file << "# settings\n[net]\nport = 8080\n host=example.org \n"
         << "timeout = 2.5\n\n[log]\nlevel = 3 of 5\nmask = -17\n";
  }
  std::ifstream old_file(path);
  std::ofstream new_file(path.string() + ".new", std::ios::trunc);
  const int changed = rewrite(old_file, new_file);
  new_file.close();
  old_file.close();
  std::cout << changed << " changed, " << std::boolalpha << new_file.good()
            << '\n';
  std::rename("app.conf.new", "app.conf");

  std::fstream both(path, std::ios::in | std::ios::out | std::ios::app);
  both << "[end]\n";
  both.seekg(0);
  std::stringstream text;
  text << both.rdbuf();
  std::cout << text.str() << text.str().size() << '\n';
  both.open("again.conf");  // fails: it is open already
  std::cout << both.fail() << '\n';
}
