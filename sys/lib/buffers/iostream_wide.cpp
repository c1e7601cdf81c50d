// The wide console streams.
#include <nalo/buffers/utf8>
#include <nalo/iostream>

#include <utility>

#include "console.h"

namespace nalo {

namespace {

struct {
  impl::late<utf8buf> in, out, err;
} constinit buffers;
constinit impl::console_streams<wistream, wostream> streams;

}  // namespace

constinit wistream& wcin = streams.in.value_;
constinit wostream& wcout = streams.out.value_;
constinit wostream& wcerr = streams.err.value_;
constinit wostream& wclog = streams.log.value_;

namespace impl {

// Runs before the static objects of the program and of shared objects are
// constructed.
[[gnu::constructor(101)]] NALO_API void make_wide_console() noexcept {
  static constinit bool made = false;
  if (std::exchange(made, true)) return;
  console_buffers& bytes = the_console_buffers();
  buffers.in.make(&bytes.in);
  buffers.out.make(&bytes.out);
  buffers.err.make(&bytes.err);
  streams.make(&buffers.in.value_, &buffers.out.value_, &buffers.err.value_);
}

}  // namespace impl

}  // namespace nalo
