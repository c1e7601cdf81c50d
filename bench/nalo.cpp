// The workloads with nalo.
#include <nalo/istream>
#include <nalo/ostream>

#include "stream_passes.h"

namespace {

struct Nalo {
  using ios_base = nalo::ios_base;
  template <class Char>
  using streambuf = nalo::basic_streambuf<Char>;
  template <class Char>
  using istream = nalo::basic_istream<Char>;
  template <class Char>
  using ostream = nalo::basic_ostream<Char>;
  template <class Char>
  using string = nalo::basic_string<Char>;
};

}  // namespace

bench::Passes bench::nalo_passes(Workload workload) {
  return stream_passes<Nalo>(workload);
}
