// The narrow console streams.
#include <nalo/iostream>

#include <utility>

#include "console.h"

namespace nalo {

namespace {

constinit impl::console_streams<istream, ostream> streams;

}  // namespace

constinit istream& cin = streams.in.value_;
constinit ostream& cout = streams.out.value_;
constinit ostream& cerr = streams.err.value_;
constinit ostream& clog = streams.log.value_;

namespace impl {

// Runs before the static objects of the program and of shared objects are
// constructed.
[[gnu::constructor(101)]] NALO_API void make_console() noexcept {
  static constinit bool made = false;
  if (std::exchange(made, true)) return;
  console_buffers& buffers = the_console_buffers();
  streams.make(&buffers.in, &buffers.out, &buffers.err);
}

}  // namespace impl

}  // namespace nalo
