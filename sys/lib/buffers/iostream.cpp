// The narrow console streams.
#include <nalo/iostream>

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

NALO_API void make_console() noexcept {
  static const bool made = [] {
    console_buffers& buffers = the_console_buffers();
    streams.make(&buffers.in, &buffers.out, &buffers.err);
    return true;
  }();
  static_cast<void>(made);
}

namespace {

NALO_WHEN_LOADED make_early() { make_console(); }

}  // namespace

}  // namespace impl

}  // namespace nalo
