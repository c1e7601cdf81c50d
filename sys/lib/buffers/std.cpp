// Instantiates the buffers between nalo and the standard library.
#include <nalo/buffers/std>

namespace nalo::impl {

namespace {

// --- conversions -------------------------------------------------------------

template <class To, class From>
typename To::int_type converted(typename From::int_type ch) {
  return From::eq_int_type(ch, From::eof())
             ? To::eof()
             : To::to_int_type(From::to_char_type(ch));
}

template <class To, class From>
typename To::seekdir converted_way(typename From::seekdir way) {
  return way == From::beg ? To::beg : way == From::cur ? To::cur : To::end;
}

// Converts the open modes that matter for positions: in and out.
template <class To, class From>
typename To::openmode converted_mode(typename From::openmode mode) {
  typename To::openmode converted{};
  if ((mode & From::in) != typename From::openmode{}) converted |= To::in;
  if ((mode & From::out) != typename From::openmode{}) converted |= To::out;
  return converted;
}

template <class To, class From>
To converted_position(From pos) {
  To converted(static_cast<streamoff>(pos));
  converted.state(pos.state());
  return converted;
}

}  // namespace

template <class Base, class Ios, class Below, class BelowIos>
passing_streambuf<Base, Ios, Below, BelowIos>::~passing_streambuf() = default;

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::underflow() -> int_type {
  return converted<traits, below_traits>(below_->sgetc());
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::uflow() -> int_type {
  return converted<traits, below_traits>(below_->sbumpc());
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::pbackfail(int_type ch)
    -> int_type {
  const auto put_back = traits::eq_int_type(ch, traits::eof())
                            ? below_->sungetc()
                            : below_->sputbackc(traits::to_char_type(ch));
  return converted<traits, below_traits>(put_back);
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::xsgetn(char_type* strng,
                                                           streamsize sz)
    -> streamsize {
  return below_->sgetn(strng, sz);
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::showmanyc() -> streamsize {
  return below_->in_avail();
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::overflow(int_type ch)
    -> int_type {
  if (traits::eq_int_type(ch, traits::eof())) return traits::not_eof(ch);
  return converted<traits, below_traits>(
      below_->sputc(traits::to_char_type(ch)));
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::xsputn(
    const char_type* strng, streamsize sz) -> streamsize {
  return below_->sputn(strng, sz);
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::sync() -> int {
  return below_->pubsync();
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::seekoff(
    off_type off, typename Ios::seekdir way, typename Ios::openmode mode)
    -> pos_type {
  return converted_position<pos_type>(
      below_->pubseekoff(off, converted_way<BelowIos, Ios>(way),
                         converted_mode<BelowIos, Ios>(mode)));
}

template <class Base, class Ios, class Below, class BelowIos>
auto passing_streambuf<Base, Ios, Below, BelowIos>::seekpos(
    pos_type pos, typename Ios::openmode mode) -> pos_type {
  return converted_position<pos_type>(
      below_->pubseekpos(converted_position<typename Below::pos_type>(pos),
                         converted_mode<BelowIos, Ios>(mode)));
}

template class passing_streambuf<streambuf, ios_base, std::streambuf,
                                 std::ios_base>;
template class passing_streambuf<wstreambuf, ios_base, std::wstreambuf,
                                 std::ios_base>;
template class passing_streambuf<std::streambuf, std::ios_base, streambuf,
                                 ios_base>;
template class passing_streambuf<std::wstreambuf, std::ios_base, wstreambuf,
                                 ios_base>;

}  // namespace nalo::impl
