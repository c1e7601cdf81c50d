// The two areas of a stream buffer: what moves within them, and what a virtual
// operation is called for.
#include <nalo/base/ctype>
#include <nalo/streambuf>

#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo::locale;
using nalo_test::scripted_streambuf;
using nalo_test::widened;

// A buffer with the defaults of all operations and its protected part open.
template <class Char>
struct plain_streambuf : nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  plain_streambuf() = default;
  explicit plain_streambuf(const locale& loc) : base(loc) {}
  using base::eback, base::gptr, base::egptr, base::setg, base::setg_;
  using base::gbump, base::gbump_, base::pbump, base::pbump_, base::destroy_;
  using base::pbase, base::pptr, base::epptr, base::setp, base::setp_;
};

template <class Char>
class Streambuf : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Streambuf, Chars);

TYPED_TEST(Streambuf, HasNothingByDefault) {
  using traits = nalo::char_traits<TypeParam>;
  plain_streambuf<TypeParam> buf;
  TypeParam s[3] = {};
  for (auto* pointer : {buf.eback(), buf.gptr(), buf.egptr(), buf.pbase(),
                        buf.pptr(), buf.epptr()}) {
    EXPECT_EQ(pointer, nullptr);
  }
  for (auto ch : {buf.sgetc(), buf.sbumpc(), buf.snextc(), buf.sungetc(),
                  buf.sputbackc('x'), buf.sputc('x')}) {
    EXPECT_EQ(ch, traits::eof());
  }
  buf.stossc();
  EXPECT_EQ(buf.sgetn(s, 3), 0);
  EXPECT_EQ(buf.sputn(s, 3), 0);
  EXPECT_EQ(buf.in_avail(), 0);
  EXPECT_EQ(buf.pubsync(), 0);
  EXPECT_EQ(buf.pubseekoff(0, ios_base::cur), nalo::streamoff{-1});
  EXPECT_EQ(buf.pubseekpos(0), nalo::streamoff{-1});
  EXPECT_EQ(buf.pubsetbuf(s, 3), &buf);
}

TYPED_TEST(Streambuf, MovesWithinItsAreas) {
  plain_streambuf<TypeParam> buf;
  TypeParam in[] = {'a', 'b', 'c'}, out[3] = {};
  buf.setg_(in, in, in + 3);
  EXPECT_EQ(buf.sbumpc(), 'a');
  EXPECT_EQ(buf.snextc(), 'c');
  EXPECT_EQ(buf.in_avail(), 1);
  EXPECT_EQ(buf.sputbackc('b'), 'b');
  buf.gbump(1);
  buf.gbump_(-2);
  EXPECT_EQ(buf.gptr(), in);
  buf.stossc();
  EXPECT_EQ(buf.sgetc(), 'b');
  EXPECT_EQ(buf.sungetc(), 'a');
  EXPECT_EQ(buf.eback(), in);
  EXPECT_EQ(buf.egptr(), in + 3);

  buf.setp_(out, out + 3);
  EXPECT_EQ(buf.sputc('x'), 'x');
  buf.pbump(2);
  buf.pbump_(-1);
  EXPECT_EQ(buf.sputn(in, 3), 1);
  EXPECT_EQ(out[2], 'a');
  EXPECT_EQ(buf.pptr(), buf.epptr());
  buf.setp(out, out + 3);
  EXPECT_EQ(buf.pptr(), buf.pbase());
}

// Every call goes to one virtual operation, with its arguments unchanged, and
// only when the area has nothing for it.
template <class Char>
struct call_row {
  const char* call;
  long (*run)(scripted_streambuf<Char>&, Char* s);
  long result;
  const char* log;
};

#define CALL(...)                                                              \
  "" #__VA_ARGS__, [](scripted_streambuf<Char>& b, [[maybe_unused]] Char* s) { \
    return static_cast<long>(__VA_ARGS__);                                     \
  }

template <class Char>
const call_row<Char> call_rows[] = {
    {CALL(b.sgetn(s, 0)), 0, "xsgetn "},
    {CALL(b.sgetn(s, -1)), 0, "xsgetn "},
    {CALL((b.sgetc(), b.sgetn(s, 2))), 2, "underflow xsgetn "},
    {CALL(b.sgetn(s, 5)), 5, "xsgetn underflow underflow "},
    {CALL(b.sgetn(s, 7)), 7, "xsgetn underflow underflow uflow underflow "},
    {CALL(b.sgetn(s, 9)), 8,
     "xsgetn underflow underflow uflow underflow underflow "},
    {CALL(b.sputn(s, 0)), 0, "xsputn "},
    {CALL(b.sputn(s, -1)), 0, "xsputn "},
    {CALL(b.sputn(s, 5)), 5, "xsputn overflow(48) "},
    {CALL(b.sputn(s, 6)), 6, "xsputn overflow(48) overflow(53) "},
    {CALL(b.sputn(s, 9)), 9, "xsputn overflow(48) overflow(53) overflow(54) "},
    {CALL(b.sputn(s, 13)), 11,
     "xsputn overflow(48) overflow(53) overflow(54) overflow(59) "},
    {CALL(b.sputc(s[0] = Char(0xE9))), 0xE9, "overflow(233) "},
    {CALL(b.sbumpc()), 0xFF, "underflow "},
    {CALL((b.sgetc(), b.sgetc())), 0xFF, "underflow "},
    {CALL((b.stossc(), b.stossc(), b.sgetc())), 'c', "underflow "},
    {CALL(b.snextc()), 'b', "underflow "},
    {CALL(b.in_avail()), 8, "showmanyc "},
    {CALL((b.sgetc(), b.in_avail())), 3, "underflow "},
    {CALL((b.sbumpc(), b.sputbackc('x'), b.position())), 1,
     "underflow pbackfail(120) "},
    {CALL((b.sgetc(), b.sungetc(), b.position())), 0,
     "underflow pbackfail(eof) "},
    {CALL(b.pubsync()), 0, "sync "},
    {CALL(b.pubseekoff(-5, ios_base::end)), 3, "seekoff(-5,2,24) "},
    {CALL(b.pubseekpos(4)), 4, "seekpos(4,24) "},
};

TYPED_TEST(Streambuf, CallsAVirtualOperationAtAnEdgeOnly) {
  for (const auto& row : call_rows<TypeParam>) {
    scripted_streambuf<TypeParam> buf(
        {.input = widened<TypeParam>("\377bcdefgh"),
         .get_areas = {3, 2, 0, 2},
         .put_areas = {4, 0},
         .accepts = 11,
         .seekable = true});
    auto s = widened<TypeParam>("0123456789:;<");
    EXPECT_EQ(row.run(buf, s.data()), row.result) << row.call;
    EXPECT_EQ(buf.own_log_, row.log) << row.call;
    // What was taken is at the front of s, what was written came from there.
    EXPECT_EQ(buf.output(), s.substr(0, buf.output().size())) << row.call;
    if (std::string_view(row.call).find("sgetn") != std::string_view::npos) {
      EXPECT_EQ(s.substr(0, buf.position()),
                buf.play_.input.substr(0, buf.position()))
          << row.call;
    }
  }
}

TEST(WideStreambuf, TakesTheLastCharacterValueForTheEnd) {
  const wchar_t text[] = {L'a', static_cast<wchar_t>(-1), L'b', 0};
  scripted_streambuf<wchar_t> buf({.input = text});
  EXPECT_EQ(buf.snextc(), nalo::char_traits<wchar_t>::eof());
  EXPECT_EQ(buf.snextc(), nalo::char_traits<wchar_t>::eof());
  EXPECT_EQ(buf.sgetc(), L'b');  // although it was taken
}

TYPED_TEST(Streambuf, ImbuesFirstAndChangesItsLocaleThen) {
  struct imbued : plain_streambuf<TypeParam> {
    void imbue(const locale& loc) override {
      EXPECT_FALSE(loc == this->getloc());
      if (raises) throw std::runtime_error("imbue");
    }
    bool raises = false;
  } buf;
  const locale classic = locale::classic();
  const locale other = classic.without_<nalo::ctype<TypeParam>>();
  EXPECT_TRUE(buf.pubimbue(other) == classic);
  EXPECT_TRUE(buf.getloc() == other);
  buf.raises = true;
  EXPECT_THROW(buf.pubimbue(classic), std::runtime_error);
  EXPECT_TRUE(buf.getloc() == other);
  EXPECT_TRUE(plain_streambuf<TypeParam>(other).getloc() == other);
}

TYPED_TEST(Streambuf, EndsItsLifeInPlace) {
  struct counted : plain_streambuf<TypeParam> {
    explicit counted(int& count) : count_(count) {}
    ~counted() override { ++count_; }
    int& count_;
  };
  int count = 0;
  alignas(counted) unsigned char memory[sizeof(counted)];
  (new (memory) counted(count))->destroy_();
  EXPECT_EQ(count, 1);
  std::unique_ptr<nalo::basic_streambuf<TypeParam>>(new counted(count)).reset();
  EXPECT_EQ(count, 2);
}

TYPED_TEST(Streambuf, IsReadByIterators) {
  using iterator = nalo::istreambuf_iterator<TypeParam>;
  scripted_streambuf<TypeParam> buf(
      {.input = widened<TypeParam>("abcd"), .get_areas = {2, 0}});
  iterator it(&buf), end;
  EXPECT_EQ(it.rdbuf_(), &buf);
  EXPECT_FALSE(it == end);
  EXPECT_TRUE(it.equal(iterator(&buf)));
  EXPECT_EQ(*it++, TypeParam('a'));
  EXPECT_EQ(*++it, TypeParam('c'));
  EXPECT_EQ(std::basic_string<TypeParam>(it, end), widened<TypeParam>("cd"));
  EXPECT_TRUE(iterator(&buf) == iterator(std::default_sentinel));
}

}  // namespace
