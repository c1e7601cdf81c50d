// A glossary in UTF-8: wide text from and to the console, in columns that count
// characters and not bytes.
#include <algorithm>
#include <clocale>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

struct entry {
  std::wstring word, meaning;
};

std::wistream& operator>>(std::wistream& in, entry& result) {
  if (std::getline(in >> std::ws, result.word, L'=')) {
    std::getline(in, result.meaning);
  }
  return in;
}

int main() {
  std::setlocale(LC_ALL, "C.UTF-8");
  std::vector<entry> entries;
  for (entry next; std::wcin >> next;) entries.push_back(next);
  if (!std::wcin.eof()) return 1;

  std::size_t width = 0;
  for (const entry& e : entries) width = std::max(width, e.word.size());
  std::wcout << std::left << std::setfill(L'·');
  for (const entry& e : entries) {
    std::wcout << std::setw(static_cast<int>(width)) << e.word << L"  "
               << e.meaning << L'\n';
  }

  std::wostringstream backwards;
  for (const entry& e : entries) {
    backwards << std::wstring(e.word.rbegin(), e.word.rend()) << L' ';
  }
  std::wcout << backwards.str() << std::endl;
  std::wcerr << entries.size() << L" Wörter\n";
}
