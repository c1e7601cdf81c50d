// The workloads with the standard streams, or those of libc++ when compiled for
// it.
#include <fstream>
#include <iostream>
#include <istream>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>

#include "stream_passes.h"

namespace {

struct Std {
  using ios_base = std::ios_base;
  using locale = std::locale;
  template <class Char>
  using numpunct = std::numpunct<Char>;
  template <class Char>
  using streambuf = std::basic_streambuf<Char>;
  template <class Char>
  using istream = std::basic_istream<Char>;
  template <class Char>
  using ostream = std::basic_ostream<Char>;
  template <class Char>
  using string = std::basic_string<Char>;
  using ifstream = std::ifstream;
  using ofstream = std::ofstream;
  using istringstream = std::istringstream;
  using ostringstream = std::ostringstream;
  static std::istream& cin() {
    [[maybe_unused]] static const bool synced =
        std::ios_base::sync_with_stdio(false);
    return std::cin;
  }
};

}  // namespace

#ifdef _LIBCPP_VERSION
#define NALO_BENCH_STD_PASSES libcxx_passes
#else
#define NALO_BENCH_STD_PASSES std_passes
#endif

bench::Passes bench::NALO_BENCH_STD_PASSES(Workload workload) {
  return stream_passes<Std>(workload);
}
