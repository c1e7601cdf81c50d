// The workloads with nalo.
#include <nalo/base/numpunct>
#include <nalo/istream>
#include <nalo/locale>
#include <nalo/ostream>
#if __has_include(<nalo/fstream>)
#include <nalo/fstream>
#endif
#if __has_include(<nalo/iostream>)
#include <nalo/iostream>
#endif
#if __has_include(<nalo/sstream>)
#include <nalo/sstream>
#endif

#include "stream_passes.h"

namespace {

struct Nalo {
  using ios_base = nalo::ios_base;
  using locale = nalo::locale;
  template <class Char>
  using numpunct = nalo::numpunct<Char>;
  template <class Char>
  using streambuf = nalo::basic_streambuf<Char>;
  template <class Char>
  using istream = nalo::basic_istream<Char>;
  template <class Char>
  using ostream = nalo::basic_ostream<Char>;
  template <class Char>
  using string = nalo::basic_string<Char>;
#ifdef NALO_FSTREAM
  using ifstream = nalo::ifstream;
  using ofstream = nalo::ofstream;
#endif
#ifdef NALO_IOSTREAM
  static nalo::istream& cin() { return nalo::cin; }
#endif
#ifdef NALO_SSTREAM
  using istringstream = nalo::istringstream;
  using ostringstream = nalo::ostringstream;
#endif
};

}  // namespace

bench::Passes bench::nalo_passes(Workload workload) {
  return stream_passes<Nalo>(workload);
}
