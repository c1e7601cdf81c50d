// Instantiates the storage of strings of char and raises the errors of all
// strings. Separate from string.cpp, which streams and facets do not need.
#include <nalo/base/impl/string>

#include <cstdio>

namespace nalo {

namespace {

constexpr const char* string_file = "sys/src/nalo/string";

}  // namespace

out_of_range::~out_of_range() = default;
void out_of_range::throw_self() { throw out_of_range(*this); }

invalid_argument::~invalid_argument() = default;
void invalid_argument::throw_self() { throw invalid_argument(*this); }

namespace impl {

void throwStringOverflow(int ln) {
  tThrow(overflow_error(string_file, ln, "nalo::string integer overflow"));
}

void throwStringUnderflow(int ln) {
  tThrow(underflow_error(string_file, ln, "nalo::string integer underflow"));
}

void throwStringRange(int ln, size_t pos, size_t size) {
  char msg[96];
  std::snprintf(msg, sizeof msg, "nalo::string position %zu, size %zu", pos,
                size);
  tThrow(out_of_range(string_file, ln, msg));
}

void throwStringNull(int ln) {
  tThrow(invalid_argument(string_file, ln, "nalo::string null pointer"));
}

template NALO_API void StringRvalueException<true>::doThrow(int, const char*);

}  // namespace impl

template class string_base<char, char_traits<char>>;

}  // namespace nalo
