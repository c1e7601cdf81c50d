// The punctuation of numbers in the classic locale.
#include <nalo/base/numpunct>

namespace nalo {

namespace {

template <class Char>
basic_string<Char> widened(const char* text) {
  basic_string<Char> result;
  for (; *text != '\0'; ++text) result.push_back(static_cast<Char>(*text));
  return result;
}

}  // namespace

template <class Char>
constinit locale::id numpunct<Char>::id;

template <class Char>
numpunct<Char>::~numpunct() = default;

template <class Char>
Char numpunct<Char>::do_decimal_point() const {
  return Char('.');
}

template <class Char>
Char numpunct<Char>::do_thousands_sep() const {
  return Char(',');
}

template <class Char>
basic_string<char> numpunct<Char>::do_grouping() const {
  return {};
}

template <class Char>
basic_string<Char> numpunct<Char>::do_truename() const {
  return widened<Char>("true");
}

template <class Char>
basic_string<Char> numpunct<Char>::do_falsename() const {
  return widened<Char>("false");
}

template class numpunct<char>;
template class numpunct<wchar_t>;

}  // namespace nalo
