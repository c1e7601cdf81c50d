// Runs inserters and extractors of the standard library's streams on nalo's
// buffers.
#include <nalo/buffers/std>
#include <nalo/std_types>

#include <exception>
#include <locale>

namespace nalo::impl {

namespace {

// The format flags, which each side numbers in its own way. unitbuf is not
// copied, as it is honoured at the end of the operation.
constexpr struct {
  ios_base::fmtflags own;
  std::ios_base::fmtflags other;
} flags[] = {
    {ios_base::boolalpha, std::ios_base::boolalpha},
    {ios_base::dec, std::ios_base::dec},
    {ios_base::fixed, std::ios_base::fixed},
    {ios_base::hex, std::ios_base::hex},
    {ios_base::internal, std::ios_base::internal},
    {ios_base::left, std::ios_base::left},
    {ios_base::oct, std::ios_base::oct},
    {ios_base::right, std::ios_base::right},
    {ios_base::scientific, std::ios_base::scientific},
    {ios_base::showbase, std::ios_base::showbase},
    {ios_base::showpoint, std::ios_base::showpoint},
    {ios_base::showpos, std::ios_base::showpos},
    {ios_base::skipws, std::ios_base::skipws},
    {ios_base::uppercase, std::ios_base::uppercase},
};

template <class Char, class Traits>
void take_format(std::basic_ios<Char>& to, basic_ios<Char, Traits>& from) {
  std::ios_base::fmtflags set{};
  for (const auto& flag : flags) {
    if ((from.flags() & flag.own) != 0) set |= flag.other;
  }
  to.flags(set);
  to.width(from.width());
  to.precision(from.precision());
  to.fill(from.fill());
}

template <class Char, class Traits>
void give_format(basic_ios<Char, Traits>& to,
                 const std::basic_ios<Char>& from) {
  ios_base::fmtflags set = to.flags() & ios_base::unitbuf;
  for (const auto& flag : flags) {
    if ((from.flags() & flag.other) != 0) set |= flag.own;
  }
  to.flags(set);
  to.width(from.width());
  to.precision(from.precision());
  if (from.fill() != to.fill()) to.fill(from.fill());
}

ios_base::iostate bits_of(std::ios_base::iostate state) {
  ios_base::iostate bits = ios_base::goodbit;
  if ((state & std::ios_base::badbit) != 0) bits |= ios_base::badbit;
  if ((state & std::ios_base::eofbit) != 0) bits |= ios_base::eofbit;
  if ((state & std::ios_base::failbit) != 0) bits |= ios_base::failbit;
  return bits;
}

// Runs work on a standard stream over the buffer of io and returns the bits
// that it has set. That stream has badbit in its mask, so it propagates what
// the buffer raises, which is subject to the exception policy of io. What the
// work raises by itself is not.
template <class Stream, class Char, class Traits, class Work>
ios_base::iostate on_std_stream(basic_ios<Char, Traits>& io, Work work) {
  using buffer_type =
      passing_streambuf<std::basic_streambuf<Char>, std::ios_base,
                        basic_streambuf<Char, Traits>, ios_base>;
  buffer_type buffer(io.rdbuf());
  Stream stream(&buffer);
  stream.imbue(std::locale::classic());
  stream.exceptions(std::ios_base::badbit);
  ios_base::iostate bits = ios_base::goodbit;
  guarded(io, [&] { take_format(stream, io); });
  if (!io.good()) return bits;
  std::exception_ptr error;
  try {
    work(stream);
  } catch (forced_unwind&) {
    io.set_badbit();
    throw;
  } catch (const std::ios_base::failure&) {
    if (!stream.bad()) throw;
    stream.width(0);  // as after every refused write
  } catch (...) {
    if (!stream.bad()) throw;
    error = std::current_exception();
  }
  guarded(io, [&] {
    if (error) std::rethrow_exception(error);
    give_format(io, stream);
    bits = bits_of(stream.rdstate());
  });
  return bits;
}

}  // namespace

template <class Char, class Traits>
basic_ostream<Char, Traits>& insertByStd(
    basic_ostream<Char, Traits>& ostr,
    void (*insert)(std::basic_ostream<Char>&, const void*), const void* value) {
  using access = ostream_access<Char, Traits>;
  if (!access::sentry(ostr, ostr)) return ostr;
  const auto bits = on_std_stream<std::basic_ostream<Char>>(
      ostr, [&](auto& stream) { insert(stream, value); });
  guarded(ostr, [&] {
    if (bits != ios_base::goodbit) {
      ostr.setstate(bits);
    } else if (ostr.good()) {
      access::unitsync(ostr, ostr);
    }
  });
  return ostr;
}

template <class Char, class Traits>
basic_istream<Char, Traits>& extractByStd(
    basic_istream<Char, Traits>& istr,
    void (*extract)(std::basic_istream<Char>&, void*), void* value) {
  if (!istr.sentry(true)) return istr;
  const auto bits = on_std_stream<std::basic_istream<Char>>(
      istr, [&](auto& stream) { extract(stream, value); });
  if (bits != ios_base::goodbit) istr.setstate(bits);
  return istr;
}

NALO_STD_TYPES_WORK(template, char);
NALO_STD_TYPES_WORK(template, wchar_t);

}  // namespace nalo::impl
