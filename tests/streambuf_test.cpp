// The two areas of a stream buffer: what moves within them, and what a virtual
// operation is called for.
#include <nalo/base/ctype>
#include <nalo/streambuf>

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <new>
#include <string>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo::locale;
using nalo_test::script;
using nalo_test::scripted_streambuf;
using nalo_test::widened;

int ended = 0;

// A buffer whose protected part is open.
template <class Base>
struct opened : Base {
  opened() = default;
  explicit opened(const auto& from) : Base(from) {}
  ~opened() override { ++ended; }
  using Base::destroy_;
  using Base::eback, Base::gptr, Base::egptr, Base::setg_;
  using Base::gbump, Base::gbump_, Base::pbump, Base::pbump_;
  using Base::pbase, Base::pptr, Base::epptr, Base::setp_;
};
template <class Char>
using scripted = opened<scripted_streambuf<Char>>;

template <class Char>
class Streambuf : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Streambuf, Chars);

TYPED_TEST(Streambuf, HasNothingByDefaultAndEndsInPlace) {
  using plain = opened<nalo::basic_streambuf<TypeParam>>;
  alignas(plain) unsigned char memory[sizeof(plain)];
  const locale other = locale("C").without_<nalo::ctype<TypeParam>>();
  plain& buf = *new (memory) plain(other);
  TypeParam s[3] = {};
  for (auto ch : {buf.sgetc(), buf.sbumpc(), buf.snextc(), buf.sungetc(),
                  buf.sputbackc('x'), buf.sputc('x')}) {
    EXPECT_EQ(ch, nalo::char_traits<TypeParam>::eof());
  }
  for (long n : {buf.sgetn(s, 3), buf.sputn(s, 3), buf.in_avail(),
                 nalo::streamsize{buf.pubsync()}}) {
    EXPECT_EQ(n, 0);
  }
  buf.stossc();
  EXPECT_EQ(buf.pubseekoff(0, ios_base::cur), nalo::streamoff{-1});
  EXPECT_EQ(buf.pubseekpos(0), nalo::streamoff{-1});
  EXPECT_EQ(buf.pubsetbuf(s, 3), &buf);
  EXPECT_TRUE(buf.pubimbue(locale()) == other);
  EXPECT_TRUE(buf.getloc() == locale());
  ended = 0;
  buf.destroy_();
  EXPECT_EQ(ended, 1);
}

template <class Char>
using iterator = nalo::istreambuf_iterator<Char>;

// Every call goes to one virtual operation, with its arguments unchanged, and
// only when the area has nothing for it.
TYPED_TEST(Streambuf, CallsAVirtualOperationAtAnEdgeOnly) {
  using Char = TypeParam;
  const struct {
    const char* call;
    long (*run)(scripted<Char>& b, Char* s);
    long result;
    const char* log;
  } rows[] = {
#define CALL(...)                                                    \
  "" #__VA_ARGS__, [](scripted<Char>& b, [[maybe_unused]] Char* s) { \
    return static_cast<long>(__VA_ARGS__);                           \
  }
      {CALL(b.sgetn(s, 0)), 0, "xsgetn "},
      {CALL(b.sgetn(s, -1)), 0, "xsgetn "},
      {CALL((b.sgetc(), b.sgetn(s, 2))), 2, "underflow xsgetn "},
      {CALL(b.sgetn(s, 7)), 7, "xsgetn underflow underflow uflow underflow "},
      {CALL(b.sgetn(s, 9)), 8,
       "xsgetn underflow underflow uflow underflow underflow "},
      {CALL(b.sputn(s, 0)), 0, "xsputn "},
      {CALL(b.sputn(s, -1)), 0, "xsputn "},
      {CALL(b.sputn(s, 9)), 9,
       "xsputn overflow(48) overflow(53) overflow(54) "},
      {CALL(b.sputn(s, 13)), 11,
       "xsputn overflow(48) overflow(53) overflow(54) overflow(59) "},
      {CALL(b.sputc(s[0] = Char(0xE9))), 0xE9, "overflow(233) "},
      {CALL((b.sputn(s, 3), b.pbump(-2), b.pbump_(1), b.sputc(s[2]))), '2',
       "xsputn overflow(48) "},
      {CALL((b.setp_(s, s + 3), b.sputc('0'),
             (b.epptr() - b.pptr()) * 10 + (b.pptr() - b.pbase()))),
       21, ""},
      {CALL(b.sbumpc()), 0xFF, "underflow "},
      {CALL((b.stossc(), b.stossc(), b.sgetc())), 'c', "underflow "},
      {CALL((b.snextc(), b.snextc())), 'c', "underflow "},
      {CALL((b.sgetc(), b.gbump(2), b.gbump_(-1), b.sgetc())), 'b',
       "underflow "},
      {CALL((b.setg_(s, s + 1, s + 3),
             b.in_avail() * 10 + (b.egptr() - b.eback()))),
       23, ""},
      {CALL(b.in_avail()), 8, "showmanyc "},
      {CALL((b.sgetc(), b.in_avail())), 3, "underflow "},
      {CALL((b.snextc(), b.snextc(), b.sputbackc('b'), b.sungetc())), 0xFF,
       "underflow "},
      {CALL((b.sbumpc(), b.sputbackc('x'), b.position())), 1,
       "underflow pbackfail(120) "},
      {CALL((b.sgetc(), b.sungetc(), b.position())), 0,
       "underflow pbackfail(eof) "},
      {CALL(b.pubsync()), 0, "sync "},
      {CALL(b.pubseekoff(-5, ios_base::end)), 3, "seekoff(-5,2,24) "},
      {CALL(b.pubseekpos(4)), 4, "seekpos(4,24) "},
      {CALL(std::distance(iterator<Char>(&b), {})), 8,
       "underflow underflow underflow uflow underflow underflow "},
      {CALL((iterator<Char>(&b)++, *iterator<Char>(&b)++)), 'b', "underflow "},
      {CALL(*++iterator<Char>(&b)), 'b', "underflow "},
      {CALL(iterator<Char>(&b) == iterator<Char>(&b)), true, "underflow "},
      {CALL(iterator<Char>(&b) == std::default_sentinel), false, "underflow "},
      {CALL(iterator<Char>(&b).rdbuf_() == &b), true, ""},
#undef CALL
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.call);
    scripted<Char> buf(script<Char>{.input = widened<Char>("\377bcdefgh"),
                                    .get_areas = {3, 2, 0, 2},
                                    .put_areas = {4, 0},
                                    .accepts = 11,
                                    .seekable = true});
    auto s = widened<Char>("0123456789:;<");
    EXPECT_EQ(row.run(buf, s.data()), row.result);
    EXPECT_EQ(buf.own_log_, row.log);
    // What was taken is at the front of s, what was written came from there.
    EXPECT_EQ(buf.output(), s.substr(0, buf.output().size()));
    const size_t taken = buf.position();
    if (std::strstr(row.log, "xsgetn")) {
      EXPECT_EQ(s.substr(0, taken), buf.play_.input.substr(0, taken));
    }
  }
}

}  // namespace
