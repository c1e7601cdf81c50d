// A glossary in UTF-8: wide console text in columns of characters, not bytes.
#include <clocale>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

int main() {
  std::setlocale(LC_ALL, "C.UTF-8");
  std::wcout << std::left << std::setfill(L'·');
  std::wostringstream backwards;
  for (std::wstring word, meaning;
       std::getline(std::wcin >> std::ws, word, L'=');) {
    std::getline(std::wcin, meaning);
    std::wcout << std::setw(7) << word << L"  " << meaning << L'\n';
    backwards << std::wstring(word.rbegin(), word.rend()) << L' ';
  }
  std::wcout << backwards.str() << std::wcin.eof() << std::endl;
  std::wcerr << L"Wörter\n";
}
