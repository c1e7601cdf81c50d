// Classification and case conversion of wchar_t in the classic locale.
#include "ascii_case.h"
#include "classic_facet.h"

#include <nalo/base/ctype>
#include <nalo/impl/char_traits>

#include <algorithm>

namespace nalo {

namespace {

using mask = ctype_base::mask;

}  // namespace

constinit locale::id ctype<wchar_t>::id = locale::id::of_library_<ctype>();

ctype<wchar_t>::~ctype() = default;

const char* ctype<wchar_t>::widen(const char* lo, const char* hi,
                                  wchar_t* to) const noexcept {
  std::transform(lo, hi, to, [this](char ch) { return widen(ch); });
  return hi;
}

const wchar_t* ctype<wchar_t>::narrow(const wchar_t* lo, const wchar_t* hi,
                                      char dfault, char* to) const noexcept {
  std::transform(lo, hi, to,
                 [=, this](wchar_t ch) { return narrow(ch, dfault); });
  return hi;
}

bool ctype<wchar_t>::do_is(mask msk, wchar_t ch) const {
  const auto code = char_traits<wchar_t>::to_int_type(ch);
  return code < ctype<char>::table_size &&
         (ctype<char>::classic_table()[code] & msk) != 0;
}

const wchar_t* ctype<wchar_t>::do_is(const wchar_t* lo, const wchar_t* hi,
                                     mask* classes) const {
  for (; lo != hi; ++lo, ++classes) {
    *classes = 0;
    for (unsigned bit = 1; bit <= 0x8000; bit <<= 1) {
      const mask one = static_cast<mask>(bit);
      if (do_is(one, *lo)) *classes = static_cast<mask>(*classes | one);
    }
  }
  return hi;
}

const wchar_t* ctype<wchar_t>::do_scan_is(mask msk, const wchar_t* lo,
                                          const wchar_t* hi) const {
  return std::find_if(lo, hi, [=, this](wchar_t ch) { return do_is(msk, ch); });
}

const wchar_t* ctype<wchar_t>::do_scan_not(mask msk, const wchar_t* lo,
                                           const wchar_t* hi) const {
  return std::find_if_not(lo, hi,
                          [=, this](wchar_t ch) { return do_is(msk, ch); });
}

wchar_t ctype<wchar_t>::do_toupper(wchar_t ch) const {
  return impl::ascii_upper(ch);
}

const wchar_t* ctype<wchar_t>::do_toupper(wchar_t* lo,
                                          const wchar_t* hi) const {
  for (; lo != hi; ++lo) *lo = do_toupper(*lo);
  return hi;
}

wchar_t ctype<wchar_t>::do_tolower(wchar_t ch) const {
  return impl::ascii_lower(ch);
}

const wchar_t* ctype<wchar_t>::do_tolower(wchar_t* lo,
                                          const wchar_t* hi) const {
  for (; lo != hi; ++lo) *lo = do_tolower(*lo);
  return hi;
}

namespace impl {

NALO_IMMORTAL immortal<ctype<wchar_t>> classic_wide_ctype(not_counted);

}  // namespace impl

}  // namespace nalo
